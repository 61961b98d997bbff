#include "AttributeList.h"

#include <utility>

namespace tolvik {

CAttributeList::CAttributeList(std::uint32_t capacity) : capacity_(capacity) {}

std::uint32_t CAttributeList::AddAttribute(const std::string& text)
{
    if (cells_.size() >= capacity_) {
        // A full list stays full: every refused cell shows the box again.
        ReportListOverflow();
        return 0;
    }
    cells_.push_back(text);
    return 1;
}

void CAttributeList::AddAttributes(int n, const char* text)
{
    const std::string value = text ? text : kEmptyCell;
    for (int i = 0; i < n; ++i)
        AddAttribute(value);
}

const std::string* CAttributeList::GetAttribute(int row, int column) const
{
    std::int64_t index = column == -1 ? row : std::int64_t{columns} * row + column;
    if (index < 0 || index >= static_cast<std::int64_t>(cells_.size()))
        return nullptr;
    return &cells_[static_cast<std::size_t>(index)];
}

std::uint32_t CAttributeList::SetAttribute(std::uint32_t index, const std::string& text)
{
    if (index >= cells_.size())
        return 0;
    cells_[index] = text;
    return 1;
}

std::uint32_t CAttributeList::AppendToAttribute(std::uint32_t index, const std::string& text)
{
    if (index >= cells_.size())
        return 0;
    cells_[index] += text;
    return 1;
}

void CAttributeList::RemoveRow(std::uint32_t row)
{
    const std::uint64_t first = std::uint64_t{columns} * row;
    if (columns == 0 || row >= rows || first + columns > cells_.size())
        return;
    cells_.erase(cells_.begin() + static_cast<std::ptrdiff_t>(first),
                 cells_.begin() + static_cast<std::ptrdiff_t>(first + columns));
    --rows;
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
}

}  // namespace tolvik
