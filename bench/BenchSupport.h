// What the benchmark programs share: a private working folder, the plainest
// file I/O the anchors are made of, timing of a subject against its anchor in
// the same loop, and the summary of figures each program prints at its end.
//
// Every figure is a ratio against an anchor measured in the same run, so it
// says something on any machine; the benchmarks report, they never fail.
#ifndef TOLVIK_BENCH_SUPPORT_H
#define TOLVIK_BENCH_SUPPORT_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace bench {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

inline double Seconds(Clock::time_point from, Clock::time_point to)
{
    return std::chrono::duration<double>(to - from).count();
}

// The middle value; NaN for none.
inline double Median(std::vector<double> values)
{
    if (values.empty())
        return std::nan("");
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// A whole number from the environment, or `fallback` when it is unset or not
// a positive number.
inline long EnvNumber(const char* name, long fallback)
{
    const char* text = std::getenv(name);
    if (text == nullptr)
        return fallback;
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    return end != text && *end == '\0' && value > 0 ? value : fallback;
}

// A private folder that is the current one while it lives: the library makes
// its temporary files in the current folder, so they land here too.
class WorkDir {
public:
    WorkDir()
    {
        std::random_device random;
        path_ = fs::temp_directory_path() / ("tolvik-bench-" + std::to_string(random()));
        fs::create_directories(path_);
        previous_ = fs::current_path();
        fs::current_path(path_);
    }
    ~WorkDir()
    {
        std::error_code ignored;
        fs::current_path(previous_, ignored);
        fs::remove_all(path_, ignored);
    }
    WorkDir(const WorkDir&) = delete;
    WorkDir& operator=(const WorkDir&) = delete;

    std::string Path(const std::string& name) const { return (path_ / name).string(); }

    std::string Write(const std::string& name, const std::string& text) const
    {
        std::ofstream(path_ / name, std::ios::binary) << text;
        return Path(name);
    }

private:
    fs::path path_;
    fs::path previous_;
};

// A file through the system's own calls, with no buffering of ours: what the
// anchors are made of. Every call reports failure as false or -1.
class RawFile {
public:
    static RawFile OpenRead(const std::string& path)
    {
#ifdef _WIN32
        return RawFile(::_open(path.c_str(), _O_RDONLY | _O_BINARY));
#else
        return RawFile(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
#endif
    }
    static RawFile Create(const std::string& path)
    {
#ifdef _WIN32
        return RawFile(::_open(path.c_str(), _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY,
                               _S_IREAD | _S_IWRITE));
#else
        return RawFile(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
#endif
    }
    RawFile(RawFile&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    RawFile& operator=(RawFile&&) = delete;
    RawFile(const RawFile&) = delete;
    ~RawFile()
    {
        Close();
    }

    bool IsOpen() const
    {
        return fd_ >= 0;
    }

    // Bytes read, 0 at the end, -1 on an error.
    long long Read(char* buffer, std::size_t size)
    {
#ifdef _WIN32
        return ::_read(fd_, buffer, static_cast<unsigned>(size));
#else
        return ::read(fd_, buffer, size);
#endif
    }

    bool WriteAll(const char* data, std::size_t size)
    {
        while (size > 0) {
#ifdef _WIN32
            const long long written = ::_write(fd_, data, static_cast<unsigned>(size));
#else
            const long long written = ::write(fd_, data, size);
#endif
            if (written <= 0)
                return false;
            data += written;
            size -= static_cast<std::size_t>(written);
        }
        return true;
    }

    bool Sync()
    {
#ifdef _WIN32
        return ::_commit(fd_) == 0;
#else
        return ::fsync(fd_) == 0;
#endif
    }

    bool Close()
    {
        if (fd_ < 0)
            return true;
#ifdef _WIN32
        const bool closed = ::_close(fd_) == 0;
#else
        const bool closed = ::close(fd_) == 0;
#endif
        fd_ = -1;
        return closed;
    }

private:
    explicit RawFile(int fd) : fd_(fd) {}
    int fd_;
};

// Times of a subject and of its anchor, one pair per iteration of the same
// loop, so that a busy moment of the machine weighs on both.
// Room for every iteration is made before the loop: growing a vector inside
// it would put the benchmark's own allocations between the library's and
// change how the allocator hands memory back.
struct Pairs {
    explicit Pairs(const benchmark::State& state)
    {
        subject.reserve(static_cast<std::size_t>(state.max_iterations));
        anchor.reserve(static_cast<std::size_t>(state.max_iterations));
    }

    std::vector<double> subject;
    std::vector<double> anchor;

    // Counters for the benchmark's table: both medians in seconds and the
    // subject's time as a multiple of the anchor's.
    void Report(benchmark::State& state, const std::string& subjectName,
                const std::string& anchorName) const
    {
        const double ours = Median(subject);
        const double theirs = Median(anchor);
        state.counters[subjectName + "_s"] = ours;
        state.counters[anchorName + "_s"] = theirs;
        state.counters["ratio"] = theirs > 0 ? ours / theirs : std::nan("");
    }
};

// Whether standard output is a terminal (colours are for terminals only).
inline bool StdoutIsTerminal()
{
#ifdef _WIN32
    return ::_isatty(1) != 0;
#else
    return ::isatty(1) != 0;
#endif
}

// The usual console table, keeping the counters of every run by its name.
class Results : public benchmark::ConsoleReporter {
public:
    Results() : ConsoleReporter(StdoutIsTerminal() ? OO_ColorTabular : OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            auto& counters = byRun_[run.benchmark_name()];
            for (const auto& [name, counter] : run.counters)
                counters[name] = counter.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // The counter of the run whose name is `run` (a suffix such as
    // "/manual_time" aside); NaN when that run did not happen or failed.
    double Get(const std::string& run, const std::string& counter) const
    {
        for (const auto& [name, counters] : byRun_) {
            if (name != run && name.rfind(run + "/", 0) != 0)
                continue;
            auto it = counters.find(counter);
            return it == counters.end() ? std::nan("") : it->second;
        }
        return std::nan("");
    }

private:
    std::map<std::string, std::map<std::string, double>> byRun_;
};

// One line of the summary: what is measured, its value now, the goal.
struct Figure {
    std::string what;
    std::string now;
    std::string goal;
};

inline std::string Format(double value, const char* format)
{
    if (!std::isfinite(value))
        return "n/a";
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

// "1.83x": a ratio against the anchor.
inline std::string Times(double ratio)
{
    return Format(ratio, "%.2fx");
}

// Runs the registered benchmarks with the usual console table, then prints the
// figures that `summarize` makes of their counters, one line each, every line
// starting with "FIGURE |" so that a script can pick them out.
inline int RunAndSummarize(int argc, char** argv,
                           const std::function<std::vector<Figure>(const Results&)>& summarize)
{
#ifdef __GLIBC__
    // glibc moves its threshold for taking large blocks straight from the
    // system with what the process freed before, so the same read faults a
    // large table in on one run and not on the next. Fixed at its default
    // (128 KiB), every run follows one policy: a large block comes from the
    // system each time, as it does from the Windows heap.
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
#endif
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    Results results;
    benchmark::RunSpecifiedBenchmarks(&results);
    benchmark::Shutdown();
    std::printf("\n");
    for (const Figure& figure : summarize(results))
        std::printf("FIGURE | %-64s | %8s | %s\n", figure.what.c_str(), figure.now.c_str(),
                    figure.goal.c_str());
    std::fflush(stdout);
    return 0;
}

}  // namespace bench

#endif  // TOLVIK_BENCH_SUPPORT_H
