// CTextStringsParser: the "{Strings" section of a text package, in a text
// strings file of its own or embedded in another file as a text stub. One row
// per string:
//   0 the name, for an array followed by "( " + size + " )"
//   1 the string's index: 0 for the region's first string, each string
//     advancing it by 1 and an array by its size + 1
//   2 the word after ":", or the empty cell
//   3 the value (quotes removed), or the empty cell
//   4 the comment, or the empty string
// Read mode fills a new table; write mode replaces the region with the table's
// rows. There is no update mode.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "SectionRowsParser.h"

namespace tolvik {

class CTextStringsParser final : public CSectionRowsParser {
public:
    // `source` is the file name, or with `sourceInMemory` the text itself.
    CTextStringsParser(std::string_view source, bool sourceInMemory, std::string_view startName,
                       std::string_view endName, int mode);

protected:
    std::string_view SectionWord() const override { return "Strings"; }
    std::string_view HeaderLine() const override { return "{Strings\n"; }
    bool IsTypeWord(std::string_view token) const override { return token == "$"; }
    bool PreselectLine(std::string_view name) override { return LineContains("$", name); }
    int NameColumn() const override { return 0; }
    std::string Canonical(int column, CellView cell) const override;
    void ParseDeclaration() override;
    std::string FormatRow(const CAttributeList& table, std::uint32_t row) const override;
    std::unique_ptr<CSectionRowsParser> MakeReader(const std::string& text) const override;

private:
    std::int64_t index_ = 0;
};

}  // namespace tolvik
