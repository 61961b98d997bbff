#include "Fingerprint.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

namespace tool {

namespace {

namespace fs = std::filesystem;

// The size and the modification time of `file`, or nothing.
std::optional<Fingerprint> SizeAndTime(const std::string& file)
{
    using namespace std::chrono;
    std::error_code error;
    Fingerprint state;
    state.file = file;
    state.size = fs::file_size(file, error);
    if (error)
        return std::nullopt;
    const fs::file_time_type written = fs::last_write_time(file, error);
    if (error)
        return std::nullopt;
    const auto time = time_point_cast<nanoseconds>(file_clock::to_sys(written));
    const auto day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss<nanoseconds> clock{time - day};
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%09lldZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()),
                  static_cast<long long>(clock.subseconds().count()));
    state.mtime = text;
    return state;
}

// The hash of the bytes of `file` as 16 hex digits, or nothing.
std::optional<std::string> Hash(const std::string& file)
{
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::uint64_t hash = 14695981039346656037ull;
    std::vector<char> block(64 * 1024);
    while (in.read(block.data(), static_cast<std::streamsize>(block.size())) || in.gcount() > 0) {
        for (std::streamsize i = 0; i < in.gcount(); ++i) {
            hash ^= static_cast<unsigned char>(block[static_cast<std::size_t>(i)]);
            hash *= 1099511628211ull;
        }
    }
    if (in.bad())
        return std::nullopt;
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return std::string(text);
}

}  // namespace

std::optional<Fingerprint> TakeFingerprint(const std::string& file)
{
    std::optional<Fingerprint> state = SizeAndTime(file);
    if (!state)
        return std::nullopt;
    std::optional<std::string> hash = Hash(file);
    if (!hash)
        return std::nullopt;
    state->hash = *hash;
    return state;
}

bool IsOf(const Fingerprint& fingerprint, const std::string& file)
{
    std::error_code error;
    return fingerprint.file == file || fs::equivalent(fingerprint.file, file, error);
}

bool StillMatches(const Fingerprint& fingerprint, const std::string& file)
{
    const std::optional<Fingerprint> now = SizeAndTime(file);
    if (!now || now->size != fingerprint.size || now->mtime != fingerprint.mtime)
        return false;
    const std::optional<std::string> hash = Hash(file);
    return hash && *hash == fingerprint.hash;
}

}  // namespace tool
