#include "TextStringsParser.h"

namespace tolvik {

namespace {
enum Column : int {
    kNameColumn = 0,
    kIndexColumn = 1,
    kColonWordColumn = 2,
    kValueColumn = 3,
    kCommentColumn = 4
};
}  // namespace

CTextStringsParser::CTextStringsParser(std::string_view source, bool sourceInMemory,
                                       std::string_view startName, std::string_view endName,
                                       int mode)
    : CSectionRowsParser(source, sourceInMemory, startName, endName, mode)
{
}

// [$] name [size] [: word] [= [value]] [; comment]
void CTextStringsParser::ParseDeclaration()
{
    // The "$" may be left out: a line that starts with the name is a string.
    if (tokenText == "$")
        GetToken();
    if (tokenKind != kWord) {
        ReportExpected("$, Comment, Newline");
        return;
    }
    NewRow();
    Put(kNameColumn, tokenText);
    Put(kIndexColumn, std::to_string(index_));
    GetToken();

    std::string size;
    if (!ParseSize(size))
        return;
    if (size.empty()) {
        index_ += 1;
    } else {
        Append(kNameColumn, "( " + size + " )");
        index_ += std::int64_t{ParseLong(size)} + 1;
    }

    if (tokenKind == kPunctuator && tokenText == ":") {
        GetToken();
        if (tokenKind != kWord) {
            ReportExpected("Identifier");
            return;
        }
        Put(kColonWordColumn, tokenText);
        GetToken();
    }
    if (tokenKind == kPunctuator && tokenText == "=") {
        GetToken();
        if (tokenKind == kWord) {
            Put(kValueColumn, tokenText);
            GetToken();
        }
    }
    ParseLineEnd(kCommentColumn);
}

// "  $ " + name, ":" + word, "= " at column 21 with the value in double quotes
// (single quotes when it holds a double quote), "; " + comment at column 29.
// A row whose name is the deletion mark is not written.
std::string CTextStringsParser::FormatRow(const CAttributeList& table, std::uint32_t row) const
{
    CellView name = SectionCell(table, row, kNameColumn);
    if (name && *name == kDeleteMark)
        return {};
    std::string line = "  $ ";
    line += IsEmptyCell(name) ? std::string("...") : *name;

    // An empty word would leave a ":" that nothing follows: it is no word.
    CellView word = SectionCell(table, row, kColonWordColumn);
    if (!IsEmptyCell(word) && !word->empty()) {
        line += ':';
        line += *word;
    }
    CellView value = SectionCell(table, row, kValueColumn);
    if (!IsEmptyCell(value)) {
        PadToColumn(line, 21);
        const char quote = value->find('"') == std::string::npos ? '"' : '\'';
        line += "= ";
        line += quote;
        line += *value;
        line += quote;
    }
    AppendComment(line, SectionCell(table, row, kCommentColumn));
    line += '\n';
    return line;
}

std::string CTextStringsParser::Canonical(int column, CellView cell) const
{
    switch (column) {
        case kNameColumn:
            return IsEmptyCell(cell) ? std::string("...") : LooseSpelling(*cell);
        case kIndexColumn:
            return {};
        case kColonWordColumn:
            return IsEmptyCell(cell) || cell->empty() ? std::string(kEmptyCell)
                                                      : std::string(*cell);
        case kCommentColumn:
            return CommentAsWritten(cell);
        default:
            return IsEmptyCell(cell) ? std::string(kEmptyCell) : std::string(*cell);
    }
}

std::unique_ptr<CSectionRowsParser> CTextStringsParser::MakeReader(const std::string& text) const
{
    return std::make_unique<CTextStringsParser>(text, true, "", "", kRead);
}

}  // namespace tolvik
