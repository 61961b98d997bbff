#include "BpacValuesParser.h"

#include <algorithm>

#include "../textfile/Charset.h"

namespace tolvik {

namespace {

// What each failed expectation reports.
constexpr std::string_view kExpectOpening = "{ Values";
constexpr std::string_view kExpectValuesWord = "Values ";
constexpr std::string_view kExpectLineEnd = "Comment, Newline ";
constexpr std::string_view kExpectOpenParen = "( ";
constexpr std::string_view kExpectColon = ": ";
constexpr std::string_view kExpectTypeLetter = "L, X, I, R ";
constexpr std::string_view kExpectCloseParen = ") ";
constexpr std::string_view kExpectValueLine = "IDENTIFIER, #, Comment, Newline ";
constexpr std::string_view kExpectClosingBrace = "} ";

// The header's lead, "( No" and five blanks; the first ":" follows it.
constexpr std::string_view kHeaderLead = "( No     ";
// A row's identifier follows these.
constexpr std::string_view kRowIdLead = "  #";
constexpr std::string_view kIdColumnTitle = "No";

bool IsTypeLetter(std::string_view text)
{
    if (text.size() != 1)
        return false;
    const char c = UpperChar(text[0]);
    return c == 'L' || c == 'X' || c == 'I' || c == 'R';
}

// A comment as it is written back: CR and LF become blanks, and trailing
// blanks are dropped.
std::string CleanComment(std::string_view text)
{
    std::string result = ReplaceChars(text, ' ', '\r', '\n');
    // The end-of-text byte would hide the rest of the file from reading.
    result = ReplaceChars(result, ' ', kEndOfText, kEndOfText);
    while (!result.empty() && result.back() == ' ')
        result.pop_back();
    return result;
}

}  // namespace

CBpacValuesParser::CBpacValuesParser(std::string_view source, int mode_, bool inMemory)
    : CValuesFileParser(source, inMemory, mode_)
{
    SetClass("#():{}\n", kPunctuatorChar);
    SetClass(";", kCommentChar);
    // Columns are found by position, so tabs count as the blanks they stand
    // for. The first line of a file has been read already and keeps its tabs.
    expandTabs = true;
}

bool CBpacValuesParser::Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found)
{
    BeginRun(list);
    if (fileOpened) {
        if (mode == kRead) {
            if (FindOpeningLine() && ReadOpeningLine()) {
                GetToken();
                // Empty lines and comment lines may stand before the header.
                while (parseOk && (AtNewline() || tokenKind == kComment)) {
                    if (ExpectLineEnd(nullptr))
                        GetToken();
                }
                if (parseOk && ReadHeader())
                    ReadBlock();
            }
        } else if (FindOpeningLine() && ReadOpeningLine() && HeaderIsWritable()) {
            const bool closed = tokenKind != kEndOfFile && FindClosingLine();
            WriteAtColumn("{ Values \n\n", 0);
            WriteHeader();
            WriteRows();
            WriteAtColumn("\n}\n", 0);
            // Whatever follows the old block is not the table's: it stays.
            if (closed)
                CopyRest();
        }
        if (!parseOk)
            ReportFailureLocation();
        if (mode != kRead)
            Finish();
    }
    return EndRun(list, found);
}

bool CBpacValuesParser::FindOpeningLine()
{
    bool lastLineEnded = true;
    while (!endOfInput) {
        // A "{" that only stands in a comment does not open the block.
        if (LineContains("{", "Values")) {
            for (char c : lineBuffer) {
                if (c == '{')
                    return true;
                if (ClassOf(c) == kCommentChar)
                    break;
            }
        }
        lastLineEnded = !lineBuffer.empty() && lineBuffer.back() == '\n';
        CopyCurrentLine();
        ReadLine();
    }
    // The end of the file is found on a last line that has no line end.
    if (!lastLineEnded && lineNumber > 1)
        --lineNumber;
    tokenText.clear();
    ReportExpected(kExpectOpening);
    return false;
}

bool CBpacValuesParser::ReadOpeningLine()
{
    GetToken();
    while (!(tokenKind == kPunctuator && tokenText == "{") && tokenKind != kEndOfFile &&
           tokenKind != kComment && !AtNewline())
        GetToken();
    GetToken();
    if (tokenKind != kWord || !EqualsNoCase(tokenText, "VALUES")) {
        ReportExpected(kExpectValuesWord);
        return false;
    }
    GetToken();
    return ExpectLineEnd(nullptr);
}

