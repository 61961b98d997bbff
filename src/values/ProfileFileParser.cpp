#include "ProfileFileParser.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <deque>
#include <unordered_map>

#include "../textfile/Charset.h"

namespace tolvik {

namespace {

constexpr char kCrLf[] = "\r\n";

}  // namespace

CProfileFileParser::CProfileFileParser(std::string_view source, bool inMemory, int mode_,
                                       long flags)
    : CSourceParser(source, inMemory, mode_, false),
      listing_((flags & kProfileListing) != 0),
      strictSection_((flags & kProfileStrictSection) != 0),
      strictParameter_((flags & kProfileStrictParameter) != 0)
{
    SetClass("=[]", kPunctuatorChar);
    SetClass("\"", kQuoteChar);
    SetClass(";", kCommentChar);
    // Profile files are taken as they stand, in whatever code page they use.
    noConversion = true;
}

std::unique_ptr<CAttributeList> CProfileFileParser::DefaultRequest()
{
    auto request = std::make_unique<CAttributeList>(kTableCapacity);
    request->AddAttribute(kEmptyCell);
    request->AddAttribute("*");
    request->AddAttribute("*");
    request->AddAttribute(kEmptyCell);
    request->rows = 2;
    request->columns = 2;
    return request;
}

bool CProfileFileParser::Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found)
{
    if (mode == kRead) {
        request_ = std::move(list);
        if (request_) {
            requestRows_ = request_->rows;
            requestColumns_ = request_->columns;
        }
    }
    BeginRun(list);
    if (fileOpened) {
        if (mode == kRead)
            ReadFile();
        else
            WriteFile();
        if (!parseOk)
            ReportFailureLocation();
        if (mode != kRead)
            Finish();
    }
    return EndRun(list, found);
}

// ---------------------------------------------------------------------------
// Reading

void CProfileFileParser::Store(std::uint32_t column, const std::string& text)
{
    if (layout_)
        return;
    const std::uint64_t index = std::uint64_t{resultColumns_} * currentRow + column;
    if (column >= resultColumns_ || index >= attributes->Count())
        return;
    const auto flat = static_cast<std::uint32_t>(index);
    const std::string& cell = *attributes->GetAttribute(static_cast<int>(flat), -1);
    std::size_t length = text.size();
    if (cell == kEmptyCell) {
        attributes->SetAttribute(flat, text);
    } else {
        length += cell.size() + 2;
        attributes->AppendToAttribute(flat, kCrLf + text);
    }
    if (length > longestCell_)
        longestCell_ = length;
}

void CProfileFileParser::AddRow(std::uint32_t columns)
{
    if (layout_)
        return;
    attributes->AddAttributes(static_cast<int>(columns), nullptr);
    currentRow = attributes->rows++;
}

void CProfileFileParser::AddListingRow(const char* kind, const std::string& name)
{
    // The same as a row of empty cells and two stores, without the lookups.
    if (layout_)
        return;
    currentRow = attributes->rows++;
    if (attributes->AddAttribute(kind) && longestCell_ < 1)
        longestCell_ = 1;
    if (attributes->AddAttribute(name) && name.size() > longestCell_)
        longestCell_ = name.size();
    attributes->AddAttributes(2, nullptr);
}

bool CProfileFileParser::SectionWanted(const std::string& name) const
{
    for (std::uint32_t row = 1; row < requestRows_; ++row) {
        const std::string* pattern = request_->GetAttribute(static_cast<int>(row), 0);
        if (pattern && WildcardMatches(*pattern, name))
            return true;
    }
    return false;
}

int CProfileFileParser::ParameterColumn(const std::string& name) const
{
    for (std::uint32_t column = 1; column < requestColumns_; ++column) {
        const std::string* wanted = request_->GetAttribute(0, static_cast<int>(column));
        if (!wanted)
            continue;
        if (listing_ ? WildcardMatches(*wanted, name) : EqualsNoCase(*wanted, name))
            return static_cast<int>(column);
    }
    return -1;
}

