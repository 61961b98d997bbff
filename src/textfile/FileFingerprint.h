// The state of a file at one moment: what a table read from the file
// remembers, so that writing the table back can tell whether anybody changed
// the file in between.
#pragma once

#include <cstdint>
#include <string>

namespace tolvik {

struct FileFingerprint {
    // The file's name as the host passed it.
    std::string file;
    // False when the state could not be taken; such a fingerprint matches
    // nothing.
    bool known = false;
    std::uint64_t size = 0;
    std::int64_t modified = 0;  // nanoseconds since 1970, as the platform keeps it
    std::uint64_t hash = 0;     // FNV-1a, 64 bits, over the file's bytes
};

// The state of `file` now.
FileFingerprint TakeFingerprint(const std::string& file);

// Whether `file` is still as `before` found it: size and modification time
// first, and only when they agree the hash of the content (a rewrite of the
// same size within the same clock tick differs there).
bool Unchanged(const FileFingerprint& before);

// The cheap half of Unchanged: size and modification time alone. For a look at
// a file that may not be opened again (one that a writer holds).
bool SameSizeAndTime(const FileFingerprint& before);

}  // namespace tolvik
