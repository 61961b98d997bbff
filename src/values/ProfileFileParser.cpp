#include "ProfileFileParser.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "../textfile/Charset.h"

namespace tolvik {

namespace {

constexpr char kCrLf[] = "\r\n";

}  // namespace

long ParseProfileFlags(const char* text)
{
    if (!text)
        return 0;
    errno = 0;
    long value = std::strtol(text, nullptr, 10);
    if (errno == ERANGE)
        value = value < 0 ? LONG_MIN : LONG_MAX;
    return value;
}

bool ProfileNameMatches(std::string_view pattern, std::string_view name)
{
    if (pattern == "*")
        return true;
    // A "[" can never be matched, so the pattern as a whole cannot either.
    if (pattern.find('[') != std::string_view::npos)
        return false;
    // "+" is one character of any kind followed by any run.
    std::string expanded;
    expanded.reserve(pattern.size() + 4);
    for (char c : pattern) {
        if (c == '+')
            expanded += "?*";
        else
            expanded += UpperChar(c);
    }
    // Linear backtracking over the last "*": it tries the rest of the pattern
    // at each following position, shortest run first.
    std::size_t p = 0;
    std::size_t t = 0;
    std::size_t star = std::string::npos;
    std::size_t starText = 0;
    while (t < name.size()) {
        if (p < expanded.size() && expanded[p] == '*') {
            star = p++;
            starText = t;
        } else if (p < expanded.size() &&
                   (expanded[p] == '?' || expanded[p] == UpperChar(name[t]))) {
            ++p;
            ++t;
        } else if (star != std::string::npos) {
            p = star + 1;
            t = ++starText;
        } else {
            return false;
        }
    }
    while (p < expanded.size() && expanded[p] == '*')
        ++p;
    return p == expanded.size();
}

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

bool CProfileFileParser::Run(std::unique_ptr<CAttributeList>& list, std::string& errorText)
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
    return EndRun(list, errorText);
}

// ---------------------------------------------------------------------------
// Reading

void CProfileFileParser::Store(std::uint32_t column, const std::string& text)
{
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
    attributes->AddAttributes(static_cast<int>(columns), nullptr);
    currentRow = attributes->rows++;
}

