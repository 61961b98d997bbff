#include "SourceFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "Charset.h"
#include "Platform.h"

namespace tolvik {

namespace {
constexpr std::size_t kBlockSize = 64 * 1024;
constexpr int kTabWidth = 8;

// Expands each tab to blanks up to the next multiple of eight columns; the
// columns restart after a '\n' inside the text.
std::string ExpandTabs(const std::string& line)
{
    if (line.find('\t') == std::string::npos)
        return line;
    std::string result;
    result.reserve(line.size() + 16);
    std::size_t column = 0;
    for (char c : line) {
        if (c == '\t') {
            do {
                result += ' ';
                ++column;
            } while (column % kTabWidth != 0);
        } else {
            result += c;
            column = c == '\n' ? 0 : column + 1;
        }
    }
    return result;
}
}  // namespace

// A word searched for in raw bytes, ASCII letters in either case. A first
// sweep over fixed-size chunks looks only at where the word's first and last
// letters could stand (a loop the compiler can run on many bytes at once);
// only a chunk with such a pair is looked at closely.
class ByteWord {
public:
    explicit ByteWord(std::string_view word) : word_(ToUpper(word)) {}

    // Where the word first starts in `text`, or npos.
    std::size_t FindIn(std::string_view text) const
    {
        const std::size_t m = word_.size();
        if (m == 0 || text.size() < m)
            return std::string_view::npos;
        const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
        const unsigned char first = Folded(static_cast<unsigned char>(word_.front()));
        const unsigned char last = Folded(static_cast<unsigned char>(word_.back()));
        const std::size_t starts = text.size() - m + 1;
        constexpr std::size_t kChunk = 32;
        std::size_t at = 0;
        for (; at + kChunk <= starts; at += kChunk) {
            unsigned char pair = 0;
            for (std::size_t k = 0; k < kChunk; ++k)
                pair |= static_cast<unsigned char>(
                    static_cast<unsigned>(Folded(bytes[at + k]) == first) &
                    static_cast<unsigned>(Folded(bytes[at + k + m - 1]) == last));
            if (pair == 0)
                continue;
            for (std::size_t k = 0; k < kChunk; ++k)
                if (StartsAt(text, at + k))
                    return at + k;
        }
        for (; at < starts; ++at)
            if (StartsAt(text, at))
                return at;
        return std::string_view::npos;
    }

private:
    // ASCII letters in lower case; some other bytes fold onto them too, which
    // only makes a chunk be looked at closely.
    static unsigned char Folded(unsigned char c) { return static_cast<unsigned char>(c | 0x20); }

    bool StartsAt(std::string_view text, std::size_t at) const
    {
        for (std::size_t j = 0; j < word_.size(); ++j)
            if (UpperChar(text[at + j]) != word_[j])
                return false;
        return true;
    }

    std::string word_;
};

// The one reader seam: a file (buffered, text or binary) or a text in memory.
class CSourceFile::Input {
public:
    explicit Input(std::string text) : memory_(std::move(text)), inMemory_(true) {}
    Input(std::unique_ptr<PlatformFile> file, bool textMode)
        : file_(std::move(file)), textMode_(textMode)
    {
    }

    std::uint64_t Position() const { return inMemory_ ? memoryPos_ : blockStart_ + blockPos_; }

    bool Rewind()
    {
        ended_ = false;
        endMarkerAt_.reset();
        if (inMemory_) {
            memoryPos_ = 0;
            return true;
        }
        return SeekTo(0);
    }

    // Reads one line piece: `raw` gets the bytes as they stand, `text` the
    // text-mode form. False when nothing was left.
    bool ReadPiece(std::string& raw, std::string& text)
    {
        raw.clear();
        text.clear();
        if (ended_)
            return false;
        while (text.size() < kMaxLinePiece) {
            if (!inMemory_ && textMode_ && blockPos_ < block_.size()) {
                // Bytes that need no translation, in bulk: up to the line end,
                // a CR or an end-of-text byte, whichever comes first.
                const std::size_t limit =
                    std::min(block_.size(), blockPos_ + (kMaxLinePiece - text.size()));
                const char* const from = block_.data() + blockPos_;
                const std::size_t span = limit - blockPos_;
                const void* newline = std::memchr(from, '\n', span);
                std::size_t end =
                    newline ? static_cast<std::size_t>(static_cast<const char*>(newline) - from)
                            : span;
                if (const void* cr = std::memchr(from, '\r', end))
                    end = static_cast<std::size_t>(static_cast<const char*>(cr) - from);
                if (const void* eot = std::memchr(from, kEndOfText, end))
                    end = static_cast<std::size_t>(static_cast<const char*>(eot) - from);
                if (newline && from + end == newline) {
                    // The whole line with its line end.
                    raw.append(from, end + 1);
                    text.append(from, end + 1);
                    blockPos_ += end + 1;
                    break;
                }
                if (end > 0) {
                    raw.append(from, end);
                    text.append(from, end);
                    blockPos_ += end;
                    continue;
                }
            }
            int c = Peek();
            if (c < 0) {
                ended_ = true;
                break;
            }
            if (textMode_ && c == static_cast<unsigned char>(kEndOfText)) {
                ended_ = true;
                endMarkerAt_ = Position();
                break;
            }
            Advance();
            raw += static_cast<char>(c);
            if (textMode_ && c == '\r' && Peek() == '\n') {
                Advance();
                raw += '\n';
                text += '\n';
                break;
            }
            text += static_cast<char>(c);
            if (c == '\n')
                break;
        }
        return !raw.empty();
    }