void CProfileFileParser::ReadFile()
{
    if (listing_) {
        resultColumns_ = 4;
    } else {
        resultColumns_ = requestColumns_;
        attributes->AddAttributes(static_cast<int>(resultColumns_), nullptr);
        attributes->rows = 1;
        currentRow = 0;
        for (std::uint32_t column = 1; column < resultColumns_; ++column) {
            const std::string* wanted = request_->GetAttribute(0, static_cast<int>(column));
            if (wanted)
                Store(column, *wanted);
        }
    }
    attributes->columns = resultColumns_;

    ReadTopLevel();
}

void CProfileFileParser::ReadTopLevel()
{
    GetToken();
    while (parseOk) {
        if (tokenKind == kPunctuator && tokenText == "[") {
            ReadSection();
        } else if (AtNewline()) {
            GetToken();
        } else if (tokenKind == kComment) {
            itemStart_ = LineIndex();
            ExpectEndOfLine(nullptr, 2);
        } else {
            // The end of the file, or a line that no section can hold: reading
            // ends here, without an error.
            break;
        }
    }
}

void CProfileFileParser::ReadSection()
{
    if (!(tokenKind == kPunctuator && tokenText == "[")) {
        ReportExpected("[");
        return;
    }
    const std::size_t headerLine = itemStart_ = LineIndex();
    GetToken(kDelimited, ']', '\n');
    const std::string name = tokenText;
    sectionWanted_ = layout_ || (request_ && SectionWanted(name));
    if (layout_) {
        // Only the file's shape is wanted.
    } else if (sectionWanted_) {
        if (listing_) {
            AddListingRow("S", name);
        } else {
            AddRow(resultColumns_);
            Store(0, name);
        }
    } else if (strictSection_ && !layout_) {
        ReportExpected("Section");
        return;
    }

    GetToken();
    if (!(tokenKind == kPunctuator && tokenText == "]")) {
        ReportExpected("]");
        return;
    }
    if (layout_)
        NoteItem(true, name, headerLine);
    GetToken();
    if (tokenKind == kComment) {
        NoteComment();
        std::string comment;
        if (!ExpectEndOfLine(&comment, 0))
            return;
        if (listing_ && sectionWanted_)
            Store(3, comment);
    } else if (AtNewline()) {
        GetToken();
    } else {
        ReportExpected("Newline, Comment");
        return;
    }

    valueOnLine_ = false;
    while (parseOk) {
        if (tokenKind == kWord) {
            ReadParameter();
        } else if (tokenKind == kComment) {
            if (valueOnLine_)
                NoteComment();
            else
                itemStart_ = LineIndex();
            std::string comment;
            if (!ExpectEndOfLine(&comment, 0))
                return;
            if (valueOnLine_ && listing_ && sectionWanted_)
                Store(3, comment);
            valueOnLine_ = false;
        } else if (AtNewline()) {
            GetToken();
            valueOnLine_ = false;
        } else {
            return;
        }
    }
}

