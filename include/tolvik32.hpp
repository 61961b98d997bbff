// tolvik32.hpp - a header-only C++ interface over tolvik32.h.
//
// Tables are RAII objects that close their handle; an empty cell is an empty
// std::optional; a failed call throws tolvik32::Error, which decodes the
// library's error record. Everything here calls the C interface only, so a
// host may use this header with the DLL or the shared library as shipped.
//
//     tolvik32::Table model = tolvik32::ReadModel("PLANT.MDL");
//     for (std::size_t r = 0; r < model.Rows(); ++r)
//         std::cout << model.Get(r, 0).value_or("") << '\n';
//     model.Set(0, 3, "main loop");
//     tolvik32::UpdateModel("PLANT.MDL", std::move(model));
#ifndef TOLVIK32_HPP
#define TOLVIK32_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tolvik32.h"

namespace tolvik32 {

// The cell text that asks a write-back to remove an entry or an attribute.
inline constexpr std::string_view kDeleteMark{"\x08", 1};

// The error record's codes.
enum class ErrorCode : int {
    kNone = 0,
    kContent = 2,          // the file's content does not parse, or a write-back failed
    kNotAccessible = 3,    // the file exists but may not be read or written
    kMissing = 4,          // the file does not exist
    kWrongKind = 5,        // a program header of another kind of module
    kNoRequest = 101,      // a profile selection without a request table
    kInvalidArgument = -1  // refused by this wrapper before the library was called
};

// A failed call: the decoded error record. what() is the rendered message,
// "FILE:LINE: expected X, found Y" for a content error.
class Error : public std::runtime_error {
public:
    Error(ErrorCode code, std::string file, std::vector<std::string> expected, std::string token,
          long line, std::string record)
        : std::runtime_error(Render(code, file, expected, token, line)),
          code_(code),
          file_(std::move(file)),
          expected_(std::move(expected)),
          token_(std::move(token)),
          line_(line),
          record_(std::move(record))
    {
    }

    // A failure the wrapper finds itself (no record).
    static Error Invalid(std::string message)
    {
        return Error(ErrorCode::kInvalidArgument, std::move(message), {}, {}, 0, {});
    }

    // The failure of the call this thread made last, from the parts the
    // library keeps of it (TolvikGetDiagnostic); `record` is the record that
    // call wrote. For a stub the file is "stub in file", and what was expected
    // and found comes from the finding nested inside.
    static Error FromLastCall(std::string record)
    {
        const ErrorCode code =
            static_cast<ErrorCode>(std::atoi(Field(0, TOLVIK_FIELD_CODE, 0).value_or("0").c_str()));
        std::string file = Field(0, TOLVIK_FIELD_FILE, 0).value_or("");
        std::uint32_t deepest = 0;
        while (Field(deepest + 1, TOLVIK_FIELD_FILE, 0))
            ++deepest;
        std::vector<std::string> expected;
        while (auto item = Field(deepest, TOLVIK_FIELD_EXPECTED,
                                 static_cast<std::uint32_t>(expected.size())))
            expected.push_back(std::move(*item));
        std::string token = Field(deepest, TOLVIK_FIELD_TOKEN, 0).value_or("");
        const long line =
            std::strtol(Field(deepest, TOLVIK_FIELD_LINE, 0).value_or("0").c_str(), nullptr, 10);
        return Error(code, std::move(file), std::move(expected), std::move(token), line,
                     std::move(record));
    }

    ErrorCode Code() const noexcept { return code_; }
    // The file the error is about; "stub in file" for a stub, whose line
    // numbers count the lines of the stub's section.
    const std::string& File() const noexcept { return file_; }
    // What the library expected where the error was found.
    const std::vector<std::string>& Expected() const noexcept { return expected_; }
    // The text found instead ("\n" for a line end, empty at the end of the file).
    const std::string& Token() const noexcept { return token_; }
    // The line of the error, 0 when the record names none.
    long Line() const noexcept { return line_; }
    // The record as the library wrote it (empty for Invalid()).
    const std::string& Record() const noexcept { return record_; }

private:
    // One part of the latest diagnostic, or nothing when it has no such part.
    static std::optional<std::string> Field(std::uint32_t level, std::uint32_t field,
                                            std::uint32_t index)
    {
        const std::int32_t size = TolvikGetDiagnostic(level, field, index, nullptr, 0);
        if (size <= 0)
            return std::nullopt;
        std::string text(static_cast<std::size_t>(size), '\0');
        TolvikGetDiagnostic(level, field, index, text.data(), static_cast<std::uint32_t>(size));
        text.resize(static_cast<std::size_t>(size) - 1);
        return text;
    }

