#include "AttributeList.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace tolvik {

namespace {
// Replaced texts are reclaimed once they outweigh the live ones by this much.
constexpr std::size_t kGarbageSlack = 1 << 20;
}  // namespace

CAttributeList::CAttributeList(std::uint32_t capacity) : capacity_(capacity) {}

CAttributeList::Slot CAttributeList::Store(std::string_view text)
{
    if (text.size() > kLargestText - text_.size()) {
        Compact();
        if (text.size() > kLargestText - text_.size())
            throw std::length_error("table text too large");
    }
    const Slot slot{static_cast<std::uint32_t>(text_.size()),
                    static_cast<std::uint32_t>(text.size())};
    text_.append(text);
    return slot;
}

void CAttributeList::Compact()
{
    std::string live;
    live.reserve(text_.size() - garbage_);
    for (Slot& slot : cells_) {
        const std::string_view text = TextOf(slot);
        slot.offset = static_cast<std::uint32_t>(live.size());
        live.append(text);
    }
    text_ = std::move(live);
    garbage_ = 0;
}

std::uint32_t CAttributeList::AddAttributeSlowly(std::string_view text)
{
    if (cells_.size() >= capacity_) {
        // A full list stays full: every refused cell shows the box again.
        ReportListOverflow();
        return 0;
    }
    const Slot slot = Store(text);
    cells_.push_back(slot);
    return 1;
}

void CAttributeList::AddAttributes(int n, const char* text)
{
    const std::string_view value = text ? std::string_view(text) : std::string_view(kEmptyCell);
    for (int i = 0; i < n; ++i)
        AddAttribute(value);
}

CellView CAttributeList::GetAttribute(int row, int column) const
{
    std::int64_t index = column == -1 ? row : std::int64_t{columns} * row + column;
    if (index < 0 || index >= static_cast<std::int64_t>(cells_.size()))
        return CellView();
    return CellView(TextOf(cells_[static_cast<std::size_t>(index)]));
}

std::uint32_t CAttributeList::SetAttribute(std::uint32_t index, std::string_view text)
{
    if (index >= cells_.size())
        return 0;
    Slot& slot = cells_[index];
    if (text.size() <= slot.length) {
        // Fits where the old text stood; `text` may be part of the old text.
        std::char_traits<char>::move(text_.data() + slot.offset, text.data(), text.size());
        garbage_ += slot.length - text.size();
        slot.length = static_cast<std::uint32_t>(text.size());
    } else {
        // `text` may point into the buffer that Store grows: it goes in first.
        const std::string copy(text);
        garbage_ += slot.length;
        cells_[index] = Store(copy);
    }
    if (garbage_ > kGarbageSlack && garbage_ > text_.size() / 2)
        Compact();
    return 1;
}

std::uint32_t CAttributeList::AppendToAttribute(std::uint32_t index, std::string_view text)
{
    if (index >= cells_.size())
        return 0;
    const Slot slot = cells_[index];
    if (slot.offset + std::size_t{slot.length} == text_.size()) {
        // The last text in the buffer grows where it stands.
        const std::string copy(text);
        Store(copy);
        cells_[index].length = static_cast<std::uint32_t>(slot.length + copy.size());
        return 1;
    }
    std::string joined(TextOf(slot));
    joined += text;
    return SetAttribute(index, joined);
}

void CAttributeList::RemoveRow(std::uint32_t row)
{
    const std::uint64_t first = std::uint64_t{columns} * row;
    if (columns == 0 || row >= rows || first + columns > cells_.size())
        return;
    for (std::uint64_t i = first; i < first + columns; ++i)
        garbage_ += cells_[static_cast<std::size_t>(i)].length;
    cells_.erase(cells_.begin() + static_cast<std::ptrdiff_t>(first),
                 cells_.begin() + static_cast<std::ptrdiff_t>(first + columns));
    --rows;
}

void CAttributeList::RemoveRows(const std::vector<bool>& drop)
{
    if (columns == 0)
        return;
    const std::size_t wholeRows = std::min<std::size_t>(rows, cells_.size() / columns);
    std::size_t to = 0;
    std::uint32_t removed = 0;
    for (std::size_t row = 0; row < wholeRows; ++row) {
        const std::size_t first = row * columns;
        if (row < drop.size() && drop[row]) {
            for (std::size_t i = first; i < first + columns; ++i)
                garbage_ += cells_[i].length;
            ++removed;
            continue;
        }
        for (std::size_t i = first; i < first + columns; ++i)
            cells_[to++] = cells_[i];
    }
    // Cells after the last whole row stay after the kept rows.
    for (std::size_t i = wholeRows * columns; i < cells_.size(); ++i)
        cells_[to++] = cells_[i];
    cells_.resize(to);
    rows -= removed;
    if (cells_.empty()) {
        RemoveAll();
    } else if (garbage_ > kGarbageSlack && garbage_ > text_.size() / 2) {
        Compact();
    }
}

std::uint32_t CAttributeList::AddText(const std::string& line)
{
    if (secondText_.empty()) {
        // The first line that does not fit opens the second block, even when a
        // shorter piece of it would still have fitted.
        if (line.size() + firstText_.size() >= kTextBlockLimit)
            secondText_ = line;
        else
            firstText_ += line;
        return 1;
    }
    if (line.size() + secondText_.size() >= kTextBlockLimit)
        return 0;
    secondText_ += line;
    return 1;
}

void CAttributeList::SetTexts(std::string first, std::string second)
{
    firstText_ = std::move(first);
    secondText_ = std::move(second);
}

void CAttributeList::RemoveAll()
{
    cells_.clear();
    cells_.shrink_to_fit();
    text_.clear();
    text_.shrink_to_fit();
    garbage_ = 0;
}

}  // namespace tolvik