void CProfileFileParser::ReadParameter()
{
    if (tokenKind != kWord) {
        ReportExpected("Identifier");
        return;
    }
    const std::size_t firstLine = itemStart_ = LineIndex();
    const std::string name = tokenText;
    const int column = layout_ ? 0 : request_ ? ParameterColumn(name) : -1;
    const bool wanted = column >= 0;
    if (wanted || !strictParameter_) {
        if (listing_ && sectionWanted_) {
            AddListingRow("P", name);
        }
    } else if (sectionWanted_ && !layout_) {
        ReportExpected("Parameter");
        return;
    }
    const auto valueColumn = static_cast<std::uint32_t>(listing_ ? 2 : column);

    GetToken();
    if (!(tokenKind == kPunctuator && tokenText == "=")) {
        ReportExpected("=");
        return;
    }
    const std::size_t valueLine = LineIndex();
    const bool valueLineEnds = !lineBuffer.empty() && lineBuffer.back() == '\n';
    GetToken(kDelimited, ';', '\n');
    if (tokenKind == kWordChar) {
        if (wanted && sectionWanted_)
            Store(valueColumn, tokenText);
        if (layout_)
            NoteItem(false, name, firstLine, valueLine, !valueLineEnds);
    } else if (tokenText == "[") {
        std::string block;
        if (!ReadBlockValue(block))
            return;
        if (wanted && sectionWanted_)
            Store(valueColumn, ToCrLf(block));
        if (layout_)
            NoteItem(false, name, firstLine);
    } else {
        ReportExpected("IDENTIFIER");
        return;
    }
    GetToken();
    valueOnLine_ = true;
}

// The lines after "Name = [" up to a line that starts with "]"; the current
// token is that "]" afterwards.
bool CProfileFileParser::ReadBlockValue(std::string& block)
{
    GetToken();
    if (!AtNewline()) {
        ReportExpected("Newline");
        return false;
    }
    for (;;) {
        const bool hasClose = lineBuffer.find(']') != std::string::npos;
        if (hasClose) {
            GetToken();
            if (tokenKind == kPunctuator && tokenText == "]")
                break;
            if (tokenKind == kPunctuator && tokenText == "[")
                break;
        }
        if (endOfInput)
            break;
        block += lineBuffer;
        const bool lastLine = lineBuffer.empty() || lineBuffer.back() != '\n';
        ReadLine();
        if (endOfInput && lastLine) {
            // A last line without a line end: the end was found on that line.
            --lineNumber;
            break;
        }
    }
    if (!(tokenKind == kPunctuator && tokenText == "]")) {
        ReportExpected("]");
        return false;
    }
    return true;
}

// ---------------------------------------------------------------------------
// Writing
//
// The file is read first, with the reading grammar, for its shape: where each
// section header and each parameter stands (lines), with the comment that
// follows it. Each section of the file claims the first table entry of the
// same name (case ignored) that no earlier section claimed; within it, each
// parameter claims a row (listing) or column (selection) of its name. What is
// claimed is written from the table in place of the file's lines; every other
// line is copied as it stands. Entries and parameters that the file does not
// have are added after the last parameter of their section, new sections after
// the last section that reading reaches. A section or parameter that shares a
// line with another one is kept as it stands, and so is everything from the
// line where reading stops (or fails) on.

std::size_t CProfileFileParser::LineIndex() const
{
    return static_cast<std::size_t>(lineNumber > 0 ? lineNumber - 1 : 0);
}

void CProfileFileParser::NoteItem(bool section, const std::string& name, std::size_t first)
{
    LayoutItem item;
    item.section = section;
    item.name = name;
    item.first = first;
    item.last = LineIndex();
    item.unterminated = lineBuffer.empty() || lineBuffer.back() != '\n';
    layout_->push_back(std::move(item));
}

void CProfileFileParser::NoteItem(bool section, const std::string& name, std::size_t first,
                                  std::size_t last, bool unterminated)
{
    NoteItem(section, name, first);
    layout_->back().last = last;
    layout_->back().unterminated = unterminated;
}

void CProfileFileParser::NoteComment()
{
    if (layout_ && !layout_->empty()) {
        layout_->back().hasComment = true;
        layout_->back().comment = tokenText;
    }
}

struct CProfileFileParser::TableEntry {
    std::uint32_t row = 0;
    std::string name;
    std::vector<std::uint32_t> parameterRows;  // listing only
    bool claimed = false;
};

