// The POSIX side of the platform seam. Share modes are emulated with advisory
// open-file-description locks: a reader holds a shared lock, an updater an
// exclusive one, for as long as the file stays open.
#if !defined(_WIN32)

#include "Platform.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>

namespace tolvik {

namespace {

class PosixFile final : public PlatformFile {
public:
    explicit PosixFile(int fd) : fd_(fd) {}
    ~PosixFile() override { ::close(fd_); }
    PosixFile(const PosixFile&) = delete;
    PosixFile& operator=(const PosixFile&) = delete;

    std::ptrdiff_t Read(void* buffer, std::size_t size) override
    {
        for (;;) {
            ssize_t n = ::read(fd_, buffer, size);
            if (n >= 0 || errno != EINTR)
                return n;
        }
    }

    bool Write(const void* data, std::size_t size) override
    {
        const char* p = static_cast<const char*>(data);
        while (size > 0) {
            ssize_t n = ::write(fd_, p, size);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return false;
            p += n;
            size -= static_cast<std::size_t>(n);
        }
        return true;
    }

    bool Seek(std::uint64_t offset) override
    {
        return ::lseek(fd_, static_cast<off_t>(offset), SEEK_SET) == static_cast<off_t>(offset);
    }

    bool Sync() override { return ::fsync(fd_) == 0; }

private:
    int fd_;
};

// The file object for an open descriptor; the descriptor (and with it any
// lock) is closed when not even that can be made.
std::unique_ptr<PlatformFile> Adopt(int fd)
{
    try {
        return std::make_unique<PosixFile>(fd);
    } catch (...) {
        ::close(fd);
        throw;
    }
}

bool LockWholeFile(int fd, bool exclusive)
{
    struct flock lock = {};
    lock.l_type = exclusive ? F_WRLCK : F_RDLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0;
    lock.l_len = 0;
#if defined(F_OFD_SETLK)
    return ::fcntl(fd, F_OFD_SETLK, &lock) == 0;
#else
    return ::fcntl(fd, F_SETLK, &lock) == 0;
#endif
}

class PosixPlatform final : public Platform {
public:
    bool Exists(const std::string& name) override { return ::access(name.c_str(), F_OK) == 0; }

    bool Stat(const std::string& name, FileStat& out) override
    {
        struct stat st = {};
        if (::stat(name.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
            return false;
#if defined(__APPLE__)
        const struct timespec& modified = st.st_mtimespec;
#else
        const struct timespec& modified = st.st_mtim;
#endif
        out.size = static_cast<std::uint64_t>(st.st_size);
        out.modified = static_cast<std::int64_t>(modified.tv_sec) * 1000000000 + modified.tv_nsec;
        return true;
    }

    std::unique_ptr<PlatformFile> Open(const std::string& name, FileAccess access) override
    {
        const bool write = access == FileAccess::ReadWrite;
        int fd = ::open(name.c_str(), (write ? O_RDWR : O_RDONLY) | O_CLOEXEC);
        if (fd < 0)
            return nullptr;
        struct stat st = {};
        if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || !LockWholeFile(fd, write)) {
            ::close(fd);
            return nullptr;
        }
        return Adopt(fd);
    }

    std::unique_ptr<PlatformFile> Create(const std::string& name) override
    {
        int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (fd < 0)
            return nullptr;
        return Adopt(fd);
    }

    std::unique_ptr<PlatformFile> CreateTemp(const std::string& dir, const std::string& prefix,
                                             std::string& name) override
    {
        static std::atomic<unsigned> counter{0};
        const unsigned seed = static_cast<unsigned>(
            std::chrono::steady_clock::now().time_since_epoch().count() ^ (::getpid() << 16));
        for (int attempt = 0; attempt < 1000; ++attempt) {
            unsigned value = (seed + counter.fetch_add(1) * 2654435761u) & 0xFFFFFFu;
            char number[16];
            std::snprintf(number, sizeof number, "%06X", value);
            std::string candidate = (dir.empty() || dir == ".")
                                        ? prefix + number + ".TMP"
                                        : dir + "/" + prefix + number + ".TMP";
            // O_EXCL refuses any existing name, a planted link included.
            int fd = ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (fd >= 0) {
                try {
                    std::unique_ptr<PlatformFile> file = Adopt(fd);
                    name = candidate;
                    return file;
                } catch (...) {
                    ::unlink(candidate.c_str());  // closed by the unwinding first
                    throw;
                }
            }
            if (errno != EEXIST)
                return nullptr;
        }
        return nullptr;
    }

    bool Rename(const std::string& from, const std::string& to) override
    {
        return ::rename(from.c_str(), to.c_str()) == 0;
    }

    bool HardLink(const std::string& existing, const std::string& link) override
    {
        return ::link(existing.c_str(), link.c_str()) == 0;
    }

    bool Remove(const std::string& name) override
    {
        return ::unlink(name.c_str()) == 0;
    }

    void CopyPermissions(const std::string& model, const std::string& target) override
    {
        struct stat st = {};
        if (::stat(model.c_str(), &st) == 0)
            ::chmod(target.c_str(), st.st_mode & 07777);
    }

    void OemToAnsi(std::string&) override {}
    void AnsiToOem(std::string&) override {}

    void ShowMessage(const char* text, const char* caption, std::uint32_t) override
    {
        std::fprintf(stderr, "%s: %s\n", caption, text);
    }
};

}  // namespace

Platform& NativePlatform()
{
    static PosixPlatform platform;
    return platform;
}

}  // namespace tolvik

#endif
