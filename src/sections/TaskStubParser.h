// CTaskStubParser: the "Code" section of a task stub, a list of local
// declarations
//   R COUNT = 0 ; loop counter
//   I TABLE( 10 ) = 1 , 2
//   $ TITLE = "Pump"
// read into a table of four columns (type letter, name with "( size )" for an
// array, the values joined by ", ", the comment) and updated from such a
// table. The handler works on the section's text in memory, wrapped in
// "{ Code \n" ... "\n}"; in update mode its output text is the section's own
// lines (never the wrapper's), with the new declarations after them.
#pragma once

#include <climits>
#include <string>
#include <string_view>

#include "../textfile/SourceParser.h"

namespace tolvik {

inline constexpr std::uint32_t kTaskStubColumns = 4;

class CTaskStubParser : public CSourceParser {
public:
    // `startName` and `endName` select the declarations from the one named
    // `startName` to the last one matching the pattern `endName`; both empty
    // take the whole section.
    CTaskStubParser(std::string_view text, bool sourceInMemory, std::string_view startName,
                    std::string_view endName, int mode);

    bool Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found) override;

private:
    bool FindRegion();
    void NextLine();
    // The region's start or end line was not found.
    void RegionMissing(const std::string& name);
    bool IsDeclarationLine(std::string_view nameOrPattern, bool pattern);
    void ParseRegion();
    void ParseDeclaration();
    void FinishUpdate();
    // The row whose name (without its size) is `name`, or -1.
    std::int32_t FindRowByName(const std::string& name) const;
    // The cell, with a column the table does not have read as empty.
    std::string RowCell(std::uint32_t row, std::uint32_t column) const;
    // The line that writes `row`, with its line end.
    std::string FormatRow(std::uint32_t row) const;
    // Writes the line of `row` when it reads back as that row; otherwise
    // reports the failure and writes nothing.
    bool WriteRow(std::uint32_t row);
    bool RowReadsBackAs(std::uint32_t row, const CAttributeList& read) const;
    void FlushEmptyLines();

    std::string startName_;
    std::string endName_;
    int endLine_ = INT_MAX;
    // Update mode: empty lines read but not written yet (the wrapper's line end
    // before its "}" is not part of the section).
    int pendingEmptyLines_ = 0;
    bool previousLineEnded_ = true;
};

}  // namespace tolvik