namespace {

// Trimmed as the delimited scan trims: blanks, then one quote, at each end.
std::string TrimValue(const std::array<std::uint32_t, 256>& classes, std::string_view text)
{
    auto classOf = [&classes](char c) { return classes[static_cast<unsigned char>(c)]; };
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && classOf(text[begin]) == kSpaceChar)
        ++begin;
    if (begin < end && classOf(text[begin]) == kQuoteChar)
        ++begin;
    while (end > begin && classOf(text[end - 1]) == kSpaceChar)
        --end;
    if (end > begin && classOf(text[end - 1]) == kQuoteChar)
        --end;
    return std::string(text.substr(begin, end - begin));
}

// " ; " and the comment on one line, or nothing for an empty cell.
std::string CommentPart(const std::string& cell)
{
    if (cell == kEmptyCell)
        return {};
    std::string part = " ; ";
    part += ReplaceChars(TrimCommentEnd(cell), ' ', '\r', '\n');
    // The end-of-text byte would hide the rest of the file from reading.
    part = ReplaceChars(part, ' ', '\x1a', '\x1a');
    return part;
}

// The pieces of a selection cell: its lines, empty ones left out.
std::vector<std::string> SplitLines(const std::string& text)
{
    std::vector<std::string> pieces;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find_first_of("\r\n", start);
        if (end == std::string::npos)
            end = text.size();
        if (end > start)
            pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

// "[", the value's lines, "]": the form that keeps every line as it is.
std::string BlockValue(const std::string& value)
{
    std::string text = "[\n";
    text += RemoveChars(value, '\r', '\r');
    if (text.back() != '\n')
        text += '\n';
    return text + "]";
}

// The file's own comment after an item, as it stood (";" and its text).
std::string FileComment(const CProfileFileParser::LayoutItem& item)
{
    return item.hasComment ? " ;" + item.comment : std::string();
}

// Table entries by name (case ignored); each is handed out once, first come
// (in table order) first.
class NameClaims {
public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    void Add(const std::string& name, std::size_t index)
    {
        byName_[ToUpper(name)].push_back(index);
    }
    std::size_t Take(const std::string& name)
    {
        auto it = byName_.find(ToUpper(name));
        if (it == byName_.end() || it->second.empty())
            return kNone;
        const std::size_t index = it->second.front();
        it->second.pop_front();
        return index;
    }

private:
    std::unordered_map<std::string, std::deque<std::size_t>> byName_;
};

// Puts `comment` at the end of the first line of `lines`; for a block, after
// its closing "]" (nothing may follow the opening "[").
std::string WithComment(std::string lines, const std::string& comment)
{
    if (comment.empty())
        return lines;
    const std::size_t firstEnd = std::min(lines.find('\n'), lines.size());
    const bool block = firstEnd > 0 && lines[firstEnd - 1] == '[' && lines.size() > firstEnd + 1;
    std::size_t at = firstEnd;
    if (block)
        at = !lines.empty() && lines.back() == '\n' ? lines.size() - 1 : lines.size();
    lines.insert(at, comment);
    return lines;
}

}  // namespace

std::string CProfileFileParser::NameText(const std::string& name) const
{
    // A name that is not one word (a blank in it, say) reads back only from
    // between quotes, as it was read.
    bool word = !name.empty();
    for (char c : name)
        word = word && ClassOf(c) == kWordChar;
    if (word || name.find_first_of("\"\n") != std::string::npos)
        return name;
    return '"' + name + '"';
}

bool CProfileFileParser::ReadsBackQuoted(const std::string& value) const
{
    if (value.find_first_of(";\n") != std::string::npos)
        return false;
    if (!value.empty() && ClassOf(value[0]) != kWordChar)
        return false;
    return TrimValue(charClass, '"' + value + '"') == value;
}

bool CProfileFileParser::ListingAsBlock(const std::string& value) const
{
    // A value of several lines goes in as a block; so does one that would not
    // read back from between quotes (a leading blank, a ";").
    return value.find('\n') != std::string::npos || !ReadsBackQuoted(value);
}

