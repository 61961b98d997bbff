// What went wrong in a call, as a value: a handler fills one in where it finds
// the problem, and the export turns it into the host's error record only at
// the edge. The record is
//   code SEP arg1 SEP arg2 SEP arg3 SEP arg4 SEP      (SEP is the byte 0x1A)
// and a handler's message, carried in arg1 (arg2 for a stub), is itself
//   file SEP expected SEP ... [token SEP line SEP]
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Sentinels.h"

namespace tolvik {

// The codes of an error record.
enum class ResultCode : int {
    kOk = 0,
    kContent = 2,    // the content is wrong, or writing it back failed
    kNoAccess = 3,   // the file exists but may not be used as asked
    kMissing = 4,    // the file does not exist
    kWrongKind = 5,  // a program header of another kind of module
    kNoRequest = 101,
};

// The longest error record, its terminating NUL included.
inline constexpr std::size_t kMaxRecord = 4096;

struct Diagnostic {
    ResultCode code = ResultCode::kOk;
    // The file concerned ("" for a text in memory); for a stub the place,
    // stub + " in " + file.
    std::string file;
    // The record's first argument is the message made of the fields below
    // (a handler's finding), not the bare file name.
    bool message = false;
    // What would have been accepted where reading stopped, in order.
    std::vector<std::string> expected;
    // Where reading stopped: the token found there and its line.
    bool located = false;
    std::string token;
    long line = 0;
    // The finding of a nested call; the record's second argument. Rendered as
    // a whole record when `innerRecord` is set, else as its message.
    std::shared_ptr<const Diagnostic> inner;
    bool innerRecord = false;

    // A file that could not be opened ("3" or "4" with its name).
    static Diagnostic NotOpened(ResultCode code, std::string file);
    // A handler's finding about `file`, to be completed with expectations and
    // a location.
    static Diagnostic Finding(std::string file);

    // file SEP expected... [token SEP line SEP]; the items after the file name
    // are cut so that the message stays within 2047 characters.
    std::string MessageText() const;
    // The whole error record, bounded to kMaxRecord - 1 characters.
    std::string RecordText() const;
};

// The record's text for a code and four arguments. When the whole would pass
// kMaxRecord - 1 characters, the longest arguments are cut (each keeps its
// first bytes and its separator), so that a record always has its code and
// five separators.
std::string BuildRecord(ResultCode code, std::string_view arg1 = {}, std::string_view arg2 = {},
                        std::string_view arg3 = {}, std::string_view arg4 = {});

// The code as it stands in a record ("0", "2", ..., "101").
std::string_view CodeText(ResultCode code);

}  // namespace tolvik
