// CMdlFileParser: model files, the list of a model's task, data-package and
// text files in "{ TASK", "{ DPAC" and "{ TEXT" sections. Read mode gives one
// four-column row per entry (name, kind code, switches, comment). Update mode
// rewrites the file from the caller's table while keeping the file's order and
// layout; write mode writes a new file from the table alone.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "../textfile/SourceParser.h"

namespace tolvik {

class CMdlFileParser : public CSourceParser {
public:
    // Columns of a model-file table.
    static constexpr int kColumns = 4;

    CMdlFileParser(std::string_view fileName, int mode);

    bool Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found) override;

    // The kind code of a name found in the section whose source kind is
    // `sectionKind` (1, 2 or 6); `name` gains the default extension when it
    // has none.
    static int KindOfEntry(int sectionKind, std::string& name);
    // The section (0 TASK, 1 DPAC, 2 TEXT) a kind code is written in, or -1.
    static int SectionOfKind(int kind);

private:
    // What a pass over the file does with the entries it finds.
    // kStream rewrites in the same pass that finds the entries; kScan and
    // kRewrite are the two passes of a file that needs both.
    enum class Pass { kFill, kScan, kRewrite, kStream };

    // One entry line with a name, as the file has it.
    struct Entry {
        int kind = 0;
        std::string name;  // default extension included
        std::string switches;
        std::string comment;
    };

    void SetClasses();
    bool Writing() const { return pass_ == Pass::kRewrite || pass_ == Pass::kStream; }
    void NextToken();
    // The whole file; false at a syntax error.
    bool ParseFile();
    bool ParseSection();
    bool ParseEntry(int sectionKind);
    // A comment (top level or between entries) and the line end after it.
    bool ParseCommentLine();
    // `before`: the white space kept before an entry that shares its line.
    void OnEntry(Entry& entry, const std::string& before);
    // Writes the entry as its row says (-1: no row).
    void RewriteEntry(const Entry& entry, const std::string& before, std::int64_t claim);

    // The table's rows by kind and bare name: each entry claims the first row
    // of its key not claimed yet, in table order.
    class RowIndex {
    public:
        void Start(const CMdlFileParser& parser, std::uint32_t rows);
        // The row now claimed, or -1 when none is left.
        std::int64_t Claim(int kind, std::string_view name);
        bool IsClaimed(std::uint32_t row) const { return claimed_[row]; }
        // The row's kind (1 to 9), 0 for any other.
        int Kind(std::uint32_t row) const { return kinds_[row]; }

    private:
        bool SameKey(std::uint32_t row, int kind, std::string_view name) const;
        // Sorts the keys of all rows, for claims out of table order.
        void BuildIndex();

        const CMdlFileParser* parser_ = nullptr;
        std::vector<std::int8_t> kinds_;
        std::vector<bool> claimed_;
        // Rows claimed so far, when they are the first ones in table order.
        std::uint32_t inOrder_ = 0;
        bool indexed_ = false;
        // Key hash in the high half, row in the low half: sorted, the rows of
        // one key follow each other in table order.
        std::vector<std::uint64_t> keys_;
        // For the first key of each hash: where its unclaimed rows may start.
        std::vector<std::uint32_t> next_;
    };

    // Update mode.
    void Update();
    void PrepareRows();
    void ClaimRows();
    // Rows of `section` that no entry claimed; true when any was written.
    bool WriteUnclaimedRows(int section);
    void CopyFromStop();
    // Write mode.
    void WriteFromTable();

    // Writes one entry line: name, switches, "; " + comment at column 25 (or
    // directly after the switches when the padded line would be too long to
    // read back). A line that would not read back as this entry is not
    // written: the run fails and false is returned.
    // `asRead`: the three are the entry's own, as the file has them.
    bool WriteEntryLine(std::string_view name, std::string_view switches, std::string_view comment,
                        bool asRead = false);
    // Whether name, switches and comment (`text` trimmed) read back as an
    // entry; refuses the cell that would not.
    bool EntryReadsBack(std::string_view name, std::string_view switches, std::string_view comment,
                        std::string_view text);
    // Whether `text` reads back as one word.
    bool IsOneWord(std::string_view text) const;
    // What reading `switches` back would miss: "" when they read back as a run
    // of "/" + word, else "/" or "IDENTIFIER".
    std::string_view SwitchesMismatch(std::string_view switches) const;
    void RefuseCell(std::string_view expected, std::string_view cell);
    // The row's cell, or null when the table has no such cell.
    CellView RowCell(std::uint32_t row, int column) const;
    int RowKind(std::uint32_t row) const;
    std::uint32_t TableRows() const;
    // Removes every row marked written, keeping the others in their order.
    void CompactTable();

    Pass pass_ = Pass::kFill;
    // Where the current token starts in the line buffer.
    std::size_t tokenStart_ = 0;
    // Update mode: the entries of the file in order, the row each claimed
    // (-1: none), and how many the rewriting pass has reached.
    std::vector<Entry> entries_;
    std::vector<std::int64_t> claims_;
    std::size_t entryIndex_ = 0;
    // Rows written (or dropped) by this run.
    std::vector<bool> rowDone_;
    std::array<bool, 3> sectionSeen_{};
    // The rows of each section, in table order, until the section's first
    // "}" has written those that no entry claimed.
    std::array<std::vector<std::uint32_t>, 3> sectionRows_;
    RowIndex rowIndex_;
    // The entry line being written.
    std::string lineOut_;
    // The one pass met a file that needs two.
    bool restart_ = false;
};

}  // namespace tolvik
