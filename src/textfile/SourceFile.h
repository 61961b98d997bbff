// CSourceFile: line-wise access to one source text, from a file or from memory,
// and the temporary output that update and write runs rewrite it into.
//
// Input is read with text-mode semantics (CR LF arrives as LF, a 0x1A byte ends
// the input). A line read delivers at most 1022 characters; a longer line
// arrives in pieces, each counted as a line. Every line except the first line of
// a file is converted from the OEM to the ANSI code page and, with expandTabs,
// has its tabs expanded. Lines that are passed over unchanged are copied to the
// output byte for byte, as they stand in the source.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "../core/Diagnostic.h"

namespace tolvik {

class PlatformFile;

enum Mode : int { kRead = 1, kUpdate = 2, kWrite = 3 };

enum Status : int {
    kOpened = 0,
    kMissing = 1,
    kNoAccess = 2,
    kWrongKind = 5,
};

// The most characters one line read delivers.
inline constexpr std::size_t kMaxLinePiece = 1022;

class CSourceFile {
public:
    // `source` is a file name, or with `sourceInMemory` the text itself.
    CSourceFile(std::string_view source, bool sourceInMemory, int mode, bool binary);
    virtual ~CSourceFile();
    CSourceFile(const CSourceFile&) = delete;
    CSourceFile& operator=(const CSourceFile&) = delete;

    bool IsOpen() const { return fileOpened; }
    // Reading the source failed somewhere: what was read is only part of it.
    bool InputFailed() const;

    // Reads the next line into lineBuffer; returns the new line number.
    int ReadLine();
    // The character under the cursor ("" at the end of the input). At a line
    // end it reads the next line and returns "\n".
    std::string GetChar();
    // Skips one character and returns the rest of the line, without its '\n'.
    const std::string& RestOfLine();
    // The current line holds `word1` and (when given) `word2`, case ignored.
    bool LineContains(std::string_view word1, std::string_view word2 = {});
    // Passes over the lines before `position`: in update and write mode each
    // is copied to the output (while copyThrough is set). True when input
    // remains.
    bool SkipToPosition(std::uint64_t position);
    // Copies every line after the current one to the output. Where what
    // follows an end-of-text byte is kept too, the rest goes in blocks as it
    // stands and its lines are not counted: nothing may be read or reported
    // by line number after it.
    void CopyRest();
    // Passes over the lines after the current one whose bytes cannot hold
    // `word` (ASCII letters and digits, case ignored), copying them to the
    // output as CopyCurrentLine does, by searching the bytes instead of reading
    // line by line; then reads the next line. Those lines are not counted:
    // linesUncounted is set. False (nothing done) where a code page could turn
    // other bytes into the word's.
    bool SkipLinesWithout(std::string_view word);
    // Reads the source again from its start, as when it was opened.
    bool RestartInput();
    // Copies the current line to the output exactly as it stands in the source.
    void CopyCurrentLine();
    // Writes `text` so that it starts at `column` (blanks first when the output
    // line is shorter); column 0 writes it directly.
    void WriteAtColumn(std::string_view text, int column);
    // A byte of a binary input as a signed value, or -1.
    int ReadByteAt(std::uint64_t offset, std::string* decimalOut = nullptr);
    // Writes the low byte of the decimal `text` at `offset` of the binary
    // output; returns it as a signed value, or -1.
    int WriteByteAt(std::uint64_t offset, const char* decimalText);

    // The character under the cursor, 0 at the end of the line buffer.
    char CurrentChar() const { return cursor < lineBuffer.size() ? lineBuffer[cursor] : '\0'; }

    int mode;
    bool sourceInMemory;
    std::string fileName;
    bool endOfInput = false;
    std::string tempFileName;
    std::uint64_t lineStartPosition = 0;
    bool expandTabs = false;
    std::string lineBuffer;
    std::size_t cursor = 0;
    int lineNumber = 0;
    // What update and write runs produce from an in-memory source.
    std::string outputText;
    // The column of the last character written on the current output line
    // (-1 at the start of a line).
    int outputColumn = -1;
    int status = kOpened;
    std::string commentText;
    bool copyThrough = true;
    // Update and write runs put back what followed an end-of-text byte of the
    // source; a run that makes its file from the table alone clears this.
    bool keepTailAfterEndOfText = true;
    bool noConversion = false;
    // Lines were passed over without counting them: lineNumber is not the
    // current line's number.
    bool linesUncounted = false;
    bool keepBackup;
    bool binary;
    bool fileOpened = false;
    // What the run found wrong: the file name (ANSI), then failed expectations
    // and where reading stopped.
    Diagnostic diagnostic;

protected:
    // Writes text produced by the handler: converted to OEM, line ends in the
    // source's convention.
    void WriteText(std::string_view text);
    // Writes bytes exactly as given.
    void WriteRaw(std::string_view bytes);
    // In update and write mode, appends what followed an end-of-text byte of
    // the source, if the input ended at one.
    void CopyTailAfterEndOfText();
    // Throws away what was written so far and starts the output afresh (a new
    // temporary file for a file source). A new file that cannot be made
    // fails the run when it ends, as a failed write does.
    void RestartOutput();
    // Ends the output. False when anything could not be written or synced.
    bool CloseOutput();
    void CloseInput();
    // Removes the temporary file if it still exists.
    void DiscardTemp();
    // True when the output is a temporary file whose content is complete.
    bool HasTempFile() const { return !tempFileName.empty(); }
    // The current line as it stands in the source (tabs not expanded).
    const std::string& RawLine() const { return rawLine_; }
    // The source's line ends are CR LF.
    bool crlf = false;
    bool outputFailed = false;

private:
    class Input;
    // Reads the opened file's first line.
    void OpenInput(std::unique_ptr<PlatformFile> file);
    // The first line of a file, as it stands; the line ends' convention.
    void ReadFirstLine();
    // Writes what waits in the output buffer to the new file.
    void FlushOutputBuffer();
    void NoteWritten(std::string_view text);
    void ApplyConversion(std::string& line) const;

    std::unique_ptr<Input> input_;
    std::unique_ptr<PlatformFile> output_;
    // What followed an end-of-text byte was copied with the rest.
    bool tailCopied_ = false;
    // Whether the conversion in use lets a byte search find ASCII words.
    std::optional<bool> asciiKeptApart_;
    std::string outputBuffer_;
    std::string rawLine_;
    std::string upperLine_;
    std::string upperWord1_;
    std::string upperWord2_;
};

// Copies a whole file; reports success.
bool CopyFile(const std::string& from, const std::string& to);

}  // namespace tolvik
