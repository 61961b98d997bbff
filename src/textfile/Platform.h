// The one seam between the library and the operating system: files with their
// sharing rules, their size and age, temporary files, replacement, code pages
// and the message box.
// Tests install their own Platform (usually wrapping the native one) to inject
// faults such as a failed write or a failed rename.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace tolvik {

// An open operating-system file, closed (and unlocked) by its destructor.
class PlatformFile {
public:
    virtual ~PlatformFile() = default;
    // Bytes read into `buffer`: 0 at the end of the file, -1 on error.
    virtual std::ptrdiff_t Read(void* buffer, std::size_t size) = 0;
    virtual bool Write(const void* data, std::size_t size) = 0;
    virtual bool Seek(std::uint64_t offset) = 0;
    // Flushes the file's data to the storage device.
    virtual bool Sync() = 0;
};

// What Stat tells of a file.
struct FileStat {
    std::uint64_t size = 0;
    // The last change of its content, in nanoseconds since 1970-01-01 UTC (as
    // fine as the file system keeps it).
    std::int64_t modified = 0;
};

// How an existing file is opened. Read shares the file with other readers;
// ReadWrite holds it exclusively for as long as it stays open.
enum class FileAccess { Read, ReadWrite };

class Platform {
public:
    virtual ~Platform() = default;

    virtual bool Exists(const std::string& name) = 0;
    // The size and modification time of the regular file `name`; false when it
    // is missing, not a regular file, or may not be examined.
    virtual bool Stat(const std::string& name, FileStat& stat) = 0;
    // Null when the file is missing, may not be opened as asked, or another
    // process holds it in a conflicting way.
    virtual std::unique_ptr<PlatformFile> Open(const std::string& name, FileAccess access) = 0;
    // Creates or truncates `name` for writing.
    virtual std::unique_ptr<PlatformFile> Create(const std::string& name) = 0;
    // Creates a new, unique file "<dir>/<prefix>XXXX.TMP" exclusively (never
    // through an existing name or link); its name goes to `name`.
    virtual std::unique_ptr<PlatformFile> CreateTemp(const std::string& dir,
                                                     const std::string& prefix,
                                                     std::string& name) = 0;
    // Gives `from` the name `to` in one step, replacing an existing `to`.
    virtual bool Rename(const std::string& from, const std::string& to) = 0;
    // A second name for an existing file; false where links are not possible.
    virtual bool HardLink(const std::string& existing, const std::string& link) = 0;
    virtual bool Remove(const std::string& name) = 0;
    // Gives `target` the permissions of `model` (best effort).
    virtual void CopyPermissions(const std::string& model, const std::string& target) = 0;
    // The platform's own OEM <-> ANSI conversion, used when no code-page pair was
    // chosen. Identity where the platform has none.
    virtual void OemToAnsi(std::string& text) = 0;
    virtual void AnsiToOem(std::string& text) = 0;
    virtual void ShowMessage(const char* text, const char* caption, std::uint32_t style) = 0;
};

// Whether a file may be renamed over while it is open: POSIX allows it, Windows
// replaces only a file that nobody holds open.
#if defined(_WIN32)
inline constexpr bool kReplacesOpenFiles = false;
#else
inline constexpr bool kReplacesOpenFiles = true;
#endif

// The platform of this build.
Platform& NativePlatform();
// The platform in use: the native one unless a test installed another.
Platform& CurrentPlatform();
// Installs `platform` (null: the native one) and returns the previous one.
Platform* SetPlatform(Platform* platform);

// One export call on this thread, for as long as the object lives. Inside it
// the message box is shown at most once, however often it is asked for: a
// table that drops a million cells asks the user once, not a million times.
class CallScope {
public:
    CallScope() noexcept;
    ~CallScope();
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;
};

// Shows a message box, or hands it to the host's hook when one is set; inside
// a CallScope only the first time.
void ShowMessage(const char* text, const char* caption, std::uint32_t style);
using MessageHook = void (*)(const char* text, const char* caption, std::uint32_t style);
void SetMessageHook(MessageHook hook);

}  // namespace tolvik