    static std::string DescribeToken(const std::string& token)
    {
        if (token.empty())
            return "end of file";
        if (token == "\n" || token == "\r\n")
            return "end of line";
        return '"' + token + '"';
    }

    static std::string Render(ErrorCode code, const std::string& file,
                              const std::vector<std::string>& expected, const std::string& token,
                              long line)
    {
        switch (code) {
            case ErrorCode::kInvalidArgument:
                return file;
            case ErrorCode::kMissing:
                return file + ": file not found";
            case ErrorCode::kNoRequest:
                return "a profile selection needs a request table";
            case ErrorCode::kNone:
                return file.empty() ? std::string("no error") : file;
            default:
                break;
        }
        // A text parsed in memory (a declaration) has no file name.
        std::string text = file.empty() ? std::string("line") : file;
        if (line > 0)
            text += (file.empty() ? ' ' : ':') + std::to_string(line);
        if (code == ErrorCode::kNotAccessible && expected.empty())
            return text + ": file not accessible";
        std::string wanted;
        for (const std::string& item : expected)
            wanted += (wanted.empty() ? "" : " | ") + item;
        if (code == ErrorCode::kWrongKind)
            text += ": wrong kind of module";
        if (!wanted.empty())
            text += ": expected " + wanted;
        if (line > 0)
            text += ", found " + DescribeToken(token);
        if (code == ErrorCode::kNotAccessible)
            text += " (file not accessible)";
        return text;
    }

    ErrorCode code_;
    std::string file_;
    std::vector<std::string> expected_;
    std::string token_;
    long line_;
    std::string record_;
};

namespace detail {

// Room for any record: the library never writes more than 4096 bytes.
inline constexpr std::size_t kRecordSize = 4096;

inline std::string RecordText(const std::vector<char>& buffer)
{
    const auto end = std::find(buffer.begin(), buffer.end(), '\0');
    return std::string(buffer.begin(), end);
}

// A buffer for an export's error record; `input` is the number some exports
// read from it first.
inline std::vector<char> RecordBuffer(std::string_view input = "0")
{
    std::vector<char> buffer(kRecordSize, '\0');
    std::copy(input.begin(), input.end(), buffer.begin());
    return buffer;
}

inline void ThrowUnless(std::int32_t result, const std::vector<char>& record)
{
    if (result == 0)
        throw Error::FromLastCall(RecordText(record));
}

}  // namespace detail

// Sets the library's options for the whole process (TOLVIK_OPTION_... bits;
// 0 is the original behaviour). False, and nothing changed, for a bit this
// library does not know.
inline bool SetOptions(std::uint32_t options)
{
    return TolvikSetOptions(options) != 0;
}

// Turns conflict detection on or off (it is the only option there is): with it
// on, writing a table back into the file it was read from throws an Error with
// ErrorCode::kNotAccessible and that file when the file changed since the
// read; nothing is written then, and the caller reads the file again.
inline void DetectConflicts(bool on)
{
    SetOptions(on ? TOLVIK_OPTION_DETECT_CONFLICTS : 0u);
}

// A table of text cells behind a library handle. Move-only; the handle is
// closed (discarded) when the table goes out of scope, unless a write-back
// took it.
class Table {
public:
    Table() = default;
    // A table of rows x cols empty cells.
    Table(std::size_t rows, std::size_t cols)
    {
        if (rows > std::numeric_limits<std::uint16_t>::max() ||
            cols > std::numeric_limits<std::uint16_t>::max() || rows * cols > 100000)
            throw Error::Invalid("a table holds at most 100000 cells");
        std::uint16_t r = static_cast<std::uint16_t>(rows);
        std::uint16_t c = static_cast<std::uint16_t>(cols);
        IntpOpenWrite(&handle_, &r, &c);
        if (handle_ == 0)
            throw Error::Invalid("no table could be made");
        rows_ = rows;
        cols_ = cols;
    }
    // Adopts a handle the library gave out. `longestCell` sizes the buffer for
    // reading cells when the library said how long they may be.
    Table(std::uint32_t handle, std::size_t rows, std::size_t cols, std::size_t longestCell = 0)
        : handle_(handle), rows_(rows), cols_(cols), cellRoom_(std::max(kCellRoom, longestCell + 1))
    {
    }
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    Table(Table&& other) noexcept { *this = std::move(other); }
    Table& operator=(Table&& other) noexcept
    {
        if (this != &other) {
            Close();
            handle_ = std::exchange(other.handle_, 0);
            rows_ = std::exchange(other.rows_, 0);
            cols_ = std::exchange(other.cols_, 0);
            cellRoom_ = other.cellRoom_;
        }
        return *this;
    }
    ~Table() { Close(); }

