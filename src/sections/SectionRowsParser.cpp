#include "SectionRowsParser.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "../textfile/Charset.h"

namespace tolvik {

namespace {

constexpr int kToEnd = INT_MAX;

bool EndsWithNewline(const std::string& line)
{
    return !line.empty() && line.back() == '\n';
}

}  // namespace

void CSectionRowsParser::LeadingTokens(const std::array<std::uint32_t, 256>& classes,
                                       std::string_view line, std::string& first,
                                       std::string& second)
{
    auto classOf = [&classes](char c) { return classes[static_cast<unsigned char>(c)]; };
    std::size_t at = 0;
    for (std::string* token : {&first, &second}) {
        token->clear();
        while (at < line.size() && line[at] != '\0' && classOf(line[at]) == kSpaceChar)
            ++at;
        // The line end is no token here: a name pattern never matches it.
        if (at >= line.size() || line[at] == '\0' || line[at] == '\n')
            continue;
        const char c = line[at];
        std::size_t end = at + 1;
        switch (classOf(c)) {
            case kWordChar:
                while (end < line.size() && end - at < static_cast<std::size_t>(kMaxToken) &&
                       line[end] != '\0' && classOf(line[end]) == kWordChar)
                    ++end;
                token->assign(line.substr(at, end - at));
                break;
            case kQuoteChar:
                while (end < line.size() && line[end] != c && line[end] != '\n' &&
                       line[end] != '\0')
                    ++end;
                token->assign(line.substr(at + 1, end - at - 1));
                if (end < line.size() && line[end] == c)
                    ++end;
                break;
            case kCommentChar:
                end = line.size();
                token->assign(line.substr(at));
                break;
            default:  // a punctuator is one character
                token->assign(1, c);
                break;
        }
        at = end;
    }
}

long CSectionRowsParser::ParseLong(std::string_view text)
{
    std::size_t at = 0;
    while (at < text.size() && (text[at] == ' ' || (text[at] >= '\t' && text[at] <= '\r')))
        ++at;
    bool negative = false;
    if (at < text.size() && (text[at] == '+' || text[at] == '-'))
        negative = text[at++] == '-';
    std::int64_t value = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        value = value * 10 + (text[at] - '0');
        if (value > INT32_MAX)
            return negative ? INT32_MIN : INT32_MAX;
    }
    return static_cast<long>(negative ? -value : value);
}

CellView CSectionRowsParser::SectionCell(const CAttributeList& table, std::uint32_t row, int column)
{
    if (column < 0 || static_cast<std::uint32_t>(column) >= table.columns)
        return nullptr;
    return table.GetAttribute(static_cast<int>(row), column);
}

bool CSectionRowsParser::IsEmptyCell(CellView cell)
{
    return !cell || *cell == kEmptyCell;
}

void CSectionRowsParser::PadToColumn(std::string& line, int column)
{
    // The writer's width counts one more than the line holds.
    const std::int64_t width = static_cast<std::int64_t>(line.size()) + 1;
    const std::int64_t blanks = std::max<std::int64_t>(1, column - width);
    line.append(static_cast<std::size_t>(blanks), ' ');
}

std::string CSectionRowsParser::CommentAsWritten(CellView comment)
{
    return IsEmptyCell(comment) ? std::string() : std::string(TrimCommentEnd(*comment));
}

void CSectionRowsParser::AppendComment(std::string& line, CellView comment)
{
    if (IsEmptyCell(comment) || comment->empty())
        return;
    PadToColumn(line, 29);
    line += "; ";
    line += CommentAsWritten(comment);
}

std::string LooseSpelling(std::string_view text)
{
    std::string result;
    for (char c : text) {
        if (c == ' ' || c == '\t')
            continue;
        result += c == '[' ? '(' : c == ']' ? ')' : c;
    }
    return result;
}

CSectionRowsParser::CSectionRowsParser(std::string_view source, bool sourceInMemory,
                                       std::string_view startName, std::string_view endName,
                                       int mode)
    : CSourceParser(source, sourceInMemory, mode, false), startName_(startName), endName_(endName)
{
    SetClass("{}[]():=", kPunctuatorChar);
    SetClass("\"'", kQuoteChar);
    SetClass(";", kCommentChar);
    if (attributes)
        attributes->columns = kSectionColumns;
}

bool CSectionRowsParser::Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found)
{
    BeginRun(list);
    if (fileOpened) {
        if (mode == kRead)
            ReadSection();
        else
            WriteSection();
        if (!parseOk)
            ReportFailureLocation();
        if (mode != kRead)
            Finish();
    }
    return EndRun(list, found);
}

