// Handles: opaque 32-bit tokens that stand for a table the host holds. A token
// is never 0, never a pointer, and never issued twice while the library is
// loaded, so a stale or double-closed token is refused instead of crashing.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "../core/AttributeList.h"
#include "../textfile/FileFingerprint.h"

namespace tolvik {

struct HandleRecord {
    std::uint32_t rows = 0;
    std::uint32_t columns = 0;
    std::unique_ptr<CAttributeList> list;
    // The state of the file the table was read from, when the host asked for
    // conflicts to be detected; nothing for a table made or read otherwise.
    std::optional<FileFingerprint> fingerprint;
    // Serialises calls that use the same handle from different threads.
    std::mutex mutex;
};

// Registers a table, with the state of the file it was read from, and returns
// its new token (0 when none is left).
std::uint32_t CreateHandle(std::unique_ptr<CAttributeList> list,
                           std::optional<FileFingerprint> fingerprint = std::nullopt);
// The record of a live token, or null.
std::shared_ptr<HandleRecord> FindHandle(std::uint32_t token);
// Unregisters a token and gives its record to the caller; null when unknown.
std::shared_ptr<HandleRecord> ReleaseHandle(std::uint32_t token);

}  // namespace tolvik