bool CBpacValuesParser::FindClosingLine()
{
    while (!endOfInput) {
        std::size_t i = 0;
        while (i < lineBuffer.size() && ClassOf(lineBuffer[i]) == kSpaceChar)
            ++i;
        if (i < lineBuffer.size() && lineBuffer[i] == '}')
            return true;
        ReadLine();
    }
    return false;
}

bool CBpacValuesParser::ExpectLineEnd(std::string* comment)
{
    if (tokenKind == kComment) {
        if (comment)
            *comment = !tokenText.empty() && tokenText[0] == ' ' ? tokenText.substr(1) : tokenText;
        GetToken();
    }
    if (AtNewline() || tokenKind == kEndOfFile)
        return true;
    ReportExpected(kExpectLineEnd);
    return false;
}

bool CBpacValuesParser::ReadHeader()
{
    if (!(tokenKind == kPunctuator && tokenText == "(")) {
        ReportExpected(kExpectOpenParen);
        return false;
    }
    GetToken();
    while (tokenKind == kWord)  // the identifier column's title
        GetToken();
    if (!(tokenKind == kPunctuator && tokenText == ":")) {
        ReportExpected(kExpectColon);
        return false;
    }
    std::vector<std::string> letters;
    std::vector<std::string> names;
    columnPositions.clear();
    for (;;) {
        // The current token is a column's ":"; its column starts just after it.
        columnPositions.push_back(static_cast<std::uint16_t>(cursor));
        GetToken(1);
        if (tokenKind != kWord || !IsTypeLetter(tokenText)) {
            ReportExpected(kExpectTypeLetter);
            return false;
        }
        letters.push_back(tokenText);
        GetToken();
        if (tokenKind == kWord) {
            names.push_back(tokenText);
            GetToken();
        } else {
            std::string name = "E";
            name += std::to_string(letters.size());
            names.push_back(std::move(name));
        }
        if (tokenKind == kPunctuator && tokenText == ":")
            continue;
        if (tokenKind == kPunctuator && tokenText == ")") {
            columnPositions.push_back(static_cast<std::uint16_t>(cursor));
            break;
        }
        ReportExpected(kExpectCloseParen);
        return false;
    }
    GetToken();
    std::string comment;
    if (!ExpectLineEnd(&comment))
        return false;
    GetToken();

    attributes->columns = static_cast<std::uint32_t>(letters.size() + 2);
    attributes->AddAttribute(std::string(kIdColumnTitle));
    for (const std::string& letter : letters)
        attributes->AddAttribute(letter);
    attributes->AddAttribute(comment);
    attributes->AddAttribute(std::string(kIdColumnTitle));
    for (const std::string& name : names) {
        attributes->AddAttribute(name);
        columnNames.AddAttribute(name);
    }
    attributes->AddAttribute(comment);
    return true;
}

bool CBpacValuesParser::ReadBlock()
{
    for (;;) {
        if (AtNewline()) {
            GetToken();
        } else if (tokenKind == kComment) {
            if (!ExpectLineEnd(nullptr))
                return false;
            GetToken();
        } else if (tokenKind == kWord || (tokenKind == kPunctuator && tokenText == "#")) {
            if (!ReadValueLine())
                return false;
        } else {
            break;
        }
    }
    if (tokenKind == kPunctuator && tokenText == "}")
        return true;
    ReportExpected(tokenKind == kEndOfFile ? kExpectClosingBrace : kExpectValueLine);
    return false;
}