    // Where a text-mode input ended at an end-of-text byte (what follows it is
    // not read as text), if it did.
    const std::optional<std::uint64_t>& EndMarker() const { return endMarkerAt_; }

    // Raw bytes from `offset` to the end, in blocks handed to `sink`.
    template <class Sink>
    bool CopyFrom(std::uint64_t offset, Sink&& sink)
    {
        if (inMemory_) {
            if (offset < memory_.size())
                sink(std::string_view(memory_).substr(offset));
            return true;
        }
        if (!SeekTo(offset))
            return false;
        for (;;) {
            if (blockPos_ >= block_.size() && !Fill())
                return !failed_;
            sink(block_.substr(blockPos_));
            blockPos_ = block_.size();
        }
    }

    // Passes over whole lines from the read position (a line start) that hold
    // neither `word` nor an end-of-text byte, handing their bytes to `sink`,
    // and stops at the start of the first line that may hold one, at a line
    // that goes on in the next block, or at the end of the input.
    template <class Sink>
    void SkipLinesWithout(const ByteWord& word, Sink&& sink)
    {
        if (ended_)
            return;
        for (;;) {
            std::string_view data;
            if (inMemory_) {
                data = std::string_view(memory_).substr(memoryPos_);
            } else {
                if (blockPos_ >= block_.size() && !Fill())
                    return;
                data = block_.substr(blockPos_);
            }
            std::size_t stop = word.FindIn(data);
            const std::size_t before = std::min(stop, data.size());
            if (const void* end = std::memchr(data.data(), kEndOfText, before))
                stop = static_cast<std::size_t>(static_cast<const char*>(end) - data.data());
            std::size_t pass = 0;
            if (stop != std::string_view::npos) {
                // Back to the start of that line.
                const std::size_t newline = data.substr(0, stop).rfind('\n');
                pass = newline == std::string_view::npos ? 0 : newline + 1;
            } else {
                const std::size_t newline = data.rfind('\n');
                pass = newline == std::string_view::npos ? 0 : newline + 1;
            }
            if (pass > 0)
                sink(data.substr(0, pass));
            if (inMemory_) {
                memoryPos_ += pass;
                return;
            }
            blockPos_ += pass;
            // Found, or a line that goes on in the next block: the
            // line-by-line reading takes over here.
            if (stop != std::string_view::npos || blockPos_ < block_.size())
                return;
        }
    }

    // One byte at `offset`, or -1.
    int ByteAt(std::uint64_t offset)
    {
        if (inMemory_)
            return offset < memory_.size() ? static_cast<unsigned char>(memory_[offset]) : -1;
        if (!SeekTo(offset))
            return -1;
        int c = Peek();
        if (c >= 0)
            Advance();
        return c;
    }

    void Close() { file_.reset(); }
    // A read or a seek of the file failed: what was read may be incomplete.
    bool Failed() const { return failed_; }

private:
    int Peek()
    {
        if (inMemory_)
            return memoryPos_ < memory_.size() ? static_cast<unsigned char>(memory_[memoryPos_])
                                               : -1;
        if (blockPos_ >= block_.size() && !Fill())
            return -1;
        return static_cast<unsigned char>(block_[blockPos_]);
    }

    void Advance()
    {
        if (inMemory_)
            ++memoryPos_;
        else
            ++blockPos_;
    }

    bool Fill()
    {
        if (!file_)
            return false;
        blockStart_ += block_.size();
        // Made once and never zero-filled: a small file costs no 64 KiB clear.
        if (!buffer_)
            buffer_ = std::make_unique_for_overwrite<char[]>(kBlockSize);
        blockPos_ = 0;
        std::ptrdiff_t got = file_->Read(buffer_.get(), kBlockSize);
        if (got < 0)
            failed_ = true;
        block_ = std::string_view(buffer_.get(), got > 0 ? static_cast<std::size_t>(got) : 0);
        return !block_.empty();
    }