bool CProfileFileParser::SelectionAsBlock(const std::string& value) const
{
    // A block value (its lines end in CR LF) goes back as a block, so its empty
    // lines and indentation survive; so does a value whose lines would not read
    // back from between quotes.
    bool asBlock = value.size() >= 2 && value.compare(value.size() - 2, 2, kCrLf) == 0;
    for (const std::string& piece : SplitLines(value))
        asBlock = asBlock || !ReadsBackQuoted(piece);
    return asBlock;
}

bool CProfileFileParser::BlockReadsBack(const std::string& value) const
{
    const std::string text = RemoveChars(value, '\r', '\r');
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::size_t first = start;
        while (first < end && ClassOf(text[first]) == kSpaceChar)
            ++first;
        const std::string_view line(text.data() + start, end - start);
        if (first < end && (text[first] == ']' ||
                            (text[first] == '[' && line.find(']') != std::string_view::npos)))
            return false;
        start = end + 1;
    }
    return true;
}

std::string CProfileFileParser::CellText(std::uint32_t row, std::uint32_t column) const
{
    if (!attributes || column >= attributes->columns)
        return kEmptyCell;
    const std::string* cell =
        attributes->GetAttribute(static_cast<int>(row), static_cast<int>(column));
    return cell ? *cell : std::string(kEmptyCell);
}

std::vector<CProfileFileParser::TableEntry> CProfileFileParser::CollectEntries(
    std::vector<std::uint32_t>& orphans) const
{
    std::vector<TableEntry> entries;
    if (!attributes)
        return entries;
    const std::uint32_t rows = attributes->rows;
    if (listing_) {
        for (std::uint32_t row = 0; row < rows; ++row) {
            const std::string kind = CellText(row, 0);
            const char first = kind.empty() ? '\0' : kind[0];
            if (first == 'S' || first == 's') {
                TableEntry entry;
                entry.row = row;
                entry.name = CellText(row, 1);
                // A section without a name is not written, nor are its
                // parameters.
                entry.claimed = entry.name == kEmptyCell;
                entries.push_back(std::move(entry));
            } else if (first == 'P' || first == 'p') {
                if (CellText(row, 1) == kEmptyCell)
                    continue;  // a parameter without a name
                if (entries.empty())
                    orphans.push_back(row);
                else
                    entries.back().parameterRows.push_back(row);
            }
        }
    } else {
        for (std::uint32_t row = 1; row < rows; ++row) {
            if (CellText(row, 0) == kEmptyCell)
                continue;  // a row without a section name
            TableEntry entry;
            entry.row = row;
            entry.name = CellText(row, 0);
            entries.push_back(std::move(entry));
        }
    }
    return entries;
}

bool CProfileFileParser::ColumnHasName(std::uint32_t column) const
{
    const std::string name = CellText(0, column);
    return name != kEmptyCell && name != kDeleteMark;
}

