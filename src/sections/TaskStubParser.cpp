#include "TaskStubParser.h"

#include <vector>

#include "../textfile/Charset.h"
#include "LineTokens.h"
#include "SectionRowsParser.h"

namespace tolvik {

namespace {

constexpr int kEqualsColumn = 21;
constexpr int kCommentColumn = 29;

bool IsTypeLetter(std::string_view word)
{
    for (std::string_view letter : {"R", "I", "X", "L", "$"})
        if (EqualsNoCase(word, letter))
            return true;
    return false;
}

// The name of a cell without the size an array carries, whichever brackets
// and blanks it is written with ("TABLE( 3 )", "TABLE [3]").
std::string_view BareName(std::string_view cell)
{
    std::string_view name = cell.substr(0, cell.find_first_of("(["));
    while (!name.empty() && (name.back() == ' ' || name.back() == '\t'))
        name.remove_suffix(1);
    return name;
}

std::string Blanks(int count)
{
    return std::string(static_cast<std::size_t>(count < 1 ? 1 : count), ' ');
}

// Whether anything but blanks or a comment follows the first "=" of a
// declaration line.
bool DeclarationHasValue(std::string_view line)
{
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos)
        return false;
    const std::size_t next = line.find_first_not_of(" \t\r", equals + 1);
    return next != std::string_view::npos && line[next] != ';' && line[next] != '\n';
}

}  // namespace

CTaskStubParser::CTaskStubParser(std::string_view text, bool inMemory, std::string_view startName,
                                 std::string_view endName, int mode_)
    : CSourceParser(text, inMemory, mode_, false), startName_(startName), endName_(endName)
{
    SetClass("\n{}[]():=", kPunctuatorChar);
    SetClass("\"'", kQuoteChar);
    SetClass(";", kCommentChar);
    if (mode == kRead)
        attributes->columns = kTaskStubColumns;
}

bool CTaskStubParser::IsDeclarationLine(std::string_view nameOrPattern, bool pattern)
{
    const std::vector<std::string> tokens = LineTokens(lineBuffer, charClass, 2);
    if (tokens.size() < 2 || !IsTypeLetter(tokens[0]))
        return false;
    return pattern ? WildcardMatches(nameOrPattern, tokens[1])
                   : EqualsNoCase(tokens[1], nameOrPattern);
}

void CTaskStubParser::NextLine()
{
    previousLineEnded_ = !lineBuffer.empty() && lineBuffer.back() == '\n';
    ReadLine();
}

void CTaskStubParser::RegionMissing(const std::string& name)
{
    ReportExpected(name);
    tokenText.clear();
    // The search ran to the end: on the last line when it has no line end.
    if (endOfInput && !previousLineEnded_ && lineNumber > 1)
        --lineNumber;
}

bool CTaskStubParser::FindRegion()
{
    // Lines are only looked at here; nothing is written while searching.
    copyThrough = false;
    bool found = false;
    for (; !endOfInput; NextLine()) {
        if (startName_.empty()) {
            if (LineContains("{", "Code")) {
                const std::vector<std::string> tokens = LineTokens(lineBuffer, charClass, 1);
                if (!tokens.empty() && tokens[0] == "{") {
                    ReadLine();  // the section starts after its header line
                    found = true;
                    break;
                }
            }
        } else if (LineContains(startName_) && IsDeclarationLine(startName_, false)) {
            found = true;
            break;
        }
    }
    if (!found) {
        RegionMissing(startName_);
        return false;
    }
    if (!endName_.empty()) {
        const std::uint64_t start = lineStartPosition;
        const std::string preselect = endName_.substr(0, endName_.size() - 1);
        endLine_ = 0;
        for (; !endOfInput; NextLine())
            if (LineContains(preselect) && IsDeclarationLine(endName_, true))
                endLine_ = lineNumber;
        if (endLine_ == 0) {
            RegionMissing(endName_);
            return false;
        }
        SkipToPosition(start);
    }
    copyThrough = true;
    return true;
}

std::string CTaskStubParser::RowCell(std::uint32_t row, std::uint32_t column) const
{
    if (column >= attributes->columns)
        return kEmptyCell;
    CellView cell = attributes->GetAttribute(static_cast<int>(row), static_cast<int>(column));
    return cell ? std::string(*cell) : std::string(kEmptyCell);
}

