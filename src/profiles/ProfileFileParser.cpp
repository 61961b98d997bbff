#include "ProfileFileParser.h"

#include <array>
#include <vector>

#include "../textfile/Charset.h"

namespace tolvik {

namespace {

// What names written back may not hold: a section name ends at "]", a quoted
// name at its quote, both at the line's end and at an end-of-text byte.
constexpr char kNotInSection[] = {']', '\r', '\n', kEndOfText};
constexpr char kNotInName[] = {'"', '\r', '\n', kEndOfText};

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
    const std::uint64_t index = std::uint64_t{resultColumns_} * currentRow + column;
    if (column >= resultColumns_ || index >= attributes->Count())
        return;
    const auto flat = static_cast<std::uint32_t>(index);
    const std::string_view cell = *attributes->GetAttribute(static_cast<int>(flat), -1);
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
    attributes->AddAttributes(static_cast<int>(columns), nullptr);
    currentRow = attributes->rows++;
}

bool CProfileFileParser::SectionWanted(const std::string& name) const
{
    for (std::uint32_t row = 1; row < requestRows_; ++row) {
        CellView pattern = request_->GetAttribute(static_cast<int>(row), 0);
        if (pattern && WildcardMatches(*pattern, name))
            return true;
    }
    return false;
}

int CProfileFileParser::ParameterColumn(std::string_view name) const
{
    if (everyParameter_)
        return 1;
    for (std::uint32_t column = 1; column < requestColumns_; ++column) {
        CellView wanted = request_->GetAttribute(0, static_cast<int>(column));
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
        // "*" as the first parameter pattern: every name is wanted there.
        const CellView first =
            request_ && requestColumns_ > 1 ? request_->GetAttribute(0, 1) : CellView();
        everyParameter_ = first && *first == "*";
    } else {
        resultColumns_ = requestColumns_;
        attributes->AddAttributes(static_cast<int>(resultColumns_), nullptr);
        attributes->rows = 1;
        currentRow = 0;
        for (std::uint32_t column = 1; column < resultColumns_; ++column) {
            CellView wanted = request_->GetAttribute(0, static_cast<int>(column));
            if (wanted)
                Store(column, std::string(*wanted));
        }
    }
    attributes->columns = resultColumns_;

    GetToken();
    while (parseOk) {
        if (tokenKind == kPunctuator && tokenText == "[") {
            ReadSection();
        } else if (AtNewline()) {
            GetToken();
        } else if (tokenKind == kComment) {
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
    GetToken(kDelimited, ']', '\n');
    const std::string name = tokenText;
    sectionWanted_ = request_ && SectionWanted(name);
    if (sectionWanted_) {
        if (listing_) {
            AddListingRow("S", name);
        } else {
            AddRow(resultColumns_);
            Store(0, name);
        }
    } else if (strictSection_) {
        ReportExpected("Section");
        return;
    }

    GetToken();
    if (!(tokenKind == kPunctuator && tokenText == "]")) {
        ReportExpected("]");
        return;
    }
    GetToken();
    if (tokenKind == kComment) {
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
            if (!ReadPlainParameters())
                ReadParameter();
        } else if (tokenKind == kComment) {
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
    const std::string name = tokenText;
    const int column = request_ ? ParameterColumn(name) : -1;
    const bool wanted = column >= 0;
    if (wanted || !strictParameter_) {
        if (listing_ && sectionWanted_) {
            AddListingRow("P", name);
        }
    } else if (sectionWanted_) {
        ReportExpected("Parameter");
        return;
    }
    const auto valueColumn = static_cast<std::uint32_t>(listing_ ? 2 : column);

    GetToken();
    if (!(tokenKind == kPunctuator && tokenText == "=")) {
        ReportExpected("=");
        return;
    }
    GetToken(kDelimited, ';', '\n');
    if (tokenKind == kWordChar) {
        if (wanted && sectionWanted_)
            Store(valueColumn, tokenText);
    } else if (tokenText == "[") {
        std::string block;
        if (!ReadBlockValue(block))
            return;
        if (wanted && sectionWanted_)
            Store(valueColumn, ToCrLf(block));
    } else {
        ReportExpected("IDENTIFIER");
        return;
    }
    GetToken();
    valueOnLine_ = true;
}

bool CProfileFileParser::ReadPlainParameters()
{
    // The common lines "Name = value" and "Name = value ; comment" of a
    // listing, one after another, each taken from its line at once: the same
    // cells, line numbers and next token as token by token, without the
    // copies. The first line's name is the current token; a line of any other
    // kind is left to the token by token reading (false when the first is).
    if (!listing_ || !sectionWanted_ || !request_)
        return false;
    std::size_t at = cursor;
    std::string_view name = tokenText;
    for (bool first = true;; first = false) {
        const std::string_view line(lineBuffer);
        if (!first) {
            // The name: the line's first token, when it is a word.
            at = 0;
            while (at < line.size() && ClassOf(line[at]) == kSpaceChar && line[at] != '\0')
                ++at;
            const std::size_t start = at;
            while (at < line.size() && ClassOf(line[at]) == kWordChar && line[at] != '\0')
                ++at;
            name = line.substr(start, at - start);
        }
        if (!ReadPlainParameter(line, name, at)) {
            if (first)
                return false;
            GetToken();
            return true;
        }
        ReadLine();
    }
}

bool CProfileFileParser::ReadPlainParameter(std::string_view line, std::string_view name,
                                            std::size_t at)
{
    // "= value" and a comment or not after the name, up to the line end.
    if (name.empty() || line.empty() || line.back() != '\n')
        return false;
    while (at < line.size() && ClassOf(line[at]) == kSpaceChar)
        ++at;
    if (at >= line.size() || line[at] != '=')
        return false;
    const std::size_t valueStart = at + 1;
    const std::string_view rest = line.substr(valueStart, line.size() - 1 - valueStart);
    if (rest.find('\0') != std::string_view::npos)
        return false;
    const std::size_t semicolon = rest.find(';');
    const bool commented = semicolon != std::string_view::npos;
    std::string_view value = commented ? rest.substr(0, semicolon) : rest;
    if (value.find('"') != std::string_view::npos)
        return false;  // a quote: a quoted value
    value = TrimDelimited(value);
    if (ClassOf(value.empty() ? '\0' : value.front()) != kWordChar)
        return false;
    std::string_view comment;
    if (commented) {
        comment = rest.substr(semicolon + 1);
        if (!comment.empty() && comment.front() == ' ')
            comment.remove_prefix(1);
    }
    if (ParameterColumn(name) < 0)
        return false;

    AddListingRow("P", name, value, commented ? comment : std::string_view(kEmptyCell));
    valueOnLine_ = false;
    return true;
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
// The file is made from the table alone: each row that the shape writes
// becomes its lines, in table order, and nothing of the old text is kept (the
// old file stays as the backup). Before a row goes out its names and values
// are checked to read back; one that cannot stand in a file so fails the
// write, and the source stays as it was.

namespace {

// " ; " and the comment on one line, or nothing for an empty cell.
std::string CommentPart(const std::string& cell)
{
    if (cell == kEmptyCell)
        return {};
    std::string part = " ; ";
    part += ReplaceChars(TrimCommentEnd(cell), ' ', '\r', '\n');
    // The end-of-text byte would hide the rest of the file from reading.
    part = ReplaceChars(part, ' ', kEndOfText, kEndOfText);
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

}  // namespace

void CProfileFileParser::WriteFile()
{
    keepTailAfterEndOfText = false;
    if (!attributes)
        return;
    if (listing_)
        WriteListing();
    else
        WriteSelection();
}

// Rows in table order: "S" a section line (after an empty line unless it is
// the first row), "P" a parameter line; rows of any other kind are left out.
void CProfileFileParser::WriteListing()
{
    bool inSection = false;
    // A section without a name is not written, nor are its parameters: the
    // empty-cell byte in the file would end it for every later read.
    bool namelessSection = false;
    for (std::uint32_t row = 0; row < attributes->rows; ++row) {
        const std::string kind = CellText(row, 0);
        const char first = kind.empty() ? '\0' : kind[0];
        const std::string name = CellText(row, 1);
        if (first == 'S' || first == 's') {
            namelessSection = name == kEmptyCell;
            if (namelessSection)
                continue;
            if (!SectionNameFits(name))
                return;
            inSection = true;
            std::string line = row != 0 ? "\n[" : "[";
            line += SectionText(name) + "]" + CommentPart(CellText(row, 3)) + "\n";
            WriteAtColumn(line, 0);
        } else if (first == 'P' || first == 'p') {
            if (namelessSection || name == kEmptyCell)
                continue;
            if (!ParameterNameFits(name))
                return;
            // Reading ends at a parameter that stands before every section:
            // the file would read as if it held nothing.
            if (!inSection) {
                Refuse("[", name);
                return;
            }
            const std::string value = ListingValue(row);
            if (!ValueFits(value, ListingAsBlock(value)))
                return;
            WriteAtColumn(RenderListingParameter(row), 0);
        }
    }
}

// Rows 1 on: "[" section "]", then one line per value (per line of a value
// that holds several) under its column's name; no empty lines, no comments.
void CProfileFileParser::WriteSelection()
{
    const std::uint32_t columns = attributes->columns;
    for (std::uint32_t row = 1; row < attributes->rows; ++row) {
        const std::string section = CellText(row, 0);
        if (section == kEmptyCell)
            continue;  // a row without a section name
        if (!SectionNameFits(section))
            return;
        std::string header = "[";
        header += SectionText(section);
        header += "]\n";
        WriteAtColumn(header, 0);
        for (std::uint32_t column = 1; column < columns; ++column) {
            const std::string value = CellText(row, column);
            // A column without a name has nothing to write its values under.
            if (value == kEmptyCell || value == kDeleteMark || !ColumnHasName(column))
                continue;
            if (!ParameterNameFits(CellText(0, column)) ||
                !ValueFits(value, SelectionAsBlock(value)))
                return;
            WriteAtColumn(RenderSelectionValue(row, column), 0);
        }
    }
}

bool CProfileFileParser::Refuse(std::string_view expected, const std::string& text)
{
    ReportExpected(expected);
    tokenText = text;
    lineNumber = 0;  // the table's fault, not the file's
    return false;
}

bool CProfileFileParser::SectionNameFits(const std::string& name)
{
    // A section name ends at "]" or the line end, and the end-of-text byte
    // would hide the rest of the file from every later read.
    if (name.find_first_of(std::string_view(kNotInSection, sizeof kNotInSection)) !=
        std::string::npos)
        return Refuse("Section", name);
    return true;
}

bool CProfileFileParser::ParameterNameFits(const std::string& name)
{
    // A parameter name cannot hold a quote or a line end, even between quotes.
    if (name.find_first_of(std::string_view(kNotInName, sizeof kNotInName)) != std::string::npos)
        return Refuse("Parameter", name);
    return true;
}

bool CProfileFileParser::ValueFits(const std::string& value, bool asBlock)
{
    if (value.find(kEndOfText) != std::string::npos || (asBlock && !BlockReadsBack(value)))
        return Refuse("IDENTIFIER", value);
    return true;
}

std::string CProfileFileParser::SectionText(const std::string& name) const
{
    // Blanks or a quote at an end of the name read back only from between
    // quotes.
    return TrimDelimited(name) == name ? name : '"' + name + '"';
}

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
    return TrimDelimited('"' + value + '"') == value;
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
    CellView cell = attributes->GetAttribute(static_cast<int>(row), static_cast<int>(column));
    return cell ? std::string(*cell) : std::string(kEmptyCell);
}

bool CProfileFileParser::ColumnHasName(std::uint32_t column) const
{
    const std::string name = CellText(0, column);
    return name != kEmptyCell && name != kDeleteMark;
}

std::string CProfileFileParser::ListingValue(std::uint32_t row) const
{
    // An empty cell is written as the empty value: the empty-cell byte in the
    // file would end it for every later read.
    std::string value = CellText(row, 2);
    if (value == kEmptyCell)
        value.clear();
    return value;
}

std::string CProfileFileParser::RenderListingParameter(std::uint32_t row) const
{
    const std::string value = ListingValue(row);
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
    if (SelectionAsBlock(value))
        return name + " = " + BlockValue(value) + "\n";
    std::vector<std::string> pieces = SplitLines(value);
    if (pieces.empty())
        pieces.emplace_back();  // an empty value is kept as an empty value
    std::string text;
    for (const std::string& piece : pieces)
        text += name + " = \"" + piece + "\"\n";
    return text;
}

}  // namespace tolvik