    explicit operator bool() const noexcept { return handle_ != 0; }
    std::size_t Rows() const noexcept { return rows_; }
    std::size_t Columns() const noexcept { return cols_; }

    // The cell's text, or nothing for an empty cell.
    std::optional<std::string> Get(std::size_t row, std::size_t col) const
    {
        CheckCell(row, col);
        std::uint16_t r = static_cast<std::uint16_t>(row);
        std::uint16_t c = static_cast<std::uint16_t>(col);
        std::vector<char> value(cellRoom_, '\0');
        std::uint16_t length = 0;
        if (IntpGetAttrValue(const_cast<std::uint32_t*>(&handle_), &r, &c, value.data(), &length) ==
            0)
            return std::nullopt;
        return std::string(value.data());
    }

    // Sets a cell; nothing empties it. Setting a cell in the row just past the
    // end adds that row.
    void Set(std::size_t row, std::size_t col, std::optional<std::string_view> value)
    {
        if (row != rows_)
            CheckCell(row, col);
        else if (col >= cols_ || row >= std::numeric_limits<std::uint16_t>::max())
            throw std::out_of_range("tolvik32::Table::Set: cell outside the table");
        if (value && value->find('\0') != std::string_view::npos)
            throw Error::Invalid("a cell can not hold a NUL byte");
        std::string text = value ? std::string(*value) : std::string("...");
        std::uint16_t r = static_cast<std::uint16_t>(row);
        std::uint16_t c = static_cast<std::uint16_t>(col);
        if (IntpSetAttrValue(&handle_, &r, &c, text.data()) == 0)
            throw std::out_of_range("tolvik32::Table::Set: cell refused");
        if (row == rows_)
            ++rows_;
        cellRoom_ = std::max(cellRoom_, text.size() + 1);
    }

    // Appends one row of empty cells and returns its index.
    std::size_t AddRow()
    {
        if (cols_ == 0)
            throw std::out_of_range("tolvik32::Table::AddRow: a table without columns");
        Set(rows_, 0, std::nullopt);
        return rows_ - 1;
    }

    // The whole text of a table that holds a text body (an embedded file).
    std::string Text() const
    {
        std::uint16_t r = 0;
        std::uint16_t c = 0;
        std::vector<char> value(cellRoom_, '\0');
        std::uint16_t length = 0;
        if (IntpGetAttrValue(const_cast<std::uint32_t*>(&handle_), &r, &c, value.data(), &length) ==
            0)
            return std::string();
        return std::string(value.data());
    }

    // Hands the handle to a C call that consumes it.
    std::uint32_t Release() noexcept
    {
        rows_ = cols_ = 0;
        return std::exchange(handle_, 0);
    }
    std::uint32_t Handle() const noexcept { return handle_; }

private:
    void CheckCell(std::size_t row, std::size_t col) const
    {
        if (row >= rows_ || col >= cols_)
            throw std::out_of_range("tolvik32::Table: cell outside the table");
    }
    void Close() noexcept
    {
        if (handle_ != 0)
            IntpCloseRead(&handle_);
        handle_ = 0;
    }

