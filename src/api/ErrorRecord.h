// The error record every file export leaves in the host's buffer:
// code SUB arg1 SUB arg2 SUB arg3 SUB arg4 SUB, where SUB is the byte 0x1A.
#pragma once

#include <string>
#include <string_view>

namespace tolvik {

inline constexpr char kSeparator = '\x1a';

// The longest argument copied into a record. A handler message stays within
// 1023 characters and a file name within the platform's path limit; the cap
// bounds what an unexpectedly long text can do to the host's buffer.
inline constexpr std::size_t kMaxRecordArgument = 2048;

std::string BuildErrorRecord(std::string_view code, std::string_view arg1 = {},
                             std::string_view arg2 = {}, std::string_view arg3 = {},
                             std::string_view arg4 = {});

// The decimal number a host leaves in its error buffer before the calls that
// take flags from it (as atol: leading blanks, a sign and digits; 0 when there
// is none or the buffer is null).
long NumberInBuffer(const char* buffer);

// Writes the record, NUL-terminated, into the host's buffer (nothing when the
// buffer is null).
void WriteErrorRecord(char* buffer, std::string_view code, std::string_view arg1 = {},
                      std::string_view arg2 = {}, std::string_view arg3 = {},
                      std::string_view arg4 = {});

}  // namespace tolvik
