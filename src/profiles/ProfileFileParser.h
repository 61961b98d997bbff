// CProfileFileParser: profile files of "[Section]" headers and "Name = value"
// parameters. Reading gives one of two table shapes:
//  - listing: one four-column row per section header ("S", name, marker,
//    comment) and per parameter ("P", name, value, comment), in file order;
//  - selection: a header row of wanted names, then one row per matching section
//    with the wanted parameters' values in their columns.
// Writing makes the file from the table alone, row by row, in the shape the
// table has; nothing of the old text is kept.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "../textfile/SourceParser.h"

namespace tolvik {

// Bits of the flags word that the host passes in the error buffer.
inline constexpr long kProfileStrictSection = 256;
inline constexpr long kProfileStrictParameter = 512;
inline constexpr long kProfileListing = 1024;

class CProfileFileParser : public CSourceParser {
public:
    // `mode` is read (1) or write (3); `flags` is the word the host left in its error buffer.
    CProfileFileParser(std::string_view source, bool sourceInMemory, int mode, long flags);

    // Read mode: `list` holds the request table on entry (it is consumed) and
    // receives the result table on success. Write mode: `list` is the table
    // to write.
    bool Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found) override;

    // The request table a listing read uses when the host gives none: every
    // section, every parameter.
    static std::unique_ptr<CAttributeList> DefaultRequest();

    // After a successful read: the length of the longest cell stored.
    std::size_t LongestCell() const { return longestCell_; }

private:
    // Reading.
    void ReadFile();
    void ReadSection();
    void ReadParameter();
    bool ReadPlainParameters();
    // One plain parameter line whose name stands before `at`; false (nothing
    // stored) when the line is of another kind.
    bool ReadPlainParameter(std::string_view line, std::string_view name, std::size_t at);
    bool ReadBlockValue(std::string& block);
    bool SectionWanted(const std::string& name) const;
    int ParameterColumn(std::string_view name) const;
    void AddRow(std::uint32_t columns);
    // A listing row: the same as a row of empty cells and the stores, without
    // the lookups. An empty cell is one byte, as long as the kind before it: it
    // never raises the longest cell.
    void AddListingRow(std::string_view kind, std::string_view name,
                       std::string_view value = kEmptyCell, std::string_view comment = kEmptyCell)
    {
        currentRow = attributes->rows++;
        for (const std::string_view cell : {kind, name, value, comment})
            if (attributes->AddAttribute(cell) && cell.size() > longestCell_)
                longestCell_ = cell.size();
    }
    void Store(std::uint32_t column, const std::string& text);

    // Writing.
    void WriteFile();
    void WriteListing();
    void WriteSelection();
    // Each false, with the message a later read would give (expected item, the
    // table's text, line 0), when the text could not stand in a file so that it
    // reads back: the file is then not written.
    bool Refuse(std::string_view expected, const std::string& text);
    bool SectionNameFits(const std::string& name);
    bool ParameterNameFits(const std::string& name);
    bool ValueFits(const std::string& value, bool asBlock);
    // Selection: whether column `column` has a name to write its values under.
    bool ColumnHasName(std::uint32_t column) const;
    std::string CellText(std::uint32_t row, std::uint32_t column) const;
    bool ReadsBackQuoted(const std::string& value) const;
    // Whether a value goes into the file as a "[" ... "]" block.
    bool ListingAsBlock(const std::string& value) const;
    bool SelectionAsBlock(const std::string& value) const;
    // Whether every line of a block value reads back as a line of the block:
    // none may start with "]", nor with "[" when it also holds a "]".
    bool BlockReadsBack(const std::string& value) const;
    // Names as they are written so that they read back as they are.
    std::string SectionText(const std::string& name) const;
    std::string NameText(const std::string& name) const;
    std::string ListingValue(std::uint32_t row) const;
    std::string RenderListingParameter(std::uint32_t row) const;
    std::string RenderSelectionValue(std::uint32_t row, std::uint32_t column) const;

    const bool listing_;
    const bool strictSection_;
    const bool strictParameter_;
    std::unique_ptr<CAttributeList> request_;
    std::uint32_t requestRows_ = 0;
    std::uint32_t requestColumns_ = 0;
    std::uint32_t resultColumns_ = 0;
    std::size_t longestCell_ = 0;
    bool sectionWanted_ = false;
    // A listing wants every parameter, in the first column.
    bool everyParameter_ = false;
    bool valueOnLine_ = false;
};

}  // namespace tolvik
