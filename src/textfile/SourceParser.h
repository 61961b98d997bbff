// CSourceParser: the base of every file-kind handler. It joins the source file
// and the scanner with the table of cells, and supplies what all grammars
// share: the parse-is-good flag and message buffer, the end-of-line and "/"
// checks, the cells of the current row, and the finishing step that puts a
// rewritten file in place of the source.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "../core/AttributeList.h"
#include "Scanner.h"

namespace tolvik {

// What a comment must be followed by.
inline constexpr std::string_view kExpectNewline = "NEWLINE";

class CSourceParser : public CScanner {
public:
    // Opens the source; in read mode also creates the table that receives the
    // cells (capacity 100000).
    CSourceParser(std::string_view source, bool sourceInMemory, int mode, bool binary);

    // Runs the handler. Read mode: on success `list` receives the new table.
    // Update and write mode: `list` is the caller's table, which the run reads
    // (and may change). `found` always receives the run's diagnostic.
    // True when the file was opened and everything succeeded.
    virtual bool Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found) = 0;

    // The name of the backup kept for `fileName` (its extension replaced by
    // ".BAK").
    static std::string BackupName(const std::string& fileName);

    // Records a failed expectation: `expected` is the list of what would have
    // been accepted.
    void ReportExpected(std::string_view expected);
    // Ends the message of a failed run with the current token and line number,
    // and empties the table.
    void ReportFailureLocation();

    // The current token is a Comment. Mode 0: `out` receives its text less one
    // leading blank; mode 1: " ;" + text + "\n"; otherwise it is dropped. Then
    // a line end must follow; the token after it becomes current.
    bool ExpectEndOfLine(std::string* out, int commentMode);
    // "/" followed by a word: `out` receives "/" + word; the token after it
    // becomes current.
    bool ExpectSlashWord(std::string& out);

    // Ends an update or write run: on success the rewritten text replaces the
    // source (the old file kept as ".BAK" when keepBackup is set); on failure
    // the source stays as it was and the temporary file is removed.
    bool Finish();

    CAttributeList* attributes = nullptr;
    bool parseOk = true;
    // The row that StoreAttribute and the flush operations work on.
    std::uint32_t currentRow = 0;

protected:
    // Takes the caller's table in update and write mode.
    void BeginRun(std::unique_ptr<CAttributeList>& list);
    // Hands the table out in read mode on success, copies the diagnostic and
    // returns the run's result.
    bool EndRun(std::unique_ptr<CAttributeList>& list, Diagnostic& found);
    // The cell of `column` in the current row, or null.
    CellView Cell(int column) const;
    void SetCell(int column, std::string_view text);

private:
    void FailFinish(const std::string& concerned);
    std::unique_ptr<CAttributeList> ownList_;
};

// Shared string operations.
std::string RemoveChars(std::string_view text, char c1, char c2);
std::string ReplaceChars(std::string_view text, char replacement, char c1, char c2);
// A comment as it is written back: without the blanks, CR and LF that trail it.
std::string_view TrimCommentEnd(std::string_view comment);
// A '\r' before every '\n'.
std::string ToCrLf(std::string_view text);
// Name patterns, case ignored: "*" alone matches everything; otherwise "*"
// stands for any run of characters, "+" for a run of at least one, "?" for
// exactly one, a pattern holding "[" matches nothing, and any other character
// matches itself. Linear in practice: only the latest "*" backtracks.
bool WildcardMatches(std::string_view pattern, std::string_view name);
// 7, 8 or 9 for a compiled task, data or text module (".TSC", ".DPC", ".TXC",
// case ignored), else 0.
int CompiledKindOf(std::string_view fileName);
// The same as decimal text in `out`; true for a compiled module.
bool CompiledKindOf(std::string_view fileName, std::string& out);

}  // namespace tolvik
