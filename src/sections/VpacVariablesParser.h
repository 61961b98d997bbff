// CVpacVariablesParser: the "{ Variables" section of a variable package, in a
// variables file of its own or embedded in another file as a VPAC stub. One
// row per variable:
//   0 the type letter as written: R, I, X or L, in either case
//   1 the name, for an array followed by "( " + size + " )"
//   2 the variable's address: 0 for the region's first variable, each
//     variable advancing it by (size + 1, or 1) times the unit of its type
//     (R 3, I 2, X 1, L 1; a lower-case letter counts as its upper case)
//   3 the initial values joined by ", ", or the empty cell
//   4 the comment, or the empty string
// Read mode fills a new table; write mode replaces the region with the table's
// rows. The address is not written: every read computes it anew.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "SectionRowsParser.h"

namespace tolvik {

class CVpacVariablesParser final : public CSectionRowsParser {
public:
    // `source` is the file name, or with `sourceInMemory` the text itself.
    CVpacVariablesParser(std::string_view source, bool sourceInMemory, std::string_view startName,
                         std::string_view endName, int mode);

    // The address step of a type letter, 0 for anything else.
    static int UnitOf(std::string_view typeLetter);

protected:
    std::string_view SectionWord() const override { return "Variables"; }
    std::string_view HeaderLine() const override { return "{Variables\n"; }
    bool IsTypeWord(std::string_view token) const override { return UnitOf(token) != 0; }
    bool PreselectLine(std::string_view name) override { return LineContains(name); }
    int NameColumn() const override { return 1; }
    std::string Canonical(int column, CellView cell) const override;
    void ParseDeclaration() override;
    std::string FormatRow(const CAttributeList& table, std::uint32_t row) const override;
    std::unique_ptr<CSectionRowsParser> MakeReader(const std::string& text) const override;

private:
    std::int64_t address_ = 0;
};

}  // namespace tolvik
