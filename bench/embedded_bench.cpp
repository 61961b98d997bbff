// Inserting an embedded file into a large source through the C interface,
// against two anchors over the same bytes, all timed in the same loop:
//  - a plain loop that reads the source and writes a copy 1 MiB at a time and
//    syncs it to disk (the library syncs its new file too);
//  - a copy as `cp` makes it (the system's file copy, not synced).
// The source is 100 MiB of program lines with its embedding point half way.
// After each insert the kept backup takes the source's name again, so every
// iteration inserts into the same bytes. The time shown is the library's;
// "vs_loop" and "vs_cp" are its throughput over the anchor's.
//
// TOLVIK_BENCH_EMBED_MIB sets the source size in MiB (a quick run: 8) and
// TOLVIK_BENCH_EMBED_ITERATIONS the number of iterations (5).
#include "BenchSupport.h"
#include "tolvik32.h"

namespace {

constexpr std::size_t kMiB = 1024 * 1024;

// About 1 MiB of program lines.
std::string ProgramLines()
{
    std::string text;
    for (int step = 0; text.size() < kMiB; ++step)
        text += "  IF LEVEL_" + std::to_string(step) + " < LOW_MARK THEN START_PUMP ; step " +
                std::to_string(step) + "\n";
    return text;
}

const char kHeader[] =
    "; BIG - generated task for the embedded-file benchmark\n"
    "{ TASK\n"
    "  Name = Big\n"
    "  PRI = 5\n"
    "}\n";

const char kEmbeddingPoint[] =
    "; --- embedded files ------------------------------------------------------\n"
    "; EmbeddPoint Stubs\n"
    "; EmbeddedFileStart  \"Existing\"\n"
    "  R COUNT           = 0     ; cycles since start\n"
    "; EmbeddedFileEnd  \"Existing\"\n";

// The source, synced so that writing it back costs no iteration anything.
// Returns its size, 0 on failure.
std::size_t WriteSource(const std::string& path, std::size_t mebibytes)
{
    const std::string lines = ProgramLines();
    bench::RawFile out = bench::RawFile::Create(path);
    bool ok = out.IsOpen() && out.WriteAll(kHeader, sizeof kHeader - 1);
    std::size_t size = sizeof kHeader - 1;
    for (std::size_t block = 0; ok && block < mebibytes; ++block) {
        if (block == mebibytes / 2) {
            ok = out.WriteAll(kEmbeddingPoint, sizeof kEmbeddingPoint - 1);
            size += sizeof kEmbeddingPoint - 1;
        }
        ok = ok && out.WriteAll(lines.data(), lines.size());
        size += lines.size();
    }
    return ok && out.Sync() && out.Close() ? size : 0;
}

// A task stub of 24 declarations, about 1 KiB.
std::string StubText()
{
    std::string text;
    for (int i = 0; i < 24; ++i)
        text += "  R VALUE_" + std::to_string(i) + "         = " + std::to_string(i) +
                "     ; declared by the benchmark\n";
    return text;
}

// The library's insert; the kept backup then becomes the source again.
bool Insert(const std::string& source, const std::string& backup, std::size_t sourceBytes,
            const std::string& stub, double& seconds)
{
    char err[4096] = "0";
    const auto start = bench::Clock::now();
    const bool inserted =
        IntpInsertEmbeddedFile(source.c_str(), "Stubs", "BenchLocals", stub.c_str(), err) != 0;
    seconds = bench::Seconds(start, bench::Clock::now());
    std::error_code error;
    const bool grew = inserted && bench::fs::file_size(source, error) > sourceBytes;
    bench::fs::rename(backup, source, error);
    return grew && !error;
}

// The anchor: read and write 1 MiB at a time, sync, close.
bool CopyLoop(const std::string& source, const std::string& target, double& seconds)
{
    std::vector<char> buffer(kMiB);
    const auto start = bench::Clock::now();
    bench::RawFile in = bench::RawFile::OpenRead(source);
    bench::RawFile out = bench::RawFile::Create(target);
    bool ok = in.IsOpen() && out.IsOpen();
    long long got = 0;
    while (ok && (got = in.Read(buffer.data(), buffer.size())) > 0)
        ok = out.WriteAll(buffer.data(), static_cast<std::size_t>(got));
    ok = ok && got == 0 && out.Sync() && out.Close() && in.Close();
    seconds = bench::Seconds(start, bench::Clock::now());
    std::error_code ignored;
    bench::fs::remove(target, ignored);
    return ok;
}

// The other anchor: the system's copy, as `cp` does it. Its copy is synced
// after the clock stops, so that its writing back costs the next step nothing
// (on Linux a file opened for reading can be synced).
bool SystemCopy(const std::string& source, const std::string& target, double& seconds)
{
    std::error_code error;
    const auto start = bench::Clock::now();
    bench::fs::copy_file(source, target, bench::fs::copy_options::overwrite_existing, error);
    seconds = bench::Seconds(start, bench::Clock::now());
    bench::RawFile::OpenRead(target).Sync();
    std::error_code ignored;
    bench::fs::remove(target, ignored);
    return !error;
}

void InsertVsCopy(benchmark::State& state, std::size_t mebibytes)
{
    bench::WorkDir dir;
    const std::string source = dir.Path("BIG.tse");
    const std::string backup = dir.Path("BIG.BAK");
    const std::size_t bytes = WriteSource(source, mebibytes);
    if (bytes == 0) {
        state.SkipWithError("could not write the source");
        return;
    }
    const std::string stub = StubText();
    std::vector<double> library, loop, system;
    int first = 0;
    for (auto _ : state) {
        double seconds[3] = {};
        bool ok = true;
        // The three take turns at going first.
        for (int turn = 0; turn < 3; ++turn) {
            switch ((first + turn) % 3) {
                case 0:
                    ok = Insert(source, backup, bytes, stub, seconds[0]) && ok;
                    break;
                case 1:
                    ok = CopyLoop(source, dir.Path("LOOP.TMP"), seconds[1]) && ok;
                    break;
                default:
                    ok = SystemCopy(source, dir.Path("CP.TMP"), seconds[2]) && ok;
                    break;
            }
        }
        first = (first + 1) % 3;
        if (!ok) {
            state.SkipWithError("the insert or a copy failed");
            return;
        }
        library.push_back(seconds[0]);
        loop.push_back(seconds[1]);
        system.push_back(seconds[2]);
        state.SetIterationTime(seconds[0]);
    }
    const double ours = bench::Median(library);
    const double mib = static_cast<double>(bytes) / kMiB;
    state.counters["MiB"] = mib;
    state.counters["tolvik_MiB/s"] = mib / ours;
    state.counters["loop_MiB/s"] = mib / bench::Median(loop);
    state.counters["cp_MiB/s"] = mib / bench::Median(system);
    state.counters["vs_loop"] = bench::Median(loop) / ours;
    state.counters["vs_cp"] = bench::Median(system) / ours;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

}  // namespace

int main(int argc, char** argv)
{
    const auto mebibytes =
        static_cast<std::size_t>(bench::EnvNumber("TOLVIK_BENCH_EMBED_MIB", 100));
    const std::string name = "embedded/insert_vs_copy/" + std::to_string(mebibytes) + "MiB";
    benchmark::RegisterBenchmark(name.c_str(), InsertVsCopy, mebibytes)
        ->Iterations(bench::EnvNumber("TOLVIK_BENCH_EMBED_ITERATIONS", 5))
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    return bench::RunAndSummarize(argc, argv, [&](const bench::Results& results) {
        const std::string size = std::to_string(mebibytes) + " MiB";
        return std::vector<bench::Figure>{
            {"embedded insert into " + size + ": throughput vs 1 MiB loop+fsync",
             bench::Times(results.Get(name, "vs_loop")), ">= 0.5x"},
            {"embedded insert into " + size + ": throughput vs cp-like copy",
             bench::Times(results.Get(name, "vs_cp")), "(for reference)"},
        };
    });
}
