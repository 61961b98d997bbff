// CAttributeList: the table of text cells that passes every file's content
// between the handlers and the host. Fixed capacity, row-major, cell (r, c) at
// index columns * r + c, plus two free-text blocks for text bodies.
//
// The cells' texts live one after another in one buffer, each cell an offset
// and a length into it: a table of 100000 cells costs its text and eight bytes
// a cell, not a string object each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "../core/Sentinels.h"

namespace tolvik {

// Cells of every table that the exports and the read handlers create.
inline constexpr std::uint32_t kTableCapacity = 100000;
// Each free-text block holds fewer characters than this.
inline constexpr std::size_t kTextBlockLimit = 32000;

// Tells the user that a full list refused a cell. The table knows nothing of
// message boxes: the platform layer defines this, and shows its box (at most
// once per export call).
void ReportListOverflow();

// A cell's text as the table lends it, or no cell at all (compares equal to
// nullptr). The text stays valid until the table is next changed.
class CellView {
public:
    CellView() = default;
    CellView(std::nullptr_t) {}
    explicit CellView(std::string_view text) : text_(text), present_(true) {}

    explicit operator bool() const { return present_; }
    const std::string_view& operator*() const { return text_; }
    const std::string_view* operator->() const { return &text_; }
    friend bool operator==(const CellView& cell, std::nullptr_t) { return !cell.present_; }

private:
    std::string_view text_;
    bool present_ = false;
};

class CAttributeList {
public:
    explicit CAttributeList(std::uint32_t capacity = kTableCapacity);

    std::uint32_t rows = 0;
    std::uint32_t columns = 0;

    std::uint32_t Capacity() const { return capacity_; }
    std::uint32_t Count() const { return static_cast<std::uint32_t>(cells_.size()); }
    const std::string& FirstText() const { return firstText_; }
    const std::string& SecondText() const { return secondText_; }

    // 1 when added; 0 when the list is full, after the overflow box was shown.
    std::uint32_t AddAttribute(std::string_view text)
    {
        if (cells_.size() >= capacity_ || text.size() > kLargestText - text_.size())
            return AddAttributeSlowly(text);
        const auto offset = static_cast<std::uint32_t>(text_.size());
        text_.append(text.data(), text.size());
        cells_.push_back({offset, static_cast<std::uint32_t>(text.size())});
        return 1;
    }
    // `n` copies of `text` (of the empty cell when null); each refused copy shows
    // the overflow box again.
    void AddAttributes(int n, const char* text);
    // The cell, or none. With column -1, `row` is a flat index.
    CellView GetAttribute(int row, int column) const;
    std::uint32_t SetAttribute(std::uint32_t index, std::string_view text);
    std::uint32_t AppendToAttribute(std::uint32_t index, std::string_view text);
    // Removes one whole row; a row that does not exist changes nothing.
    void RemoveRow(std::uint32_t row);
    // Removes every whole row whose flag in `drop` is set, keeping the others
    // in their order (and any cells after the last whole row); `rows` shrinks
    // by the number removed.
    void RemoveRows(const std::vector<bool>& drop);
    // 1 when the line was kept in a text block, 0 when both are full.
    std::uint32_t AddText(const std::string& line);
    // Replaces both text blocks as they are given (no limit applies): used once
    // a text read into the blocks has had its line ends converted.
    void SetTexts(std::string first, std::string second);
    void RemoveAll();

private:
    struct Slot {
        std::uint32_t offset;
        std::uint32_t length;
    };
    // All the cells' texts together stay below 4 GiB.
    static constexpr std::size_t kLargestText = 0xFFFFFFFFu;
    std::uint32_t AddAttributeSlowly(std::string_view text);
    std::string_view TextOf(Slot slot) const { return {text_.data() + slot.offset, slot.length}; }
    // Places `text` at the end of the buffer and returns where it went.
    Slot Store(std::string_view text);
    // Rewrites the buffer with the live texts only.
    void Compact();

    std::uint32_t capacity_;
    std::vector<Slot> cells_;
    std::string text_;
    // Bytes of text_ that no cell uses any more.
    std::size_t garbage_ = 0;
    std::string firstText_;
    std::string secondText_;
};

}  // namespace tolvik
