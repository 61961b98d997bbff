// The state of a file as `read --json` found it: its size, its modification
// time and a hash of its bytes. `apply` refuses a table whose file is no
// longer in that state, so that it never undoes a change made since the read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tool {

struct Fingerprint {
    std::string file;  // the file's name as read was given it
    std::uint64_t size = 0;
    std::string mtime;  // UTC, "2024-05-31T14:03:07.123456789Z"
    std::string hash;   // FNV-1a, 64 bits, over the bytes: 16 hex digits
};

// The state of `file` now; nothing when it cannot be examined or read.
std::optional<Fingerprint> TakeFingerprint(const std::string& file);

// Whether `fingerprint` is that of `file`: the same name, or another name of
// the same file.
bool IsOf(const Fingerprint& fingerprint, const std::string& file);

// Whether `file` is still as `fingerprint` says: size and time first, and only
// when they agree the hash (a rewrite of the same size within the same clock
// tick differs there).
bool StillMatches(const Fingerprint& fingerprint, const std::string& file);

}  // namespace tool
