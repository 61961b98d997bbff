// CValuesFileParser: the base of the handlers for files that hold a table of
// values whose columns are found by character position under a header line.
// It keeps the column boundaries of the header (the offset just after each
// column's ":" and after the closing ")") and the column names, and declares
// the steps every such handler implements.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "../core/AttributeList.h"
#include "../textfile/SourceParser.h"

namespace tolvik {

class CValuesFileParser : public CSourceParser {
public:
    CValuesFileParser(std::string_view source, bool sourceInMemory, int mode);

    bool Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found) override = 0;
    // Update mode: the header line of the new block.
    virtual bool WriteHeader() = 0;
    // Update mode: one line per value row of the table.
    virtual bool WriteRows() = 0;
    // Read mode: the header line, which declares the columns.
    virtual bool ReadHeader() = 0;
    // Read mode: the value lines up to the block's closing "}".
    virtual bool ReadBlock() = 0;

protected:
    // The first word of `line` that starts within [begin, end), cut at `end`:
    // words are separated by white space, "{", "}" and ";". A word that starts
    // before `begin` is not one of the stretch's, not even its rest. Empty when
    // there is none, or when the line does not reach `begin`.
    static std::string WordInStretch(std::string_view line, std::size_t begin, std::size_t end);

    // Offsets in the header line just after each column's ":" and after ")".
    std::vector<std::uint16_t> columnPositions;
    // The column names of the header, one cell per column.
    CAttributeList columnNames;
};

}  // namespace tolvik
