// CBpacValuesParser: the values of a BPAC parameter block, a column-aligned
// table inside a "{ Values" block.
//
//   { Values
//
//   ( No     :L Speed :X Limit )  ; header comment
//
//     #1         120     300  ; row comment
//   }
//
// Read mode gives a table of k + 2 columns for k declared columns: row 0 holds
// "No", the type letters and the header comment, row 1 "No", the column names
// and the header comment again, and each value line a row of its identifier,
// its values and its comment. Values are found by position under the header's
// columns. Update mode copies everything before the opening line, writes a
// freshly laid-out block from the table in place of the old one, and copies
// the lines after the old block's closing "}" line.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ValuesFileParser.h"

namespace tolvik {

class CBpacValuesParser : public CValuesFileParser {
public:
    // `mode` 1 reads, 2 updates.
    CBpacValuesParser(std::string_view source, int mode, bool sourceInMemory = false);

    bool Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found) override;
    bool WriteHeader() override;
    bool WriteRows() override;
    bool ReadHeader() override;
    bool ReadBlock() override;

private:
    // Passes over (and in update mode copies) the lines before the opening
    // line. False, with the message "{ Values", when there is none.
    bool FindOpeningLine();
    // The opening line: "{", the word VALUES, a comment or the line end.
    bool ReadOpeningLine();
    // After the opening line: passes over the old block up to its closing "}"
    // line. False when the block has no closing line.
    bool FindClosingLine();
    // A comment (stored in `comment` less one leading blank) and the line end.
    // The line end (or the end of the file) stays the current token.
    bool ExpectLineEnd(std::string* comment);
    bool ReadValueLine();

    std::uint32_t ValueColumns() const;
    // The table's cell, or null when the table has no such cell.
    CellView TableCell(std::uint32_t row, std::uint32_t column) const;
    // The cell as text to write: the characters that would end it when read
    // become blanks; an empty cell (or a missing one) gives `empty`.
    std::string WritableCell(std::uint32_t row, std::uint32_t column, std::string_view empty) const;
    // The row's comment as it is written: on one line, without trailing blanks.
    std::string WritableComment(std::uint32_t row) const;
    // The row's identifier as it is written, empty for none.
    std::string WritableId(std::uint32_t row) const;
    bool RowIsRemoved(std::uint32_t row) const;
    // The column's name as it is written in the header.
    std::string WritableName(std::uint32_t column) const;
    // False, with a message, when the table's header would not read back: no
    // value column, or a type letter other than L, X, I or R.
    bool HeaderIsWritable();

    // Update mode: where the ":" after each column (or the closing ")") stands
    // in the written header; the first entry is the first column's ":".
    std::vector<std::size_t> writtenOffsets_;
};

}  // namespace tolvik
