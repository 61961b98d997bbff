// CSectionRowsParser: what the text strings and the VPAC variables handlers
// share. Both read one section of one-line declarations ("{Strings",
// "{ Variables") into a five-column table and write a table back in place of
// that section; they differ only in the declaration grammar and line format.
//
// The region of the section that a run covers is chosen by a start and an end
// name. An empty start name means the first line after the section's header;
// an empty end name means the section's closing "}" line (or the end of the
// text when the section has none). A write replaces the region's lines with
// the table's rows and copies every other line as it stands; the region also
// ends at the first line a read of it would stop at, so a write never
// replaces a line that the table does not cover. A row that would not read
// back as itself fails the write before anything is written.
#pragma once

#include <array>
#include <climits>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "../textfile/SourceParser.h"

namespace tolvik {

// Cells per row of both section tables.
inline constexpr int kSectionColumns = 5;

// A name or value as the readers give it back, for comparison: without blanks
// and tabs, a size in round brackets whichever were written.
std::string LooseSpelling(std::string_view text);

class CSectionRowsParser : public CSourceParser {
public:
    CSectionRowsParser(std::string_view source, bool sourceInMemory, std::string_view startName,
                       std::string_view endName, int mode);

    bool Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found) final;

    // The decimal number at the start of `text`, as atol reads it on the host (a
    // value beyond 32 bits is clamped).
    static long ParseLong(std::string_view text);

protected:
    // The first two tokens of `line` as the class table reads them ("" for none;
    // the line end counts as none).
    static void LeadingTokens(const std::array<std::uint32_t, 256>& classes, std::string_view line,
                              std::string& first, std::string& second);

    // The cell (row, column) of a table; null when the table has no such cell.
    static CellView SectionCell(const CAttributeList& table, std::uint32_t row, int column);
    // True for a cell that is missing or holds the empty-cell marker.
    static bool IsEmptyCell(CellView cell);

    // Blanks so that what follows begins at the 1-based `column`, at least one.
    static void PadToColumn(std::string& line, int column);
    // "; " + the comment at column 29, trimmed of blanks, CR and LF at its end;
    // nothing for an empty cell or an empty comment.
    static void AppendComment(std::string& line, CellView comment);

    // A comment cell as it reads back: without trailing blanks, CR and LF; "" for
    // the empty cell.
    static std::string CommentAsWritten(CellView comment);

    // "Strings" or "Variables": the word of the section's header line.
    virtual std::string_view SectionWord() const = 0;
    // The header line the section's own text starts with.
    virtual std::string_view HeaderLine() const = 0;
    // A line whose first token is this word may be a start or an end line.
    virtual bool IsTypeWord(std::string_view token) const = 0;
    // The cheap test a line must pass before its tokens are looked at.
    virtual bool PreselectLine(std::string_view name) = 0;
    // Reads one declaration; the current token is the Word it begins with.
    // On return the token is the first one of the next line.
    virtual void ParseDeclaration() = 0;
    // The line (with its "\n") that writes `row` of `table`; empty for a row
    // that is not written.
    virtual std::string FormatRow(const CAttributeList& table, std::uint32_t row) const = 0;
    // The column that holds a row's name.
    virtual int NameColumn() const = 0;
    // A cell as a read of its written line gives it back, so that a row and
    // the row read from its line compare equal: "" for the computed column,
    // "..." for a name written from the empty cell, blanks around a size or
    // a comma and the kind of bracket left out, a comment without its
    // trailing blanks.
    virtual std::string Canonical(int column, CellView cell) const = 0;
    // A reader of the same kind over `text` in memory.
    virtual std::unique_ptr<CSectionRowsParser> MakeReader(const std::string& text) const = 0;

    // Read mode: appends a row of empty cells and makes it the current row.
    void NewRow();
    // Read mode: sets or extends a cell of the current row.
    void Put(int column, std::string_view text);
    void Append(int column, std::string_view text);
    // An optional size, "[" or "(" + word + "]" or ")". False after a syntax
    // error; `size` is empty when there is none.
    bool ParseSize(std::string& size);
    // A comment (into `commentColumn`) or the line end; the first token of the
    // next line becomes current.
    void ParseLineEnd(int commentColumn);
    // A cell of the caller's table; null when the row or column is not there.
    CellView RowCell(std::uint32_t row, int column) const;
    // The line that writes `row` of the caller's table.
    std::string RowLine(std::uint32_t row) const;
    // Rows of the caller's table.
    std::uint32_t RowCount() const;

private:
    // The table refused the current row: its cells are not stored.
    bool rowRefused_ = false;
    struct Region {
        bool startFound = false;
        bool endFound = false;
        int first = 0;          // first line of the region
        int endLine = INT_MAX;  // last line the region may reach
        int header = 0;         // the first section header line
        int headerClosing = 0;  // the first "}" line after it
        int endOfText = 0;      // the line number of the end of the text
    };

    void FindRegion(Region& region);
    void ReportMissing(std::string_view name, const Region& region);
    void GoToLine(int line);
    void ParseRegion(int endLine);
    void ReadSection();
    void WriteSection();
    bool RowsReadBack(int firstLine);
    // `read` holds `row` of the caller's table as its only row.
    bool ReadsBackAs(std::uint32_t row, const CAttributeList& read) const;

    std::string startName_;
    std::string endName_;
};

}  // namespace tolvik