bool CProfileFileParser::NamesReadBack(const std::vector<TableEntry>& entries,
                                       const std::vector<std::uint32_t>& orphans)
{
    // A section name ends at "]" or the line end; a parameter name cannot hold
    // a quote or a line end, even between quotes; and the end-of-text byte
    // would hide the rest of the file from every later read.
    auto fail = [this](std::string_view expected, const std::string& name) {
        ReportExpected(expected);
        tokenText = name;
        lineNumber = 0;  // the table's fault, not the file's
        return false;
    };
    auto written = [](const TableEntry& entry) { return entry.name != kEmptyCell; };
    for (const TableEntry& entry : entries)
        if (written(entry) && entry.name.find_first_of("]\r\n\x1a") != std::string::npos)
            return fail("Section", entry.name);
    std::vector<std::string> parameters;
    std::vector<std::string> blocks;  // values that go in as blocks
    std::string cut;                  // a value holding the end-of-text byte
    auto addValue = [&](const std::string& value, bool asBlock) {
        if (value == kEmptyCell || value == kDeleteMark)
            return;
        if (value.find('\x1a') != std::string::npos && cut.empty())
            cut = value;
        if (asBlock)
            blocks.push_back(value);
    };
    if (listing_) {
        std::vector<std::uint32_t> rows = orphans;
        for (const TableEntry& entry : entries)
            if (written(entry))
                rows.insert(rows.end(), entry.parameterRows.begin(), entry.parameterRows.end());
        for (std::uint32_t row : rows) {
            parameters.push_back(CellText(row, 1));
            const std::string value = CellText(row, 2);
            addValue(value, ListingAsBlock(value));
        }
    } else if (attributes) {
        for (std::uint32_t column = 1; column < attributes->columns; ++column) {
            if (!ColumnHasName(column))
                continue;
            parameters.push_back(CellText(0, column));
            for (const TableEntry& entry : entries) {
                const std::string value = CellText(entry.row, column);
                addValue(value, SelectionAsBlock(value));
            }
        }
    }
    for (const std::string& name : parameters)
        if (name.find_first_of("\"\r\n\x1a") != std::string::npos)
            return fail("Parameter", name);
    if (!cut.empty())
        return fail("IDENTIFIER", cut);
    for (const std::string& value : blocks)
        if (!BlockReadsBack(value))
            return fail("IDENTIFIER", value);
    return true;
}

std::string CProfileFileParser::RenderSectionLine(const TableEntry& entry) const
{
    std::string line = "[";
    line += CellText(entry.row, listing_ ? 1 : 0);
    line += ']';
    if (listing_)
        line += CommentPart(CellText(entry.row, 3));
    return line + '\n';
}

std::string CProfileFileParser::RenderListingParameter(std::uint32_t row) const
{
    // The empty-cell byte would end the file for every later read: a new
    // parameter without a value is written with an empty one.
    std::string value = CellText(row, 2);
    if (value == kEmptyCell)
        value.clear();
    std::string line = NameText(CellText(row, 1)) + " = ";
    if (ListingAsBlock(value))
        line += BlockValue(value);
    else
        line += '"' + value + '"';
    return line + CommentPart(CellText(row, 3)) + "\n";
}

std::string CProfileFileParser::RenderSelectionValue(std::uint32_t row, std::uint32_t column) const
{
    const std::string name = NameText(CellText(0, column));
    const std::string value = CellText(row, column);
    std::vector<std::string> pieces = SplitLines(value);
    if (SelectionAsBlock(value))
        return name + " = " + BlockValue(value) + "\n";
    if (pieces.empty())
        pieces.emplace_back();  // an empty value is kept as an empty value
    std::string text;
    for (const std::string& piece : pieces)
        text += name + " = \"" + piece + "\"\n";
    return text;
}

std::string CProfileFileParser::RenderNewSection(const TableEntry& entry) const
{
    // A listing puts an empty line before each section but the first row; a
    // selection writes no empty lines.
    std::string text = listing_ && entry.row != 0 ? "\n" : "";
    text += RenderSectionLine(entry);
    if (listing_) {
        for (std::uint32_t row : entry.parameterRows)
            if (CellText(row, 2) != kDeleteMark)
                text += RenderListingParameter(row);
        return text;
    }
    for (std::uint32_t column = 1; column < attributes->columns; ++column) {
        const std::string cell = CellText(entry.row, column);
        if (cell != kEmptyCell && cell != kDeleteMark && ColumnHasName(column))
            text += RenderSelectionValue(entry.row, column);
    }
    return text;
}

void CProfileFileParser::Emit(const std::string& text)
{
    if (text.empty())
        return;
    // Whatever is written starts on a line of its own, even after a last line
    // that had no line end.
    if (outputColumn != -1)
        WriteAtColumn("\n", 0);
    WriteAtColumn(text, 0);
}