void CSectionRowsParser::NewRow()
{
    if (mode != kRead)
        return;
    const std::uint32_t before = attributes->Count();
    attributes->AddAttributes(kSectionColumns, nullptr);
    // A full table refuses the row (with its overflow box): what the line
    // holds then goes nowhere, never into the last row that was kept.
    rowRefused_ = attributes->Count() < before + kSectionColumns;
    currentRow = attributes->Count() / kSectionColumns - (attributes->Count() ? 1 : 0);
}

void CSectionRowsParser::Put(int column, std::string_view text)
{
    if (mode == kRead && !rowRefused_)
        SetCell(column, text);
}

void CSectionRowsParser::Append(int column, std::string_view text)
{
    if (mode == kRead && !rowRefused_)
        attributes->AppendToAttribute(currentRow * kSectionColumns + column, std::string(text));
}

bool CSectionRowsParser::ParseSize(std::string& size)
{
    size.clear();
    if (!(tokenKind == kPunctuator && (tokenText == "[" || tokenText == "(")))
        return true;
    GetToken();
    if (tokenKind != kWord) {
        ReportExpected("Index Identifier");
        return false;
    }
    size = tokenText;
    GetToken();
    // The brackets need not match: "[5)" is a size too.
    if (!(tokenKind == kPunctuator && (tokenText == "]" || tokenText == ")"))) {
        ReportExpected("], )");
        return false;
    }
    GetToken();
    return true;
}

void CSectionRowsParser::ParseLineEnd(int commentColumn)
{
    if (tokenKind == kComment) {
        std::string comment;
        ExpectEndOfLine(&comment, 0);
        Put(commentColumn, comment);
    } else if (AtNewline()) {
        Put(commentColumn, "");
        GetToken();
    } else {
        ReportExpected("Comment, Newline");
    }
}

std::string CSectionRowsParser::RowLine(std::uint32_t row) const
{
    return attributes ? FormatRow(*attributes, row) : std::string();
}

CellView CSectionRowsParser::RowCell(std::uint32_t row, int column) const
{
    return attributes ? SectionCell(*attributes, row, column) : nullptr;
}

std::uint32_t CSectionRowsParser::RowCount() const
{
    if (!attributes || attributes->columns == 0)
        return 0;
    return std::min(attributes->rows, attributes->Count() / attributes->columns);
}

// One pass over the whole text: the start line, the last end line at or after
// it, and the first section header with its closing line.
void CSectionRowsParser::FindRegion(Region& region)
{
    const bool headerStart = startName_.empty();
    const std::string endPreselect =
        endName_.empty() ? std::string() : endName_.substr(0, endName_.size() - 1);
    int endLine = 0;
    bool lastEndedLine = true;
    std::string first;
    std::string second;
    SkipToPosition(0);
    for (; !endOfInput; ReadLine()) {
        LeadingTokens(charClass, lineBuffer, first, second);
        const bool isHeader = first == "{" && LineContains("{", SectionWord());
        if (region.header == 0 && isHeader)
            region.header = lineNumber;
        else if (region.header != 0 && region.headerClosing == 0 && first == "}")
            region.headerClosing = lineNumber;

        const bool typeLine = IsTypeWord(first);
        if (!region.startFound) {
            if (headerStart
                    ? isHeader
                    : typeLine && PreselectLine(startName_) && EqualsNoCase(second, startName_)) {
                region.startFound = true;
                region.first = headerStart ? lineNumber + 1 : lineNumber;
            }
        }
        if (region.startFound && !endName_.empty() && typeLine && PreselectLine(endPreselect) &&
            WildcardMatches(endName_, second))
            endLine = lineNumber;
        lastEndedLine = EndsWithNewline(lineBuffer);
    }
    // A text that ends without a line end ends on its last line.
    region.endOfText = lastEndedLine ? lineNumber : lineNumber - 1;
    region.endFound = endName_.empty() || endLine != 0;
    if (!endName_.empty() && endLine != 0)
        region.endLine = endLine;
}

void CSectionRowsParser::ReportMissing(std::string_view name, const Region& region)
{
    ReportExpected(name);
    tokenText.clear();
    lineNumber = region.endOfText;
}

void CSectionRowsParser::GoToLine(int line)
{
    SkipToPosition(0);
    while (!endOfInput && lineNumber < line) {
        CopyCurrentLine();
        ReadLine();
    }
}

