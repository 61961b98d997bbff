// CAttributeList: the table of text cells that passes every file's content
// between the handlers and the host. Fixed capacity, row-major, cell (r, c) at
// index columns * r + c, plus two free-text blocks for text bodies.
#pragma once

#include <cstdint>
#include <string>
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
    std::uint32_t AddAttribute(const std::string& text);
    // `n` copies of `text` (of the empty cell when null); each refused copy shows
    // the overflow box again.
    void AddAttributes(int n, const char* text);
    // The cell, or null. With column -1, `row` is a flat index.
    const std::string* GetAttribute(int row, int column) const;
    std::uint32_t SetAttribute(std::uint32_t index, const std::string& text);
    std::uint32_t AppendToAttribute(std::uint32_t index, const std::string& text);
    // Removes one whole row; a row that does not exist changes nothing.
    void RemoveRow(std::uint32_t row);
    // 1 when the line was kept in a text block, 0 when both are full.
    std::uint32_t AddText(const std::string& line);
    // Replaces both text blocks as they are given (no limit applies): used once
    // a text read into the blocks has had its line ends converted.
    void SetTexts(std::string first, std::string second);
    void RemoveAll();

private:
    std::uint32_t capacity_;
    std::vector<std::string> cells_;
    std::string firstText_;
    std::string secondText_;
};

}  // namespace tolvik