bool CBpacValuesParser::ReadValueLine()
{
    const std::size_t columns = columnPositions.size() - 1;
    std::vector<std::string> row(columns + 2, kEmptyCell);
    // The row's line as it stands (the tokens below may move on to the next
    // line); a comment holds no values.
    std::string line = lineBuffer;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (ClassOf(line[i]) == kCommentChar) {
            line.resize(i);
            break;
        }
    }
    // Where the row's "#" and identifier end.
    std::size_t valuesFrom = 0;
    if (tokenKind == kPunctuator && tokenText == "#") {
        valuesFrom = cursor;
        GetToken();
        row[0].clear();
        if (tokenKind == kWord) {
            row[0] = tokenText;
            valuesFrom = cursor;
            GetToken();
        }
    }
    // Nothing of the identifier is a value, however far right it reaches.
    std::fill_n(line.begin(), std::min(valuesFrom, line.size()), ' ');
    // One word of the line is counted for each column; the value itself is the
    // first word that starts within the column, cut where the column ends: the
    // rest of a word that runs on is no value of the next column.
    std::size_t counted = 0;
    while (counted < columns && tokenKind == kWord) {
        ++counted;
        GetToken();
    }
    for (std::size_t c = 1; c <= columns; ++c) {
        // A word may start under the column's own ":" as well; it stands under
        // the column's heading all the same.
        const std::size_t begin = columnPositions[c - 1] - 1u;
        const std::size_t end = columnPositions[c] - 1u;  // the next ":" or the ")"
        std::string value = WordInStretch(line, begin, end);
        // A value that stands in its column is never lost, even when an empty
        // column before it left the line with fewer words than columns.
        if (c <= counted || !value.empty())
            row[c] = std::move(value);
    }
    if (tokenKind == kWord || (tokenKind == kPunctuator && !AtNewline())) {
        // Words beyond the last column, and anything else up to a comment or
        // the line end, are not part of the table.
        while (CurrentChar() != '\0' && CurrentChar() != '\n' &&
               ClassOf(CurrentChar()) != kCommentChar)
            ++cursor;
        GetToken();
    }
    std::string comment;
    if (!ExpectLineEnd(&comment))
        return false;
    row[columns + 1] = comment;
    for (const std::string& cell : row)
        attributes->AddAttribute(cell);
    GetToken();
    return true;
}

std::uint32_t CBpacValuesParser::ValueColumns() const
{
    return attributes && attributes->columns >= 2 ? attributes->columns - 2 : 0;
}

CellView CBpacValuesParser::TableCell(std::uint32_t row, std::uint32_t column) const
{
    if (!attributes || column >= attributes->columns || row >= attributes->rows)
        return nullptr;
    return attributes->GetAttribute(static_cast<int>(row), static_cast<int>(column));
}

std::string CBpacValuesParser::WritableCell(std::uint32_t row, std::uint32_t column,
                                            std::string_view empty) const
{
    CellView cell = TableCell(row, column);
    if (!cell || *cell == kEmptyCell || *cell == kDeleteMark)
        return std::string(empty);
    // A line break, a brace or a ";" would end the value line, the block or
    // the values when the file is read, and the end-of-text byte the whole
    // text: they are written as blanks.
    std::string text = ReplaceChars(*cell, ' ', '\r', '\n');
    text = ReplaceChars(text, ' ', '{', '}');
    return ReplaceChars(text, ' ', ';', kEndOfText);
}

std::string CBpacValuesParser::WritableComment(std::uint32_t row) const
{
    CellView cell = TableCell(row, ValueColumns() + 1);
    if (!cell || *cell == kEmptyCell || *cell == kDeleteMark)
        return {};
    return CleanComment(*cell);
}

std::string CBpacValuesParser::WritableId(std::uint32_t row) const
{
    // An identifier is one word: any other character in it is written as "_".
    // An empty one is written as none, since the first value would otherwise
    // be read as the identifier.
    std::string id = WritableCell(row, 0, "");
    if (std::all_of(id.begin(), id.end(), [this](char c) { return ClassOf(c) == kSpaceChar; }))
        return {};
    for (char& c : id)
        if (ClassOf(c) != kWordChar)
            c = '_';
    return id;
}

bool CBpacValuesParser::HeaderIsWritable()
{
    // A header that would not read back is not written: the file stays as it
    // is rather than lose its values block to one that cannot be read.
    const std::uint32_t columns = ValueColumns();
    if (columns == 0) {
        tokenText.clear();
        ReportExpected(kExpectColon);
        return false;
    }
    for (std::uint32_t c = 1; c <= columns; ++c) {
        const std::string letter = WritableCell(0, c, "?");
        if (!IsTypeLetter(letter)) {
            tokenText = letter;
            ReportExpected(kExpectTypeLetter);
            return false;
        }
    }
    return true;
}