    std::uint32_t handle_ = 0;
    std::size_t rows_ = 0;
    std::size_t cols_ = 0;
    // Cells read through this wrapper fit in this many bytes: lines of source
    // text stay far below it; longer texts raise it.
    static constexpr std::size_t kCellRoom = 65536;
    std::size_t cellRoom_ = kCellRoom;
};

namespace detail {

// Runs an open export of the common form (file, handle, rows, cols, ..., err).
template <typename Call>
Table Open(Call&& call, std::string_view input = "0")
{
    std::uint32_t handle = 0;
    std::uint16_t rows = 0;
    std::uint16_t cols = 0;
    std::vector<char> record = RecordBuffer(input);
    const std::int32_t result = call(&handle, &rows, &cols, record.data());
    ThrowUnless(result, record);
    return Table(handle, rows, cols);
}

// Runs a close export of the common form (file, handle, ..., err); the
// table's handle is consumed whatever the outcome.
template <typename Call>
void Close(Table&& table, Call&& call, std::string_view input = "0")
{
    std::uint32_t handle = table.Release();
    std::vector<char> record = RecordBuffer(input);
    const std::int32_t result = call(&handle, record.data());
    if (handle != 0)
        IntpCloseRead(&handle);
    ThrowUnless(result, record);
}

}  // namespace detail

// Model files: one row per entry, four columns (file, kind code, switches,
// comment).
inline Table ReadModel(const std::string& file)
{
    return detail::Open([&](std::uint32_t* h, std::uint16_t* r, std::uint16_t* c, char* err) {
        return IntpOpenReadMDLFile(file.c_str(), h, r, c, err);
    });
}
// Rewrites the model file from the table, keeping its layout.
inline void UpdateModel(const std::string& file, Table&& table)
{
    detail::Close(std::move(table), [&](std::uint32_t* h, char* err) {
        return IntpCloseUpdateMDLFile(file.c_str(), h, err);
    });
}
// Writes the model file anew from the table alone.
inline void WriteModel(const std::string& file, Table&& table)
{
    detail::Close(std::move(table), [&](std::uint32_t* h, char* err) {
        return IntpCloseWriteMDLFile(file.c_str(), h, err);
    });
}

// Program headers: one row of 15 cells (kind code, Name, options, PLA, ELA,
// LN, Pages, Cycle, PRI, $BUF, BlkSize, Def_L, Def_X, Def_I, Def_R).
inline Table ReadHeader(const std::string& file)
{
    return detail::Open([&](std::uint32_t* h, std::uint16_t* r, std::uint16_t* c, char* err) {
        return IntpOpenReadVORLHead(file.c_str(), h, r, c, err);
    });
}
// Rewrites the declaration: a value replaces, an empty cell keeps,
// kDeleteMark removes.
inline void UpdateHeader(const std::string& file, Table&& table)
{
    detail::Close(std::move(table), [&](std::uint32_t* h, char* err) {
        return IntpCloseUpdateVORLHead(file.c_str(), h, err);
    });
}

// Inserts (or replaces) one declaration in the "{ keyword" block of a file.
inline void InsertDeclaration(const std::string& file, const std::string& keyword,
                              const std::string& declaration)
{
    std::vector<char> record = detail::RecordBuffer();
    detail::ThrowUnless(
        IntpInsertDecl(file.c_str(), keyword.c_str(), declaration.c_str(), record.data()), record);
}
// Removes every declaration with that key from the "{ keyword" block.
inline void RemoveDeclaration(const std::string& file, const std::string& keyword,
                              const std::string& declaration)
{
    std::vector<char> record = detail::RecordBuffer();
    detail::ThrowUnless(
        IntpRemoveDecl(file.c_str(), keyword.c_str(), declaration.c_str(), record.data()), record);
}

// BPAC values: row 0 the columns' type letters, row 1 their names, then one
// row per value line; column 0 the row's identifier, the last column the
// comment.
inline Table ReadValues(const std::string& file)
{
    return detail::Open([&](std::uint32_t* h, std::uint16_t* r, std::uint16_t* c, char* err) {
        return IntpOpenReadBPACValues(file.c_str(), h, r, c, err);
    });
}
// Writes the table as a freshly laid-out values block in place of the old one.
inline void UpdateValues(const std::string& file, Table&& table)
{
    detail::Close(std::move(table), [&](std::uint32_t* h, char* err) {
        return IntpCloseUpdateBPACValues(file.c_str(), h, err);
    });
}

// Text strings files: one row per string (name, index, tag after ":", value,
// comment). Empty start and end names take the whole "{Strings" section.
inline Table ReadTextStrings(const std::string& file, const std::string& start = {},
                             const std::string& end = {})
{
    std::string f = file, s = start, e = end;
    return detail::Open([&](std::uint32_t* h, std::uint16_t* r, std::uint16_t* c, char* err) {
        return IntpOpenReadTextStrings(f.data(), h, r, c, s.data(), e.data(), err);
    });
}
// Replaces the selected region with the table's rows.
inline void WriteTextStrings(const std::string& file, Table&& table, const std::string& start = {},
                             const std::string& end = {})
{
    std::string f = file, s = start, e = end;
    detail::Close(std::move(table), [&](std::uint32_t* h, char* err) {
        return IntpCloseWriteTextStrings(f.data(), h, s.data(), e.data(), err);
    });
}

// VPAC variables files: one row per variable (type letter, name, address,
// values, comment); names as for ReadTextStrings.
inline Table ReadVariables(const std::string& file, const std::string& start = {},
                           const std::string& end = {})
{
    std::string f = file, s = start, e = end;
    return detail::Open([&](std::uint32_t* h, std::uint16_t* r, std::uint16_t* c, char* err) {
        return IntpOpenReadVpacVariables(f.data(), h, r, c, s.data(), e.data(), err);
    });
}
inline void WriteVariables(const std::string& file, Table&& table, const std::string& start = {},
                           const std::string& end = {})
{
    std::string f = file, s = start, e = end;
    detail::Close(std::move(table), [&](std::uint32_t* h, char* err) {
        return IntpCloseWriteVpacVariables(f.data(), h, s.data(), e.data(), err);
    });
}

// Task stubs (a task's "Code" declarations kept as an embedded file): type
// letter, name, values, comment.
inline Table ReadTaskStub(const std::string& file, const std::string& stub)
{
    return detail::Open([&](std::uint32_t* h, std::uint16_t* r, std::uint16_t* c, char* err) {
        return IntpOpenReadTaskStub(file.c_str(), h, r, c, stub.c_str(), err);
    });
}
// Updates the stub: matched declarations rewritten, others kept, a row with no
// values removes its declaration, new rows appended.
inline void UpdateTaskStub(const std::string& file, Table&& table, const std::string& stub)
{
    detail::Close(std::move(table), [&](std::uint32_t* h, char* err) {
        return IntpCloseUpdateTaskStub(file.c_str(), h, stub.c_str(), err);
    });
}

// Text stubs: the columns of ReadTextStrings.
inline Table ReadTextStub(const std::string& file, const std::string& stub)
{
    return detail::Open([&](std::uint32_t* h, std::uint16_t* r, std::uint16_t* c, char* err) {
        return IntpOpenReadTextStub(file.c_str(), h, r, c, stub.c_str(), err);
    });
}
inline void WriteTextStub(const std::string& file, Table&& table, const std::string& stub)
{
    detail::Close(std::move(table), [&](std::uint32_t* h, char* err) {
        return IntpCloseWriteTextStub(file.c_str(), h, stub.c_str(), err);
    });
}

// VPAC stubs: the columns of ReadVariables.
inline Table ReadVpacStub(const std::string& file, const std::string& stub)
{
    return detail::Open([&](std::uint32_t* h, std::uint16_t* r, std::uint16_t* c, char* err) {
        return IntpOpenReadVpacStub(file.c_str(), h, r, c, stub.c_str(), err);
    });
}
inline void WriteVpacStub(const std::string& file, Table&& table, const std::string& stub)
{
    detail::Close(std::move(table), [&](std::uint32_t* h, char* err) {
        return IntpCloseWriteVpacStub(file.c_str(), h, stub.c_str(), err);
    });
}

// Embedded files. The text of the embedded file `name`, with CR LF line ends.
inline std::string ReadEmbedded(const std::string& file, const std::string& name)
{
    std::uint32_t handle = 0;
    std::vector<char> record = detail::RecordBuffer();
    const std::int32_t result =
        IntpOpenReadEmbeddedFile(file.c_str(), &handle, name.c_str(), record.data());
    detail::ThrowUnless(result, record);
    const Table text(handle, 0, 0, static_cast<std::size_t>(result));
    return text.Text();
}
// Inserts `text` as the embedded file `name` after "; EmbeddPoint point". An
// existing one is replaced where it stands when `replace` is set, else kept.
inline void InsertEmbedded(const std::string& file, const std::string& point,
                           const std::string& name, const std::string& text, bool replace)
{
    std::vector<char> record = detail::RecordBuffer(replace ? "2" : "0");
    detail::ThrowUnless(IntpInsertEmbeddedFile(file.c_str(), point.c_str(), name.c_str(),
                                               text.c_str(), record.data()),
                        record);
}
inline void RemoveEmbedded(const std::string& file, const std::string& name)
{
    std::vector<char> record = detail::RecordBuffer();
    detail::ThrowUnless(IntpRemoveEmbeddedFile(file.c_str(), name.c_str(), record.data()), record);
}

// Profile files. The flags of a read (and of the write of its table).
enum ProfileFlags : unsigned {
    kSelection = 0,           // one row per matching section, one column per wanted name
    kListing = 1024,          // one row per section ("S") and per parameter ("P")
    kStrictSections = 256,    // a section that matches no pattern is an error
    kStrictParameters = 512,  // a parameter that matches no wanted name is an error
};

// Reads a profile file. `names` are the wanted parameters (wildcard patterns in
// a listing), `sections` the section patterns; empty lists mean "*" (a
// selection needs names). A selection's row 0 holds the names; each further row
// a section's name in column 0 and the values (several joined by CR LF).
inline Table ReadProfile(const std::string& file, unsigned flags,
                         const std::vector<std::string>& names = {},
                         const std::vector<std::string>& sections = {})
{
    const bool listing = (flags & kListing) != 0;
    if (!listing && names.empty())
        throw Error::Invalid("a profile selection needs the names of the wanted parameters");
    const std::vector<std::string> all{"*"};
    const std::vector<std::string>& wanted = names.empty() ? all : names;
    const std::vector<std::string>& patterns = sections.empty() ? all : sections;
    Table request(1 + patterns.size(), 1 + wanted.size());
    for (std::size_t c = 0; c < wanted.size(); ++c)
        request.Set(0, 1 + c, wanted[c]);
    for (std::size_t r = 0; r < patterns.size(); ++r)
        request.Set(1 + r, 0, patterns[r]);

    std::uint32_t handle = request.Release();
    std::uint16_t rows = 0;
    std::uint16_t cols = 0;
    std::vector<char> record = detail::RecordBuffer(std::to_string(flags));
    const std::int32_t result =
        IntpOpenReadProfileFile(file.c_str(), &handle, &rows, &cols, record.data());
    if (result == 0) {
        if (handle != 0)
            IntpCloseRead(&handle);
        throw Error::FromLastCall(detail::RecordText(record));
    }
    return Table(handle, rows, cols, static_cast<std::size_t>(result));
}
// Writes the profile file anew from the table: the file holds what the table
// holds and nothing of its old text. `flags` as for the read that made the
// table.
inline void WriteProfile(const std::string& file, Table&& table, unsigned flags)
{
    detail::Close(
        std::move(table),
        [&](std::uint32_t* h, char* err) {
            return IntpCloseWriteProfileFile(file.c_str(), h, err);
        },
        std::to_string(flags & kListing));
}

}  // namespace tolvik32

#endif  // TOLVIK32_HPP