void CProfileFileParser::WriteFile()
{
    // The file's shape, read as a listing of everything.
    std::vector<LayoutItem> items;
    layout_ = &items;
    const Diagnostic message = diagnostic;
    ReadTopLevel();
    constexpr std::size_t kNoTail = static_cast<std::size_t>(-1);
    std::size_t tail = kNoTail;
    if (!parseOk)
        tail = itemStart_;  // what does not read stays as it is
    else if (tokenKind != kEndOfFile)
        tail = LineIndex();
    parseOk = true;
    diagnostic = message;
    layout_ = nullptr;
    skippedSpace.clear();

    SkipToPosition(0);
    std::size_t count = 0;
    while (!endOfInput) {
        ++count;
        ReadLine();
    }
    if (tail == kNoTail || tail > count)
        tail = count;

    // Items that share a line with another, that stand in a piece of an
    // over-long line, or that reach into the tail are kept as they stand.
    std::vector<bool> sharesNext(items.size(), false);
    for (std::size_t i = 0; i < items.size(); ++i) {
        LayoutItem& item = items[i];
        if (i + 1 < items.size() && items[i + 1].first <= item.last) {
            sharesNext[i] = true;
            item.frozen = items[i + 1].frozen = true;
        }
        if ((item.unterminated && item.last + 1 < count) || item.last >= tail)
            item.frozen = true;
    }
    // New sections go where reading still reaches them, never between the
    // lines of an item.
    std::size_t newSectionsAt = tail;
    for (const LayoutItem& item : items)
        if (item.first < tail && item.last >= tail)
            newSectionsAt = std::max(newSectionsAt, item.last + 1);

    std::vector<std::uint32_t> orphans;
    std::vector<TableEntry> entries = CollectEntries(orphans);
    if (!NamesReadBack(entries, orphans))
        return;
    NameClaims sectionClaims;
    for (std::size_t e = 0; e < entries.size(); ++e)
        if (!entries[e].claimed)
            sectionClaims.Add(entries[e].name, e);

    // What each line becomes: kept as it stands, or replaced by text that goes
    // before it; and text added after it.
    std::vector<bool> keep(count, true);
    std::vector<std::string> before(count + 1);
    std::vector<std::string> after(count + 1);
    auto drop = [&keep](const LayoutItem& item) {
        for (std::size_t line = item.first; line <= item.last && line < keep.size(); ++line)
            keep[line] = false;
    };
    // `text` after line `line` (-1: before the first line).
    auto addAfter = [&](std::size_t line, const std::string& text) {
        if (line == static_cast<std::size_t>(-1))
            before[0] += text;
        else
            after[std::min(line, count)] += text;
    };

    for (std::uint32_t row : orphans)
        if (CellText(row, 2) != kDeleteMark)
            before[0] += RenderListingParameter(row);

    for (std::size_t s = 0; s < items.size(); ++s) {
        if (!items[s].section)
            continue;
        const LayoutItem& header = items[s];
        std::size_t end = s + 1;
        while (end < items.size() && !items[end].section)
            ++end;

        const std::size_t claimed = sectionClaims.Take(header.name);
        if (claimed == NameClaims::kNone)
            continue;  // the table does not hold this section: it stays as it is
        TableEntry* entry = &entries[claimed];
        entry->claimed = true;

        // Where new parameters go: after the last item of the section whose
        // line no later item shares.
        std::size_t insertAfter = header.last;
        for (std::size_t k = end; k-- > s + 1;) {
            if (!sharesNext[k]) {
                insertAfter = items[k].last;
                break;
            }
        }
        const bool frozenSection = header.frozen;
        if (!frozenSection && listing_ && CellText(entry->row, 2) == kDeleteMark) {
            const std::size_t last = end < items.size() ? items[end].first : tail;
            bool clean = true;
            for (std::size_t k = s + 1; k < end; ++k)
                clean = clean && !items[k].frozen;
            if (clean) {
                for (std::size_t line = header.first; line < last && line < count; ++line)
                    keep[line] = false;
                continue;
            }
        }
        if (!frozenSection) {
            drop(header);
            std::string line = RenderSectionLine(*entry);
            if (!listing_)
                line = WithComment(line, FileComment(header));
            before[header.first] += line;
        }

        if (listing_) {
            std::vector<bool> rowUsed(entry->parameterRows.size(), false);
            NameClaims rowClaims;
            for (std::size_t r = 0; r < entry->parameterRows.size(); ++r)
                rowClaims.Add(CellText(entry->parameterRows[r], 1), r);
            for (std::size_t k = s + 1; k < end; ++k) {
                const LayoutItem& parameter = items[k];
                const std::size_t r = rowClaims.Take(parameter.name);
                if (r == NameClaims::kNone)
                    continue;  // not in the table: the line stays
                rowUsed[r] = true;
                const std::uint32_t row = entry->parameterRows[r];
                const std::string value = CellText(row, 2);
                if (parameter.frozen || value == kEmptyCell)
                    continue;  // kept as the file has it
                drop(parameter);
                if (value != kDeleteMark)
                    before[parameter.first] += RenderListingParameter(row);
            }
            for (std::size_t r = 0; r < entry->parameterRows.size(); ++r)
                if (!rowUsed[r] && CellText(entry->parameterRows[r], 2) != kDeleteMark)
                    addAfter(insertAfter, RenderListingParameter(entry->parameterRows[r]));
            continue;
        }

        const std::uint32_t columns = attributes->columns;
        auto columnOf = [&](const LayoutItem& parameter) {
            std::uint32_t column = 1;
            while (column < columns && !EqualsNoCase(CellText(0, column), parameter.name))
                ++column;
            return column;
        };
        // One cell stands for every occurrence of its name: when one of them
        // must stay as it is, they all do.
        std::vector<bool> keepColumn(columns, false);
        for (std::size_t k = s + 1; k < end; ++k) {
            const std::uint32_t column = columnOf(items[k]);
            if (column < columns && items[k].frozen)
                keepColumn[column] = true;
        }
        std::vector<bool> seen(columns, false);
        for (std::size_t k = s + 1; k < end; ++k) {
            const LayoutItem& parameter = items[k];
            const std::uint32_t column = columnOf(parameter);
            if (column >= columns)
                continue;  // not asked for: the line stays
            const bool first = !seen[column];
            seen[column] = true;
            const std::string cell = CellText(entry->row, column);
            if (keepColumn[column] || cell == kEmptyCell)
                continue;  // kept as the file has it
            drop(parameter);
            // Every occurrence of the name is the one cell: written once, at
            // the first, with the file's comment. A later occurrence's comment
            // stays as a comment line.
            if (cell == kDeleteMark)
                continue;
            if (first)
                before[parameter.first] +=
                    WithComment(RenderSelectionValue(entry->row, column), FileComment(parameter));
            else if (parameter.hasComment)
                before[parameter.first] += ";" + parameter.comment + "\n";
        }
        for (std::uint32_t column = 1; column < columns; ++column) {
            const std::string cell = CellText(entry->row, column);
            if (!seen[column] && cell != kEmptyCell && cell != kDeleteMark && ColumnHasName(column))
                addAfter(insertAfter, RenderSelectionValue(entry->row, column));
        }
    }

    for (const TableEntry& entry : entries)
        if (!entry.claimed && !(listing_ && CellText(entry.row, 2) == kDeleteMark))
            before[std::min(newSectionsAt, count)] += RenderNewSection(entry);

    // Second pass: the file again from its start, now written.
    SkipToPosition(0);
    for (std::size_t line = 0; line < count; ++line) {
        Emit(before[line]);
        if (keep[line])
            CopyCurrentLine();
        Emit(after[line]);
        ReadLine();
    }
    Emit(before[count]);
    CopyRest();
}

}  // namespace tolvik