    bool SeekTo(std::uint64_t offset)
    {
        if (!file_ || !file_->Seek(offset)) {
            if (file_)
                failed_ = true;
            return false;
        }
        block_ = {};
        blockPos_ = 0;
        blockStart_ = offset;
        return true;
    }

    std::string memory_;
    std::size_t memoryPos_ = 0;
    bool inMemory_ = false;
    std::unique_ptr<PlatformFile> file_;
    bool textMode_ = true;
    std::unique_ptr<char[]> buffer_;
    std::string_view block_;  // the bytes of buffer_ read last
    std::size_t blockPos_ = 0;
    std::uint64_t blockStart_ = 0;
    bool ended_ = false;
    bool failed_ = false;
    std::optional<std::uint64_t> endMarkerAt_;
};

CSourceFile::CSourceFile(std::string_view source, bool inMemory, int mode_, bool binary_)
    : mode(mode_), sourceInMemory(inMemory), keepBackup(!inMemory), binary(binary_)
{
    if (inMemory) {
        // A text handed over in memory ends at its first NUL, as a C string does.
        std::string text(source.substr(0, source.find('\0')));
        diagnostic = Diagnostic::Finding(std::string());
        input_ = std::make_unique<Input>(std::move(text));
        fileOpened = true;
        ReadLine();
        return;
    }

    fileName = std::string(source);
    commentText = fileName;
    OemToAnsi(commentText);
    diagnostic = Diagnostic::Finding(commentText);

    Platform& platform = CurrentPlatform();
    if (fileName.empty()) {
        status = kMissing;
        return;
    }
    // The file stays open (and so protected against other writers) for the
    // whole run; an update or write holds it exclusively. Only a file that
    // could not be opened is asked whether it exists at all.
    auto file = platform.Open(fileName, mode == kRead ? FileAccess::Read : FileAccess::ReadWrite);
    if (!file) {
        status = platform.Exists(fileName) ? kNoAccess : kMissing;
        return;
    }
    // A constructor that fails runs no destructor: a temporary file made here
    // goes here too.
    try {
        if (mode != kRead) {
            output_ = platform.CreateTemp(".", "TVK", tempFileName);
            if (!output_) {
                DiscardTemp();
                status = kNoAccess;
                return;
            }
        }
        OpenInput(std::move(file));
    } catch (...) {
        DiscardTemp();
        throw;
    }
}

void CSourceFile::OpenInput(std::unique_ptr<PlatformFile> file)
{
    input_ = std::make_unique<Input>(std::move(file), !binary);
    fileOpened = true;
    status = kOpened;
    ReadFirstLine();
}

void CSourceFile::ReadFirstLine()
{
    lineStartPosition = input_->Position();
    if (binary)
        return;
    // The first line of a file is taken as it stands: neither converted nor
    // tab-expanded. Hosts have always seen it so; keep it.
    input_->ReadPiece(rawLine_, lineBuffer);
    endOfInput = rawLine_.empty();
    crlf = rawLine_.size() >= 2 && rawLine_.compare(rawLine_.size() - 2, 2, "\r\n") == 0;
#if defined(_WIN32)
    if (rawLine_.find('\n') == std::string::npos)
        crlf = true;  // nothing to follow: the platform's own convention
#endif
    lineNumber = 1;
    cursor = 0;
}

CSourceFile::~CSourceFile()
{
    output_.reset();
    DiscardTemp();
}

void CSourceFile::ApplyConversion(std::string& line) const
{
    if (!noConversion)
        OemToAnsi(line);
    if (expandTabs)
        line = ExpandTabs(line);
}

int CSourceFile::ReadLine()
{
    if (input_) {
        lineStartPosition = input_->Position();
        if (!input_->ReadPiece(rawLine_, lineBuffer))
            endOfInput = true;
    } else {
        rawLine_.clear();
        lineBuffer.clear();
        endOfInput = true;
    }
    ApplyConversion(lineBuffer);
    cursor = 0;
    return ++lineNumber;
}

std::string CSourceFile::GetChar()
{
    if (cursor >= lineBuffer.size())
        return {};
    char c = lineBuffer[cursor];
    if (c == '\n') {
        ReadLine();
        return "\n";
    }
    ++cursor;
    return std::string(1, c);
}

const std::string& CSourceFile::RestOfLine()
{
    if (cursor < lineBuffer.size())
        ++cursor;
    std::size_t end = cursor;
    while (end < lineBuffer.size() && lineBuffer[end] != '\n' && lineBuffer[end] != '\0')
        ++end;
    commentText.assign(lineBuffer, cursor, end - cursor);
    cursor = end;
    return commentText;
}

bool CSourceFile::LineContains(std::string_view word1, std::string_view word2)
{
    commentText = lineBuffer;
    upperLine_ = ToUpper(lineBuffer);
    upperWord1_ = ToUpper(word1);
    upperWord2_ = ToUpper(word2);
    return upperLine_.find(upperWord1_) != std::string::npos &&
           (word2.empty() || upperLine_.find(upperWord2_) != std::string::npos);
}

bool CSourceFile::SkipToPosition(std::uint64_t position)
{
    endOfInput = false;
    lineNumber = 0;
    if (!input_ || !input_->Rewind())
        return false;
    while (input_->Position() != position) {
        ReadLine();
        if (endOfInput)
            return false;
        CopyCurrentLine();
    }
    ReadLine();
    return !endOfInput;
}

bool CSourceFile::SkipLinesWithout(std::string_view word)
{
    if (!input_ || binary || word.empty())
        return false;
    if (!asciiKeptApart_)
        asciiKeptApart_ = ConversionKeepsAsciiApart();  // asked once a run
    if (!*asciiKeptApart_)
        return false;
    for (char c : word)
        if (!((c >= '0' && c <= '9') || (UpperChar(c) >= 'A' && UpperChar(c) <= 'Z')))
            return false;
    const bool copy = copyThrough && (mode == kUpdate || mode == kWrite);
    input_->SkipLinesWithout(ByteWord(word), [&](std::string_view lines) {
        if (copy)
            WriteRaw(lines);
    });
    linesUncounted = true;
    ReadLine();
    return true;
}

bool CSourceFile::RestartInput()
{
    if (!input_ || !input_->Rewind())
        return false;
    endOfInput = false;
    linesUncounted = false;
    if (sourceInMemory) {
        lineNumber = 0;
        ReadLine();
        return true;
    }
    ReadFirstLine();  // as when the file was opened
    return true;
}

void CSourceFile::CopyRest()
{
    if (mode != kUpdate && mode != kWrite)
        return;
    if (binary || (keepTailAfterEndOfText && !sourceInMemory)) {
        // The rest as it stands, in blocks: every line and, in a text, what
        // follows an end-of-text byte (which then is not copied again).
        if (input_)
            outputFailed |= !input_->CopyFrom(input_->Position(),
                                              [this](std::string_view block) { WriteRaw(block); });
        if (!binary) {
            tailCopied_ = true;
            endOfInput = true;
        }
        return;
    }
    for (;;) {
        ReadLine();
        if (endOfInput)
            break;
        CopyCurrentLine();
    }
}

void CSourceFile::CopyTailAfterEndOfText()
{
    // Whatever followed an end-of-text byte is not text, but it is the user's:
    // it follows the rewritten text unchanged.
    if ((mode == kUpdate || mode == kWrite) && keepTailAfterEndOfText && !tailCopied_ && !binary &&
        input_ && input_->EndMarker())
        outputFailed |= !input_->CopyFrom(*input_->EndMarker(),
                                          [this](std::string_view block) { WriteRaw(block); });
}

void CSourceFile::CopyCurrentLine()
{
    // The bytes as they stand in the source, for files and in-memory texts
    // alike: nothing converted back, tabs and line ends as they were.
    if (copyThrough && (mode == kUpdate || mode == kWrite))
        WriteRaw(rawLine_);
}

void CSourceFile::WriteAtColumn(std::string_view text, int column)
{
    if (column > 0 && column - outputColumn - 1 > 0) {
        const int blanks = column - outputColumn - 1;
        WriteText(std::string(static_cast<std::size_t>(blanks), ' '));
    }
    WriteText(text);
}

void CSourceFile::NoteWritten(std::string_view text)
{
    std::size_t lastNewline = text.rfind('\n');
    if (lastNewline != std::string_view::npos)
        outputColumn = static_cast<int>(text.size() - lastNewline - 1) - 1;
    else
        outputColumn += static_cast<int>(text.size());
}

namespace {
// Text of bytes below 0x80 only: every code-page conversion keeps it as it is.
bool IsPlainAscii(std::string_view text)
{
    unsigned char any = 0;
    for (char c : text)
        any |= static_cast<unsigned char>(c);
    return any < 0x80;
}
}  // namespace

void CSourceFile::WriteText(std::string_view text)
{
    if (mode != kUpdate && mode != kWrite)
        return;
    NoteWritten(text);
    const bool plain = noConversion || IsPlainAscii(text);
    if (sourceInMemory) {
        if (plain) {
            outputText += text;
            return;
        }
        std::string converted(text);
        AnsiToOem(converted);
        outputText += converted;
        return;
    }
    if (plain) {
        // Appended as it stands, a CR before each line end in a CR LF file.
        while (crlf) {
            const std::size_t newline = text.find('\n');
            if (newline == std::string_view::npos)
                break;
            outputBuffer_.append(text.data(), newline);
            outputBuffer_ += "\r\n";
            text.remove_prefix(newline + 1);
        }
        outputBuffer_ += text;
    } else {
        std::string converted;
        converted.reserve(text.size() + 8);
        for (char c : text) {
            if (c == '\n' && crlf)
                converted += '\r';
            converted += c;
        }
        AnsiToOem(converted);
        outputBuffer_ += converted;
    }
    if (outputBuffer_.size() >= kBlockSize) {
        FlushOutputBuffer();
    }
}

void CSourceFile::WriteRaw(std::string_view bytes)
{
    if (mode != kUpdate && mode != kWrite)
        return;
    NoteWritten(bytes);
    if (sourceInMemory) {
        outputText += bytes;
        return;
    }
    if (bytes.size() >= kBlockSize) {
        // A large block goes straight to the file, after what waits before it.
        FlushOutputBuffer();
        outputFailed |= !output_ || !output_->Write(bytes.data(), bytes.size());
        return;
    }
    outputBuffer_ += bytes;
    if (outputBuffer_.size() >= kBlockSize) {
        FlushOutputBuffer();
    }
}

int CSourceFile::ReadByteAt(std::uint64_t offset, std::string* decimalOut)
{
    if (!input_)
        return -1;
    int byte = input_->ByteAt(offset);
    if (byte < 0)
        return -1;
    const int value = static_cast<signed char>(static_cast<unsigned char>(byte));
    if (decimalOut)
        *decimalOut = std::to_string(value);
    return value;
}

int CSourceFile::WriteByteAt(std::uint64_t offset, const char* decimalText)
{
    if (!output_)
        return -1;
    FlushOutputBuffer();
    if (!output_->Seek(offset))
        return -1;
    if (!decimalText)
        return -1;
    // As atoi: leading blanks, a sign, digits; anything else ends the number.
    errno = 0;
    long value = std::strtol(decimalText, nullptr, 10);
    if (errno == ERANGE)
        value = value < 0 ? INT_MIN : INT_MAX;
    const unsigned char byte = static_cast<unsigned char>(value & 0xFF);
    outputFailed |= !output_->Write(&byte, 1);
    return static_cast<signed char>(byte);
}

void CSourceFile::RestartOutput()
{
    outputColumn = -1;
    outputBuffer_.clear();
    outputText.clear();
    outputFailed = false;
    if (sourceInMemory || !HasTempFile())
        return;
    DiscardTemp();
    output_ = CurrentPlatform().CreateTemp(".", "TVK", tempFileName);
    outputFailed = !output_;
}

void CSourceFile::FlushOutputBuffer()
{
    if (outputBuffer_.empty())
        return;
    outputFailed |= !output_ || !output_->Write(outputBuffer_.data(), outputBuffer_.size());
    outputBuffer_.clear();
}

bool CSourceFile::CloseOutput()
{
    if (!output_)
        return !outputFailed;
    FlushOutputBuffer();
    outputFailed |= !output_->Sync();
    output_.reset();
    return !outputFailed;
}

bool CSourceFile::InputFailed() const
{
    return input_ && input_->Failed();
}

void CSourceFile::CloseInput()
{
    if (input_)
        input_->Close();
}

void CSourceFile::DiscardTemp()
{
    if (!tempFileName.empty()) {
        output_.reset();
        CurrentPlatform().Remove(tempFileName);
        tempFileName.clear();
    }
}

bool CopyFile(const std::string& from, const std::string& to)
{
    Platform& platform = CurrentPlatform();
    auto in = platform.Open(from, FileAccess::Read);
    if (!in)
        return false;
    auto out = platform.Create(to);
    if (!out)
        return false;
    std::vector<char> block(kBlockSize);
    for (;;) {
        std::ptrdiff_t got = in->Read(block.data(), block.size());
        if (got < 0)
            return false;
        if (got == 0)
            break;
        if (!out->Write(block.data(), static_cast<std::size_t>(got)))
            return false;
    }
    return out->Sync();
}

}  // namespace tolvik