void CProfileFileParser::AddListingRow(const char* kind, const std::string& name)
{
    // The same as a row of empty cells and two stores, without the lookups.
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
        if (pattern && ProfileNameMatches(*pattern, name))
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
        if (listing_ ? ProfileNameMatches(*wanted, name) : EqualsNoCase(*wanted, name))
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
// The file is scanned first, line by line, into sections and parameters, the
// way reading sees them. Each section of the file claims the first table entry
// of the same name (case ignored) that no earlier section claimed; within it,
// each parameter claims a row (listing) or column (selection) of its name.
// What is claimed is written from the table in place of the file's lines; every
// other line is copied as it stands. Entries and parameters that the file does
// not have are added after the last parameter of their section, new sections
// after the file's last section. Lines from the first one that reading would
// stop at (or reject) to the end are copied unchanged, after the new sections.

struct CProfileFileParser::FileLayout {
    struct Parameter {
        std::string name;
        std::size_t first = 0;
        std::size_t last = 0;
    };
    struct Section {
        std::string name;
        std::size_t header = 0;
        std::size_t end = 0;  // one past its last line
        std::vector<Parameter> parameters;
    };
    std::vector<Section> sections;
    std::size_t tail = 0;  // the first line reading would not get past
};

struct CProfileFileParser::TableEntry {
    std::uint32_t row = 0;
    std::string name;
    std::vector<std::uint32_t> parameterRows;  // listing only
    bool claimed = false;
};

namespace {

using ClassTable = std::array<std::uint32_t, 256>;

std::uint32_t ClassIn(const ClassTable& classes, char c)
{
    return classes[static_cast<unsigned char>(c)];
}

std::size_t SkipSpace(const ClassTable& classes, std::string_view line, std::size_t pos)
{
    while (pos < line.size() && ClassIn(classes, line[pos]) == kSpaceChar)
        ++pos;
    return pos;
}

// Trimmed as the delimited scan trims: blanks, then one quote, at each end.
std::string TrimValue(const ClassTable& classes, std::string_view text)
{
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && ClassIn(classes, text[begin]) == kSpaceChar)
        ++begin;
    if (begin < end && ClassIn(classes, text[begin]) == kQuoteChar)
        ++begin;
    while (end > begin && ClassIn(classes, text[end - 1]) == kSpaceChar)
        --end;
    if (end > begin && ClassIn(classes, text[end - 1]) == kQuoteChar)
        --end;
    return std::string(text.substr(begin, end - begin));
}

// Nothing but blanks, maybe a comment, and the line end from `pos` on.
bool OnlyCommentFrom(const ClassTable& classes, std::string_view line, std::size_t pos)
{
    pos = SkipSpace(classes, line, pos);
    return pos >= line.size() || line[pos] == '\n' || ClassIn(classes, line[pos]) == kCommentChar;
}

enum class LineKind { Blank, Comment, Header, Parameter, Other };

// The first token of a line, the way the reader takes it.
LineKind KindOf(const ClassTable& classes, std::string_view line, std::size_t& pos)
{
    pos = SkipSpace(classes, line, 0);
    if (pos >= line.size() || line[pos] == '\n')
        return LineKind::Blank;
    const std::uint32_t cls = ClassIn(classes, line[pos]);
    if (cls == kCommentChar)
        return LineKind::Comment;
    if (line[pos] == '[')
        return LineKind::Header;
    if (cls == kWordChar || cls == kQuoteChar)
        return LineKind::Parameter;
    return LineKind::Other;
}

}  // namespace

CProfileFileParser::FileLayout CProfileFileParser::ScanLayout(
    const std::vector<std::string>& lines) const
{
    FileLayout layout;
    const std::size_t count = lines.size();
    std::size_t i = 0;
    for (; i < count; ++i) {
        const std::string& line = lines[i];
        std::size_t pos = 0;
        const LineKind kind = KindOf(charClass, line, pos);
        if (kind == LineKind::Blank || kind == LineKind::Comment)
            continue;
        if (kind == LineKind::Header) {
            const std::size_t close = line.find(']', pos + 1);
            const std::size_t newline = line.find('\n', pos + 1);
            if (close == std::string::npos || close > newline ||
                !OnlyCommentFrom(charClass, line, close + 1))
                break;
            if (!layout.sections.empty())
                layout.sections.back().end = i;
            FileLayout::Section section;
            section.name =
                TrimValue(charClass, std::string_view(line).substr(pos + 1, close - pos - 1));
            section.header = i;
            layout.sections.push_back(std::move(section));
            continue;
        }
        if (kind != LineKind::Parameter || layout.sections.empty())
            break;

        // Name, "=", value.
        FileLayout::Parameter parameter;
        std::size_t at = pos;
        if (ClassIn(charClass, line[at]) == kQuoteChar) {
            const char quote = line[at++];
            const std::size_t start = at;
            while (at < line.size() && line[at] != quote && line[at] != '\n')
                ++at;
            parameter.name = line.substr(start, at - start);
            if (at < line.size() && line[at] == quote)
                ++at;
        } else {
            const std::size_t start = at;
            while (at < line.size() && ClassIn(charClass, line[at]) == kWordChar)
                ++at;
            parameter.name = line.substr(start, at - start);
        }
        at = SkipSpace(charClass, line, at);
        if (at >= line.size() || line[at] != '=')
            break;
        const std::size_t valueStart = at + 1;
        std::size_t valueEnd = valueStart;
        while (valueEnd < line.size() && line[valueEnd] != ';' && line[valueEnd] != '\n')
            ++valueEnd;
        const std::string value =
            TrimValue(charClass, std::string_view(line).substr(valueStart, valueEnd - valueStart));
        parameter.first = i;
        parameter.last = i;
        if (value == "[") {
            // A block: its lines up to one that starts with "]".
            if (valueEnd >= line.size() || line[valueEnd] != '\n')
                break;
            std::size_t j = i + 1;
            bool closed = false;
            for (; j < count; ++j) {
                const std::string& inner = lines[j];
                if (inner.find(']') == std::string::npos)
                    continue;
                std::size_t first = SkipSpace(charClass, inner, 0);
                if (first < inner.size() && inner[first] == '[')
                    break;
                if (first < inner.size() && inner[first] == ']') {
                    closed = OnlyCommentFrom(charClass, inner, first + 1);
                    break;
                }
            }
            if (!closed)
                break;
            parameter.last = j;
        } else if (!value.empty() && ClassIn(charClass, value[0]) != kWordChar) {
            break;
        }
        i = parameter.last;
        layout.sections.back().parameters.push_back(std::move(parameter));
    }
    layout.tail = i;
    if (!layout.sections.empty())
        layout.sections.back().end = i;
    return layout;
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
                entries.push_back(std::move(entry));
            } else if (first == 'P' || first == 'p') {
                if (entries.empty())
                    orphans.push_back(row);
                else
                    entries.back().parameterRows.push_back(row);
            }
        }
    } else {
        for (std::uint32_t row = 1; row < rows; ++row) {
            TableEntry entry;
            entry.row = row;
            entry.name = CellText(row, 0);
            entries.push_back(std::move(entry));
        }
    }
    return entries;
}