std::int32_t CTaskStubParser::FindRowByName(const std::string& name) const
{
    for (std::uint32_t row = 0; row < attributes->rows; ++row)
        if (EqualsNoCase(BareName(RowCell(row, 1)), name))
            return static_cast<std::int32_t>(row);
    return -1;
}

std::string CTaskStubParser::FormatRow(std::uint32_t row) const
{
    std::string type = RowCell(row, 0);
    std::string name = RowCell(row, 1);
    const std::string value = RowCell(row, 2);
    const std::string comment = RowCell(row, 3);
    if (type == kEmptyCell)
        type = "...";
    if (name == kEmptyCell)
        name = "...";

    std::string line = "  " + type + " " + name;
    // The width runs one ahead of the line, so "= " lands on column 21 and
    // "; " on column 29.
    int width = static_cast<int>(name.size()) + 5;
    const int toEquals = kEqualsColumn - width;
    line += Blanks(toEquals);
    width += toEquals < 1 ? 1 : toEquals;
    line += "= ";
    if (type == "$") {
        const char quote = value.find('"') != std::string::npos ? '\'' : '"';
        line += quote + value + quote;
        width += static_cast<int>(value.size()) + 4;
    } else {
        // A comma reads as a separator only with blanks around it, and a value
        // that is not one word reads back only in quotes.
        std::string written;
        std::size_t begin = 0;
        for (;;) {
            const std::size_t comma = value.find(", ", begin);
            std::string item =
                value.substr(begin, comma == std::string::npos ? comma : comma - begin);
            bool plain = !item.empty();
            for (char c : item)
                plain = plain && ClassOf(c) == kWordChar;
            if (!plain)
                item =
                    (item.find('"') != std::string::npos ? '\'' + item + '\'' : '"' + item + '"');
            written += item;
            if (comma == std::string::npos)
                break;
            written += " , ";
            begin = comma + 2;
        }
        line += written;
        width += static_cast<int>(written.size()) + 2;
    }
    if (comment != kEmptyCell && !comment.empty()) {
        line += Blanks(kCommentColumn - width);
        line += "; " + std::string(TrimCommentEnd(comment));
    }
    line += '\n';
    return line;
}

// A row is written only when its line reads back as the row: a type that is
// no type letter, a name that is not one word, a comment holding a line end
// or a string holding both kinds of quote would leave a section that no
// longer reads. The error names what a read of that line would have found.
bool CTaskStubParser::WriteRow(std::uint32_t row)
{
    const std::string line = FormatRow(row);
    CTaskStubParser reader("{ Code \n" + line + "}", true, "", "", kRead);
    reader.noConversion = true;
    std::unique_ptr<CAttributeList> read;
    Diagnostic found;
    const bool ok = reader.Run(read, found);
    if (ok && read && read->rows == 1 && RowReadsBackAs(row, *read)) {
        WriteText(line);
        return true;
    }
    if (!ok && found.located && !found.expected.empty()) {
        for (const std::string& expected : found.expected)
            ReportExpected(expected);
        tokenText = found.token;
    } else {
        ReportExpected("Comment, Newline");
        tokenText = RowCell(row, 1);
    }
    return false;
}

bool CTaskStubParser::RowReadsBackAs(std::uint32_t row, const CAttributeList& read) const
{
    const auto cell = [&read](int column) {
        CellView text = read.GetAttribute(0, column);
        return text ? std::string(*text) : std::string(kEmptyCell);
    };
    const std::string comment = RowCell(row, 3);
    return cell(0) == RowCell(row, 0) && LooseSpelling(cell(1)) == LooseSpelling(RowCell(row, 1)) &&
           cell(2) == RowCell(row, 2) &&
           cell(3) ==
               (comment == kEmptyCell ? std::string() : std::string(TrimCommentEnd(comment)));
}

void CTaskStubParser::FlushEmptyLines()
{
    for (; pendingEmptyLines_ > 0; --pendingEmptyLines_)
        WriteText("\n");
}

