// The Windows side of the platform seam: real share modes, the platform's own
// code pages and message box.
#if defined(_WIN32)

#include "Platform.h"

#include <windows.h>
#include <atomic>
#include <cstdio>

// <windows.h> maps these names to the Win32 functions OemToCharA and CharToOemA;
// here they are the Platform methods.
#undef OemToAnsi
#undef AnsiToOem

namespace tolvik {

namespace {

class Win32File final : public PlatformFile {
public:
    explicit Win32File(HANDLE handle) : handle_(handle) {}
    ~Win32File() override { ::CloseHandle(handle_); }
    Win32File(const Win32File&) = delete;
    Win32File& operator=(const Win32File&) = delete;

    std::ptrdiff_t Read(void* buffer, std::size_t size) override
    {
        DWORD got = 0;
        if (!::ReadFile(handle_, buffer, static_cast<DWORD>(size), &got, nullptr))
            return -1;
        return static_cast<std::ptrdiff_t>(got);
    }

    bool Write(const void* data, std::size_t size) override
    {
        const char* p = static_cast<const char*>(data);
        while (size > 0) {
            DWORD done = 0;
            if (!::WriteFile(handle_, p, static_cast<DWORD>(size), &done, nullptr) || done == 0)
                return false;
            p += done;
            size -= done;
        }
        return true;
    }

    bool Seek(std::uint64_t offset) override
    {
        LARGE_INTEGER target;
        target.QuadPart = static_cast<LONGLONG>(offset);
        LARGE_INTEGER now;
        return ::SetFilePointerEx(handle_, target, &now, FILE_BEGIN) &&
               static_cast<std::uint64_t>(now.QuadPart) == offset;
    }

    bool Sync() override { return ::FlushFileBuffers(handle_) != 0; }

private:
    HANDLE handle_;
};

std::unique_ptr<PlatformFile> Wrap(HANDLE handle)
{
    if (handle == INVALID_HANDLE_VALUE)
        return nullptr;
    try {
        return std::make_unique<Win32File>(handle);
    } catch (...) {
        ::CloseHandle(handle);  // no handle (and no share lock) outlives a failed call
        throw;
    }
}

class Win32Platform final : public Platform {
public:
    bool Exists(const std::string& name) override
    {
        return ::GetFileAttributesA(name.c_str()) != INVALID_FILE_ATTRIBUTES;
    }

    bool Stat(const std::string& name, FileStat& out) override
    {
        WIN32_FILE_ATTRIBUTE_DATA data;
        if (!::GetFileAttributesExA(name.c_str(), GetFileExInfoStandard, &data) ||
            (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
            return false;
        // FILETIME counts 100 ns since 1601-01-01 UTC.
        constexpr std::int64_t kTicksTo1970 = 116444736000000000;
        const std::uint64_t ticks =
            (static_cast<std::uint64_t>(data.ftLastWriteTime.dwHighDateTime) << 32) |
            data.ftLastWriteTime.dwLowDateTime;
        out.size = (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
        out.modified = (static_cast<std::int64_t>(ticks) - kTicksTo1970) * 100;
        return true;
    }

    std::unique_ptr<PlatformFile> Open(const std::string& name, FileAccess access) override
    {
        const bool write = access == FileAccess::ReadWrite;
        DWORD attributes = ::GetFileAttributesA(name.c_str());
        if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY))
            return nullptr;
        // A reader denies writers; an updater denies everybody.
        return Wrap(::CreateFileA(name.c_str(), write ? GENERIC_READ | GENERIC_WRITE : GENERIC_READ,
                                  write ? 0 : FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
    }

    std::unique_ptr<PlatformFile> Create(const std::string& name) override
    {
        return Wrap(::CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
    }

    std::unique_ptr<PlatformFile> CreateTemp(const std::string& dir, const std::string& prefix,
                                             std::string& name) override
    {
        static std::atomic<unsigned> counter{0};
        const unsigned seed = ::GetTickCount() ^ (::GetCurrentProcessId() << 16);
        for (int attempt = 0; attempt < 1000; ++attempt) {
            unsigned value = (seed + counter.fetch_add(1) * 2654435761u) & 0xFFFFFFu;
            char number[16];
            std::snprintf(number, sizeof number, "%06X", value);
            std::string candidate = (dir.empty() || dir == ".")
                                        ? prefix + number + ".TMP"
                                        : dir + "\\" + prefix + number + ".TMP";
            HANDLE handle = ::CreateFileA(candidate.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                          FILE_ATTRIBUTE_NORMAL, nullptr);
            if (handle != INVALID_HANDLE_VALUE) {
                try {
                    std::unique_ptr<PlatformFile> file = Wrap(handle);
                    name = candidate;
                    return file;
                } catch (...) {
                    ::DeleteFileA(candidate.c_str());  // closed by the unwinding first
                    throw;
                }
            }
            if (::GetLastError() != ERROR_FILE_EXISTS && ::GetLastError() != ERROR_ALREADY_EXISTS)
                return nullptr;
        }
        return nullptr;
    }

    bool Rename(const std::string& from, const std::string& to) override
    {
        return ::MoveFileExA(
                   from.c_str(), to.c_str(),
                   MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED | MOVEFILE_WRITE_THROUGH) != 0;
    }

    bool HardLink(const std::string& existing, const std::string& link) override
    {
        return ::CreateHardLinkA(link.c_str(), existing.c_str(), nullptr) != 0;
    }

    bool Remove(const std::string& name) override { return ::DeleteFileA(name.c_str()) != 0; }

    void CopyPermissions(const std::string& model, const std::string& target) override
    {
        DWORD attributes = ::GetFileAttributesA(model.c_str());
        if (attributes != INVALID_FILE_ATTRIBUTES)
            ::SetFileAttributesA(target.c_str(),
                                 attributes & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN |
                                               FILE_ATTRIBUTE_ARCHIVE));
    }

    void OemToAnsi(std::string& text) override
    {
        if (!text.empty())
            ::OemToCharBuffA(text.data(), text.data(), static_cast<DWORD>(text.size()));
    }

    void AnsiToOem(std::string& text) override
    {
        if (!text.empty())
            ::CharToOemBuffA(text.data(), text.data(), static_cast<DWORD>(text.size()));
    }

    void ShowMessage(const char* text, const char* caption, std::uint32_t style) override
    {
        ::MessageBoxA(nullptr, text, caption, style);
    }
};

}  // namespace

Platform& NativePlatform()
{
    static Win32Platform platform;
    return platform;
}

}  // namespace tolvik

#endif