std::string CBpacValuesParser::WritableName(std::uint32_t column) const
{
    // A name is one word, as the header is read: any other character in it is
    // written as "_".
    std::string name = WritableCell(1, column, "?");
    for (char& c : name)
        if (ClassOf(c) != kWordChar)
            c = '_';
    return name;
}

bool CBpacValuesParser::RowIsRemoved(std::uint32_t row) const
{
    CellView id = TableCell(row, 0);
    return id && *id == kDeleteMark;
}

bool CBpacValuesParser::WriteHeader()
{
    const std::uint32_t columns = ValueColumns();
    const std::uint32_t rows = attributes ? attributes->rows : 0;
    std::vector<std::size_t> widths(columns, 0);
    for (std::uint32_t c = 1; c <= columns; ++c) {
        widths[c - 1] = WritableCell(0, c, "?").size() + 1 + WritableName(c).size();
        for (std::uint32_t r = 2; r < rows; ++r)
            if (!RowIsRemoved(r))
                widths[c - 1] = std::max(widths[c - 1], WritableCell(r, c, "").size());
    }
    if (columns > 0) {
        // A long identifier reaches into the first column: the column grows so
        // that its value still stands apart from the identifier and within the
        // column, and reads back as written.
        for (std::uint32_t r = 2; r < rows; ++r) {
            const std::string id = WritableId(r);
            if (id.empty() || RowIsRemoved(r))
                continue;
            const std::size_t idEnd = kRowIdLead.size() + id.size();
            const std::size_t value = WritableCell(r, 1, "").size();
            const std::size_t needed = value > 0 ? idEnd + 1 + value : idEnd;
            const std::size_t firstEnd = kHeaderLead.size() + 1 + widths[0];
            if (needed > firstEnd)
                widths[0] += needed - firstEnd;
        }
    }

    std::string line(kHeaderLead);
    writtenOffsets_.assign(1, line.size());
    for (std::uint32_t c = 1; c <= columns; ++c) {
        std::string column = ":";
        column += WritableCell(0, c, "?");
        column += ' ';
        column += WritableName(c);
        column.resize(std::max(column.size(), widths[c - 1] + 1), ' ');
        line += column;
        writtenOffsets_.push_back(writtenOffsets_.back() + widths[c - 1] + 1);
    }
    line += ") ";
    const std::string comment = WritableComment(0);
    if (!comment.empty())
        line += "; " + comment;
    line += "\n\n";
    WriteAtColumn(line, 0);
    return parseOk;
}

bool CBpacValuesParser::WriteRows()
{
    const std::uint32_t columns = ValueColumns();
    const std::uint32_t rows = attributes ? attributes->rows : 0;
    if (writtenOffsets_.size() != columns + 1u)
        return false;
    for (std::uint32_t r = 2; r < rows; ++r) {
        if (RowIsRemoved(r))
            continue;
        std::string line;
        const std::string id = WritableId(r);
        if (!id.empty())
            line = std::string(kRowIdLead) + id;
        bool lineStarted = !id.empty();
        for (std::uint32_t c = 1; c <= columns; ++c) {
            // Right-aligned to end just before the next column's ":"; a value
            // too long for that pushes the rest of the line right.
            std::string value = WritableCell(r, c, "");
            if (!lineStarted) {
                // The first word of a line without identifier must read as a
                // value, not as "#" or another mark.
                const auto first = std::find_if(value.begin(), value.end(), [this](char ch) {
                    return ClassOf(ch) != kSpaceChar;
                });
                if (first != value.end()) {
                    if (ClassOf(*first) != kWordChar)
                        *first = '_';
                    lineStarted = true;
                }
            }
            const std::size_t end = writtenOffsets_[c];
            const std::size_t start = value.size() < end ? end - value.size() : 0;
            if (line.size() < start)
                line.append(start - line.size(), ' ');
            line += value;
        }
        const std::string comment = WritableComment(r);
        if (!comment.empty()) {
            // A line of blanks and a comment would read as a comment line, and
            // the row would be gone: a bare "#" keeps it a value line.
            if (!lineStarted)
                line.replace(0, std::min(line.size(), kRowIdLead.size()), kRowIdLead);
            line += "  ; " + comment;
        }
        line += '\n';
        WriteAtColumn(line, 0);
    }
    return parseOk;
}

}  // namespace tolvik