void CTaskStubParser::ParseDeclaration()
{
    const bool reading = mode == kRead;
    if (reading) {
        attributes->AddAttributes(static_cast<int>(kTaskStubColumns), nullptr);
        currentRow = attributes->Count() / kTaskStubColumns - 1;
        SetCell(0, tokenText);
    }
    GetToken();
    if (tokenKind != kWord) {
        ReportExpected("Identifier");
        return;
    }
    if (reading) {
        SetCell(1, tokenText);
    } else {
        const std::int32_t row = FindRowByName(tokenText);
        if (row < 0) {
            CopyCurrentLine();  // a declaration the table does not hold stays as it is
        } else {
            const std::string value = RowCell(static_cast<std::uint32_t>(row), 2);
            // An empty value cell removes a declaration that had a value; one
            // that never had a value reads that way and so stays as it stands.
            if (value == kEmptyCell && !DeclarationHasValue(lineBuffer))
                CopyCurrentLine();
            else if (value != kEmptyCell && value != kDeleteMark &&
                     !WriteRow(static_cast<std::uint32_t>(row)))
                return;
            attributes->RemoveRow(static_cast<std::uint32_t>(row));
        }
    }
    GetToken();
    if (tokenKind == kPunctuator && (tokenText == "[" || tokenText == "(")) {
        GetToken();
        if (tokenKind != kWord) {
            ReportExpected("Index Identifier");
            return;
        }
        const std::string size = tokenText;
        GetToken();
        if (!(tokenKind == kPunctuator && (tokenText == "]" || tokenText == ")"))) {
            ReportExpected("], )");
            return;
        }
        if (reading)
            attributes->AppendToAttribute(currentRow * kTaskStubColumns + 1, "( " + size + " )");
        GetToken();
    }
    if (!(tokenKind == kPunctuator && tokenText == "=")) {
        ReportExpected("=");
        return;
    }
    GetToken();
    if (tokenKind == kWord) {
        std::string values = tokenText;
        GetToken();
        while (tokenKind == kWord && tokenText == ",") {
            GetToken();
            if (tokenKind != kWord) {
                ReportExpected(", Identifier");
                return;
            }
            values += ", " + tokenText;
            GetToken();
        }
        if (reading)
            SetCell(2, values);
    }
    if (tokenKind == kComment) {
        std::string comment;
        if (ExpectEndOfLine(&comment, 0) && reading)
            SetCell(3, comment);
    } else if (AtNewline()) {
        if (reading)
            SetCell(3, "");
        GetToken();
    } else {
        ReportExpected("Comment, Newline");
    }
}

void CTaskStubParser::ParseRegion()
{
    const bool updating = mode == kUpdate;
    GetToken();
    while (parseOk && lineNumber <= endLine_ &&
           (tokenKind == kWord || tokenKind == kComment || AtNewline())) {
        if (AtNewline()) {
            if (updating)
                ++pendingEmptyLines_;
            GetToken();
            continue;
        }
        if (updating)
            FlushEmptyLines();
        if (tokenKind == kComment) {
            CopyCurrentLine();
            ExpectEndOfLine(nullptr, 2);
        } else if (IsTypeLetter(tokenText)) {
            ParseDeclaration();
        } else {
            ReportExpected("Type, Comment, Newline");
        }
    }
}

void CTaskStubParser::FinishUpdate()
{
    // The wrapper's last line is its "}" alone, and the line end before it
    // is the wrapper's too.
    const bool atWrapperEnd = tokenKind == kPunctuator && tokenText == "}" && lineBuffer == "}";
    if (atWrapperEnd && pendingEmptyLines_ > 0)
        --pendingEmptyLines_;
    FlushEmptyLines();
    for (std::uint32_t row = 0; row < attributes->rows; ++row) {
        const std::string value = RowCell(row, 2);
        if (value != kEmptyCell && value != kDeleteMark && !WriteRow(row))
            return;
    }
    if (atWrapperEnd || tokenKind == kEndOfFile)
        return;
    // The section stopped before its end: what follows is kept as it stands.
    if (AtNewline())
        WriteText("\n");
    // The wrapper's closing line (its "}" without a line end) and the line end
    // before it are not the section's.
    for (; !endOfInput; ReadLine()) {
        if (lineBuffer == "\n") {
            ++pendingEmptyLines_;
        } else if (lineBuffer == "}") {
            if (pendingEmptyLines_ > 0)
                --pendingEmptyLines_;
        } else {
            FlushEmptyLines();
            CopyCurrentLine();
        }
    }
    FlushEmptyLines();
}

bool CTaskStubParser::Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found)
{
    BeginRun(list);
    if (fileOpened && attributes) {
        if (FindRegion()) {
            ParseRegion();
            if (parseOk && mode == kUpdate)
                FinishUpdate();
        }
        if (!parseOk)
            ReportFailureLocation();
        if (mode != kRead)
            Finish();
    } else if (fileOpened) {
        ReportExpected("TABLE");
        ReportFailureLocation();
    }
    return EndRun(list, found);
}

}  // namespace tolvik
