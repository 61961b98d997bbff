#include "VpacVariablesParser.h"

#include "../textfile/Charset.h"

namespace tolvik {

namespace {
enum Column : int {
    kTypeColumn = 0,
    kNameColumn = 1,
    kAddressColumn = 2,
    kValuesColumn = 3,
    kCommentColumn = 4
};
}  // namespace

CVpacVariablesParser::CVpacVariablesParser(std::string_view source, bool sourceInMemory,
                                           std::string_view startName, std::string_view endName,
                                           int mode)
    : CSectionRowsParser(source, sourceInMemory, startName, endName, mode)
{
    // "1,2" is three tokens here.
    SetClass(",", kPunctuatorChar);
}

int CVpacVariablesParser::UnitOf(std::string_view typeLetter)
{
    if (typeLetter.size() != 1)
        return 0;
    switch (UpperChar(typeLetter[0])) {
        case 'R':
            return 3;
        case 'I':
            return 2;
        case 'X':
        case 'L':
            return 1;
        default:
            return 0;
    }
}

// type name [size] [=] [value {, value}] [; comment]
void CVpacVariablesParser::ParseDeclaration()
{
    const int unit = UnitOf(tokenText);
    if (unit == 0) {
        ReportExpected("$, Comment, Newline");
        return;
    }
    NewRow();
    Put(kTypeColumn, tokenText);
    Put(kAddressColumn, std::to_string(address_));
    GetToken();
    if (tokenKind != kWord) {
        ReportExpected("Identifier");
        return;
    }
    Put(kNameColumn, tokenText);
    GetToken();

    std::string size;
    if (!ParseSize(size))
        return;
    std::int64_t count = 1;
    if (!size.empty()) {
        Append(kNameColumn, "( " + size + " )");
        count = std::int64_t{ParseLong(size)} + 1;
    }
    address_ += count * unit;

    // The "=" may be left out: a word after the name is the first value.
    if (tokenKind == kPunctuator && tokenText == "=")
        GetToken();
    if (tokenKind == kWord) {
        Put(kValuesColumn, tokenText);
        GetToken();
        while (tokenKind == kPunctuator && tokenText == ",") {
            GetToken();
            if (tokenKind != kWord) {
                ReportExpected(", Identifier");
                return;
            }
            Append(kValuesColumn, ", " + tokenText);
            GetToken();
        }
    }
    ParseLineEnd(kCommentColumn);
}

// "  " + type + " " + name, "= " at column 21 with the values as they stand,
// "; " + comment at column 29. A row whose name is the deletion mark is not
// written.
std::string CVpacVariablesParser::FormatRow(const CAttributeList& table, std::uint32_t row) const
{
    CellView name = SectionCell(table, row, kNameColumn);
    if (name && *name == kDeleteMark)
        return {};
    CellView type = SectionCell(table, row, kTypeColumn);
    std::string line = "  ";
    line += IsEmptyCell(type) ? std::string("...") : *type;
    line += ' ';
    line += IsEmptyCell(name) ? std::string("...") : *name;

    CellView values = SectionCell(table, row, kValuesColumn);
    if (!IsEmptyCell(values)) {
        PadToColumn(line, 21);
        line += "= ";
        line += *values;
    }
    AppendComment(line, SectionCell(table, row, kCommentColumn));
    line += '\n';
    return line;
}

std::string CVpacVariablesParser::Canonical(int column, CellView cell) const
{
    switch (column) {
        case kTypeColumn:
            return IsEmptyCell(cell) ? std::string("...") : std::string(*cell);
        case kNameColumn:
            return IsEmptyCell(cell) ? std::string("...") : LooseSpelling(*cell);
        case kAddressColumn:
            return {};
        case kValuesColumn:
            // "1,2" reads back as "1, 2"; no value at all as the empty cell.
            return IsEmptyCell(cell) || cell->empty() ? std::string(kEmptyCell)
                                                      : LooseSpelling(*cell);
        default:
            return CommentAsWritten(cell);
    }
}

std::unique_ptr<CSectionRowsParser> CVpacVariablesParser::MakeReader(const std::string& text) const
{
    return std::make_unique<CVpacVariablesParser>(text, true, "", "", kRead);
}

}  // namespace tolvik
