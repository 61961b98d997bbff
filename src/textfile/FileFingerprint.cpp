#include "FileFingerprint.h"

#include <vector>

#include "Platform.h"

namespace tolvik {

namespace {

constexpr std::uint64_t kFnvOffset = 14695981039346656037ull;
constexpr std::uint64_t kFnvPrime = 1099511628211ull;
constexpr std::size_t kBlockSize = 64 * 1024;

// Hashes the bytes of `file` into `hash` and counts them into `size`; false
// when the file cannot be opened or read to its end.
bool HashFile(const std::string& file, std::uint64_t& hash, std::uint64_t& size)
{
    std::unique_ptr<PlatformFile> in = CurrentPlatform().Open(file, FileAccess::Read);
    if (!in)
        return false;
    std::vector<unsigned char> block(kBlockSize);
    hash = kFnvOffset;
    size = 0;
    for (;;) {
        const std::ptrdiff_t got = in->Read(block.data(), block.size());
        if (got < 0)
            return false;
        if (got == 0)
            return true;
        for (std::ptrdiff_t i = 0; i < got; ++i) {
            hash ^= block[static_cast<std::size_t>(i)];
            hash *= kFnvPrime;
        }
        size += static_cast<std::uint64_t>(got);
    }
}

}  // namespace

FileFingerprint TakeFingerprint(const std::string& file)
{
    FileFingerprint state;
    state.file = file;
    FileStat stat;
    std::uint64_t bytes = 0;
    // A file that changes while it is hashed gives a hash of neither version;
    // the size read then differs from the size seen first.
    state.known = CurrentPlatform().Stat(file, stat) && HashFile(file, state.hash, bytes) &&
                  bytes == stat.size;
    state.size = stat.size;
    state.modified = stat.modified;
    return state;
}

bool SameSizeAndTime(const FileFingerprint& before)
{
    FileStat now;
    return before.known && CurrentPlatform().Stat(before.file, now) && now.size == before.size &&
           now.modified == before.modified;
}

bool Unchanged(const FileFingerprint& before)
{
    if (!SameSizeAndTime(before))
        return false;
    std::uint64_t hash = 0;
    std::uint64_t bytes = 0;
    return HashFile(before.file, hash, bytes) && bytes == before.size && hash == before.hash;
}

}  // namespace tolvik
