#include "AttributeList.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace tolvik {

namespace {
// Replaced texts are reclaimed once they outweigh the live ones by this much.
constexpr std::size_t kGarbageSlack = 1 << 20;
// The first block of cells starts this small, for the many small tables.
constexpr std::size_t kFirstSlots = 64;
constexpr std::size_t kFirstText = 1024;
// At most 65536 blocks of 64 KiB: offsets stay below 4 GiB.
constexpr std::uint64_t kTextSpace = std::uint64_t{1} << 32;
}  // namespace

void CAttributeList::Slots::Grow()
{
    constexpr std::size_t kBlock = kMask + 1;
    if (blocks_.size() == 1 && capacity_ < kBlock) {
        // The first block doubles until it is a whole block.
        const std::size_t grown = std::min(kBlock, capacity_ * 2);
        auto block = std::make_unique_for_overwrite<Slot[]>(grown);
        std::copy(blocks_[0].get(), blocks_[0].get() + size_, block.get());
        blocks_[0] = std::move(block);
        capacity_ = grown;
        return;
    }
    const std::size_t size = blocks_.empty() ? kFirstSlots : kBlock;
    blocks_.push_back(std::make_unique_for_overwrite<Slot[]>(size));
    capacity_ = (blocks_.size() - 1) * kBlock + size;
}

void CAttributeList::Slots::Shrink(std::size_t size)
{
    if (size >= size_)
        return;
    size_ = size;
    if (size == 0)
        Clear();
}

void CAttributeList::Slots::Clear()
{
    blocks_.clear();
    blocks_.shrink_to_fit();
    size_ = 0;
    capacity_ = 0;
}

std::uint32_t CAttributeList::Texts::AppendInNewSpace(std::string_view text, std::size_t& wasted)
{
    constexpr std::uint64_t kBlock = std::uint64_t{kMask} + 1;
    {
        if (bases_.size() == 1 && capacity_ < kBlock && end_ + text.size() <= kBlock) {
            // The first block doubles until it is a whole block (texts in it
            // move: a lent text lasts only until the table changes).
            std::uint64_t grown = capacity_;
            while (grown < end_ + text.size())
                grown *= 2;
            grown = std::min(grown, kBlock);
            auto block = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(grown));
            std::copy(bases_[0], bases_[0] + end_, block.get());
            // `text` may lie in the old block: copied before the old one goes.
            std::copy(text.begin(), text.end(), block.get() + end_);
            owned_[0] = std::move(block);
            bases_[0] = owned_[0].get();
            capacity_ = grown;
            const auto offset = static_cast<std::uint32_t>(end_);
            end_ += text.size();
            return offset;
        }
        // A new run of blocks; what was left of the last one stays unused.
        const std::uint64_t blocks =
            bases_.empty() && text.size() <= kFirstText ? 1 : (text.size() + kBlock - 1) / kBlock;
        const std::uint64_t start = std::uint64_t{bases_.size()} * kBlock;
        if (start + blocks * kBlock > kTextSpace)
            throw std::length_error("table text too large");
        const std::size_t size = bases_.empty() && text.size() <= kFirstText
                                     ? kFirstText
                                     : static_cast<std::size_t>(blocks * kBlock);
        owned_.push_back(std::make_unique_for_overwrite<char[]>(size));
        for (std::uint64_t i = 0; i < blocks; ++i)
            bases_.push_back(owned_.back().get() + i * kBlock);
        wasted += Room();
        end_ = start;
        capacity_ = start + size;
    }
    std::copy(text.begin(), text.end(), At(static_cast<std::uint32_t>(end_)));
    const auto offset = static_cast<std::uint32_t>(end_);
    end_ += text.size();
    return offset;
}

void CAttributeList::Texts::Extend(std::string_view text)
{
    std::copy(text.begin(), text.end(), At(static_cast<std::uint32_t>(end_)));
    end_ += text.size();
}

void CAttributeList::Texts::Clear()
{
    owned_.clear();
    owned_.shrink_to_fit();
    bases_.clear();
    bases_.shrink_to_fit();
    end_ = 0;
    capacity_ = 0;
}

CAttributeList::CAttributeList(std::uint32_t capacity) : capacity_(capacity) {}

std::uint32_t CAttributeList::RefuseCell()
{
    // A full list stays full: every refused cell shows the box again.
    ReportListOverflow();
    return 0;
}

void CAttributeList::ReclaimIfWorthIt()
{
    if (garbage_ > kGarbageSlack && garbage_ > texts_.End() / 2)
        Compact();
}

void CAttributeList::Compact()
{
    Texts live;
    std::size_t wasted = 0;
    for (std::size_t i = 0; i < cells_.Size(); ++i) {
        Slot& slot = cells_[i];
        if (slot.length > 0)
            slot.offset = live.Append(TextOf(slot), wasted);
    }
    texts_ = std::move(live);
    garbage_ = wasted;
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
    if (index < 0 || index >= static_cast<std::int64_t>(cells_.Size()))
        return CellView();
    return CellView(TextOf(cells_[static_cast<std::size_t>(index)]));
}

std::uint32_t CAttributeList::SetAttribute(std::uint32_t index, std::string_view text)
{
    if (index >= cells_.Size())
        return 0;
    Slot& slot = cells_[index];
    if (text.size() <= slot.length) {
        // Fits where the old text stood; `text` may be part of the old text.
        if (!text.empty())
            std::char_traits<char>::move(texts_.At(slot.offset), text.data(), text.size());
        garbage_ += slot.length - text.size();
        slot.length = static_cast<std::uint32_t>(text.size());
    } else {
        garbage_ += slot.length;
        cells_[index] = Store(text);
    }
    ReclaimIfWorthIt();
    return 1;
}

std::uint32_t CAttributeList::AppendToAttribute(std::uint32_t index, std::string_view text)
{
    if (index >= cells_.Size())
        return 0;
    const Slot slot = cells_[index];
    if (slot.length > 0 && slot.offset + std::uint64_t{slot.length} == texts_.End() &&
        text.size() <= texts_.Room()) {
        // The last text grows where it stands (`text` cannot overlap the room).
        texts_.Extend(text);
        cells_[index].length = static_cast<std::uint32_t>(slot.length + text.size());
        return 1;
    }
    std::string joined(TextOf(slot));
    joined += text;
    return SetAttribute(index, joined);
}

void CAttributeList::RemoveRow(std::uint32_t row)
{
    const std::uint64_t first = std::uint64_t{columns} * row;
    if (columns == 0 || row >= rows || first + columns > cells_.Size())
        return;
    const auto start = static_cast<std::size_t>(first);
    for (std::size_t i = start; i < start + columns; ++i)
        garbage_ += cells_[i].length;
    for (std::size_t i = start + columns; i < cells_.Size(); ++i)
        cells_[i - columns] = cells_[i];
    cells_.Shrink(cells_.Size() - columns);
    --rows;
}

void CAttributeList::RemoveRows(const std::vector<bool>& drop)
{
    if (columns == 0)
        return;
    const std::size_t wholeRows = std::min<std::size_t>(rows, cells_.Size() / columns);
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
    for (std::size_t i = wholeRows * columns; i < cells_.Size(); ++i)
        cells_[to++] = cells_[i];
    cells_.Shrink(to);
    rows -= removed;
    if (cells_.Size() == 0)
        RemoveAll();
    else
        ReclaimIfWorthIt();
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
    cells_.Clear();
    texts_.Clear();
    garbage_ = 0;
}

}  // namespace tolvik
