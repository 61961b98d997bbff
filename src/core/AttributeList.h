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
#include <cstring>
#include <memory>
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
    std::uint32_t Count() const { return static_cast<std::uint32_t>(cells_.Size()); }
    const std::string& FirstText() const { return firstText_; }
    const std::string& SecondText() const { return secondText_; }

    // 1 when added; 0 when the list is full, after the overflow box was shown.
    std::uint32_t AddAttribute(std::string_view text)
    {
        if (cells_.Size() >= capacity_)
            return RefuseCell();
        const Slot slot = Store(text);
        cells_.PushBack(slot);
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
    // Where a cell's text stands in the texts' blocks, and how long it is.
    struct Slot {
        std::uint32_t offset;
        std::uint32_t length;
    };

    // The cells in blocks of 64 KiB that never move once full (the first one
    // grows up to that size): a large table grows without copying itself.
    class Slots {
    public:
        std::size_t Size() const { return size_; }
        Slot& operator[](std::size_t i) { return blocks_[i >> kShift][i & kMask]; }
        const Slot& operator[](std::size_t i) const { return blocks_[i >> kShift][i & kMask]; }
        void PushBack(Slot slot)
        {
            if (size_ == capacity_)
                Grow();
            (*this)[size_++] = slot;
        }
        // Keeps the first `size` cells.
        void Shrink(std::size_t size);
        void Clear();

    private:
        static constexpr std::size_t kShift = 13;
        static constexpr std::size_t kMask = (std::size_t{1} << kShift) - 1;
        void Grow();
        std::vector<std::unique_ptr<Slot[]>> blocks_;
        std::size_t size_ = 0;
        std::size_t capacity_ = 0;
    };

    // The cells' texts, one after another in blocks of 64 KiB (a longer text
    // has a run of blocks to itself). A text never moves while the table
    // grows; offset >> 16 is its block.
    class Texts {
    public:
        const char* At(std::uint32_t offset) const
        {
            return bases_[offset >> kShift] + (offset & kMask);
        }
        char* At(std::uint32_t offset) { return bases_[offset >> kShift] + (offset & kMask); }
        // Where the next text would start.
        std::uint64_t End() const { return end_; }
        // Bytes free after End() in its block.
        std::size_t Room() const { return static_cast<std::size_t>(capacity_ - end_); }
        // Stores `text` in one piece and gives its offset; `wasted` grows by
        // the bytes left unused at the end of a full block.
        std::uint32_t Append(std::string_view text, std::size_t& wasted)
        {
            if (text.size() > Room() || text.empty())
                return text.empty() ? 0 : AppendInNewSpace(text, wasted);
            // The room lies past every stored text: `text` cannot overlap it.
            const auto offset = static_cast<std::uint32_t>(end_);
            std::memcpy(At(offset), text.data(), text.size());
            end_ += text.size();
            return offset;
        }
        // The text at the end grows by `text` where it stands (Room() allows).
        void Extend(std::string_view text);
        void Clear();

    private:
        std::uint32_t AppendInNewSpace(std::string_view text, std::size_t& wasted);
        static constexpr std::uint32_t kShift = 16;
        static constexpr std::uint32_t kMask = (1u << kShift) - 1;
        std::vector<std::unique_ptr<char[]>> owned_;
        std::vector<char*> bases_;
        std::uint64_t end_ = 0;
        std::uint64_t capacity_ = 0;
    };

    std::uint32_t RefuseCell();
    Slot Store(std::string_view text)
    {
        if (text.empty())
            return Slot{0, 0};
        return Slot{texts_.Append(text, garbage_), static_cast<std::uint32_t>(text.size())};
    }
    std::string_view TextOf(Slot slot) const
    {
        return slot.length == 0 ? std::string_view()
                                : std::string_view(texts_.At(slot.offset), slot.length);
    }
    // Rewrites the texts with the live ones only, when enough are dead.
    void ReclaimIfWorthIt();
    void Compact();

    std::uint32_t capacity_;
    Slots cells_;
    Texts texts_;
    // Bytes of texts_ that no cell uses any more.
    std::size_t garbage_ = 0;
    std::string firstText_;
    std::string secondText_;
};

}  // namespace tolvik