namespace {

// " ; " and the comment on one line, or nothing for an empty cell.
std::string CommentPart(const std::string& cell)
{
    if (cell == kEmptyCell)
        return {};
    std::size_t end = cell.size();
    while (end > 0 && (cell[end - 1] == ' ' || cell[end - 1] == '\r' || cell[end - 1] == '\n'))
        --end;
    std::string part = " ; ";
    part += ReplaceChars(std::string_view(cell).substr(0, end), ' ', '\r', '\n');
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

}  // namespace

std::string CProfileFileParser::RenderSectionLine(const TableEntry& entry) const
{
    std::string line = "[";
    line += CellText(entry.row, listing_ ? 1 : 0);
    line += ']';
    if (listing_)
        line += CommentPart(CellText(entry.row, 3));
    return line + '\n';
}

bool CProfileFileParser::ReadsBackQuoted(const std::string& value) const
{
    if (value.find_first_of(";\n") != std::string::npos)
        return false;
    if (!value.empty() && ClassOf(value[0]) != kWordChar)
        return false;
    return TrimValue(charClass, '"' + value + '"') == value;
}

namespace {

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

std::string CProfileFileParser::RenderListingParameter(std::uint32_t row) const
{
    const std::string value = CellText(row, 2);
    std::string line = CellText(row, 1) + " = ";
    // A value of several lines goes in as a block; so does one that would not
    // read back from between quotes (a leading blank, a ";").
    if (value.find('\n') != std::string::npos || !ReadsBackQuoted(value))
        line += BlockValue(value);
    else
        line += '"' + value + '"';
    return line + CommentPart(CellText(row, 3)) + "\n";
}

std::string CProfileFileParser::RenderSelectionValue(std::uint32_t row, std::uint32_t column) const
{
    const std::string name = CellText(0, column);
    const std::string value = CellText(row, column);
    std::vector<std::string> pieces = SplitLines(value);
    bool asBlock = value.size() >= 2 && value.compare(value.size() - 2, 2, kCrLf) == 0;
    for (const std::string& piece : pieces)
        asBlock = asBlock || !ReadsBackQuoted(piece);
    // A block value (its lines end in CR LF) goes back as a block, so its empty
    // lines and indentation survive; so does a value whose lines would not read
    // back from between quotes.
    if (asBlock)
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
        if (cell != kEmptyCell && cell != kDeleteMark)
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
    std::vector<std::string> lines;
    while (!endOfInput) {
        lines.push_back(lineBuffer);
        ReadLine();
    }
    const std::size_t count = lines.size();
    const FileLayout layout = ScanLayout(lines);
    std::vector<std::uint32_t> orphans;
    std::vector<TableEntry> entries = CollectEntries(orphans);

    // What each line becomes: kept as it stands, or replaced by text that goes
    // before it, and text added after it.
    std::vector<bool> keep(count, true);
    std::vector<std::string> before(count + 1);
    std::vector<std::string> after(count);

    for (std::uint32_t row : orphans)
        if (CellText(row, 2) != kDeleteMark)
            before[0] += RenderListingParameter(row);

    for (const FileLayout::Section& section : layout.sections) {
        TableEntry* entry = nullptr;
        for (TableEntry& candidate : entries) {
            if (!candidate.claimed && EqualsNoCase(candidate.name, section.name)) {
                entry = &candidate;
                break;
            }
        }
        if (!entry)
            continue;  // the table does not hold this section: it stays as it is
        entry->claimed = true;
        if (listing_ && CellText(entry->row, 2) == kDeleteMark) {
            for (std::size_t line = section.header; line < section.end; ++line)
                keep[line] = false;
            continue;
        }
        keep[section.header] = false;
        before[section.header] += RenderSectionLine(*entry);
        std::size_t insertAfter = section.header;

        if (listing_) {
            std::vector<bool> rowUsed(entry->parameterRows.size(), false);
            for (const FileLayout::Parameter& parameter : section.parameters) {
                insertAfter = parameter.last;
                std::size_t k = 0;
                while (k < entry->parameterRows.size() &&
                       (rowUsed[k] ||
                        !EqualsNoCase(CellText(entry->parameterRows[k], 1), parameter.name)))
                    ++k;
                if (k == entry->parameterRows.size())
                    continue;
                rowUsed[k] = true;
                const std::uint32_t row = entry->parameterRows[k];
                const std::string value = CellText(row, 2);
                if (value == kEmptyCell)
                    continue;  // the table does not know the value: keep the file's line
                for (std::size_t line = parameter.first; line <= parameter.last; ++line)
                    keep[line] = false;
                if (value != kDeleteMark)
                    before[parameter.first] += RenderListingParameter(row);
            }
            for (std::size_t k = 0; k < entry->parameterRows.size(); ++k)
                if (!rowUsed[k] && CellText(entry->parameterRows[k], 2) != kDeleteMark)
                    after[insertAfter] += RenderListingParameter(entry->parameterRows[k]);
            continue;
        }

        const std::uint32_t columns = attributes->columns;
        std::vector<bool> seen(columns, false);
        for (const FileLayout::Parameter& parameter : section.parameters) {
            insertAfter = parameter.last;
            std::uint32_t column = 1;
            while (column < columns && !EqualsNoCase(CellText(0, column), parameter.name))
                ++column;
            if (column >= columns)
                continue;
            const std::string cell = CellText(entry->row, column);
            if (cell == kEmptyCell) {
                seen[column] = true;
                continue;
            }
            for (std::size_t line = parameter.first; line <= parameter.last; ++line)
                keep[line] = false;
            // Every occurrence of the name is the one cell: written once, at
            // the first.
            if (!seen[column] && cell != kDeleteMark)
                before[parameter.first] += RenderSelectionValue(entry->row, column);
            seen[column] = true;
        }
        for (std::uint32_t column = 1; column < columns; ++column) {
            const std::string cell = CellText(entry->row, column);
            if (!seen[column] && cell != kEmptyCell && cell != kDeleteMark)
                after[insertAfter] += RenderSelectionValue(entry->row, column);
        }
    }

    for (const TableEntry& entry : entries)
        if (!entry.claimed && !(listing_ && CellText(entry.row, 2) == kDeleteMark))
            before[layout.tail] += RenderNewSection(entry);

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