// The region's lines, from the current token, up to the first token that
// cannot begin a line of the section (the closing "}" among them) or the
// first line beyond `endLine`.
void CSectionRowsParser::ParseRegion(int endLine)
{
    while (parseOk && lineNumber <= endLine &&
           (tokenKind == kWord || tokenKind == kComment || AtNewline())) {
        if (tokenKind == kWord)
            ParseDeclaration();
        else if (tokenKind == kComment)
            ExpectEndOfLine(nullptr, 2);
        else
            GetToken();
    }
}

void CSectionRowsParser::ReadSection()
{
    Region region;
    FindRegion(region);
    if (!region.startFound) {
        ReportMissing(startName_, region);
        return;
    }
    if (!region.endFound) {
        ReportMissing(endName_, region);
        return;
    }
    GoToLine(region.first);
    GetToken();
    ParseRegion(region.endLine);
}

void CSectionRowsParser::WriteSection()
{
    copyThrough = false;
    Region region;
    FindRegion(region);
    int first = 0;
    int stop = 0;  // the first line after the region, kToEnd for none
    if (region.startFound && region.endFound) {
        // The region ends where a read of it would stop, so that no line the
        // table does not cover is replaced: at the closing "}" line, after
        // the end line, or at a line that cannot belong to the section.
        GoToLine(region.first);
        GetToken();
        ParseRegion(region.endLine);
        if (!parseOk)
            return;
        first = region.first;
        if (lineNumber > region.endLine)
            stop = region.endLine + 1;
        else
            stop = tokenKind == kEndOfFile ? kToEnd : lineNumber;
    } else if (!region.startFound && !region.endFound) {
        // Neither name found: the rows go at the end of the existing section.
        if (region.header == 0) {
            ReportMissing(startName_, region);
            return;
        }
        first = stop = region.headerClosing != 0 ? region.headerClosing : kToEnd;
    } else {
        ReportMissing(region.startFound ? endName_ : startName_, region);
        return;
    }
    if (!RowsReadBack(first == kToEnd ? region.endOfText : first))
        return;

    copyThrough = true;
    GoToLine(first);
    while (!endOfInput && lineNumber < stop)
        ReadLine();
    if (outputColumn != -1)
        WriteAtColumn("\n", 0);  // the line before has no line end
    const std::uint32_t rows = RowCount();
    for (std::uint32_t row = 0; row < rows; ++row)
        WriteAtColumn(RowLine(row), 0);
    if (endOfInput) {
        WriteAtColumn("}\n", 0);
    } else {
        // The closing line as it stands, a comment on it included.
        CopyCurrentLine();
        if (!EndsWithNewline(lineBuffer))
            WriteAtColumn("\n", 0);
    }
    CopyRest();
}

bool CSectionRowsParser::ReadsBackAs(std::uint32_t row, const CAttributeList& read) const
{
    for (int column = 0; column < kSectionColumns; ++column)
        if (Canonical(column, RowCell(row, column)) !=
            Canonical(column, SectionCell(read, 0, column)))
            return false;
    return true;
}

// Every row must read back as the one row it was written from; a row that
// would not (a name with blanks, a comment holding a line end, a value with
// both kinds of quote) fails the write before anything is written. The error
// names what a read of the written file would have found, on the line the row
// would have taken.
bool CSectionRowsParser::RowsReadBack(int firstLine)
{
    const std::uint32_t rows = RowCount();
    for (std::uint32_t row = 0; row < rows; ++row) {
        const std::string line = RowLine(row);
        if (line.empty())
            continue;
        std::unique_ptr<CSectionRowsParser> reader =
            MakeReader(std::string(HeaderLine()) + line + "}\n");
        reader->noConversion = true;
        std::unique_ptr<CAttributeList> table;
        Diagnostic found;
        const bool ok = reader->Run(table, found);
        if (ok && table && table->rows == 1 && ReadsBackAs(row, *table))
            continue;
        if (!ok && found.located && !found.expected.empty()) {
            for (const std::string& expected : found.expected)
                ReportExpected(expected);
            tokenText = found.token;
        } else {
            // It read back as other rows.
            ReportExpected("Comment, Newline");
            CellView name = RowCell(row, NameColumn());
            tokenText = name ? *name : std::string();
        }
        const std::int64_t at = std::int64_t{firstLine} + row;
        lineNumber = at > INT_MAX ? INT_MAX : static_cast<int>(at);
        return false;
    }
    return true;
}

}  // namespace tolvik
