// Reading the program header of a 2 KiB module through the C interface (open,
// read into a table, discard the table) against the bare system calls that
// open the same file, read it whole and close it, timed in the same loop. The
// time shown is the library's; "ratio" is its time over the bare read's.
#include "BenchSupport.h"
#include "tolvik32.h"

namespace {

constexpr std::size_t kModuleBytes = 2048;

// A task module: comment lines, the declaration, then program lines up to
// `bytes`.
std::string ModuleText(std::size_t bytes)
{
    std::string text =
        "; MODULE - generated task for the header benchmark\n"
        "; Keeps the tank between its low and high marks.\n"
        "\n"
        "{ TASK\n"
        "  Name = Module\n"
        "  PRI = 5\n"
        "  Cycle = 20 MS\n"
        "  LN = 12\n"
        "}\n"
        "\n"
        "; --- program -----------------------------------------------------------\n";
    for (int step = 0; text.size() < bytes; ++step) {
        std::string line = "  IF LEVEL_" + std::to_string(step) +
                           " < LOW_MARK THEN START_PUMP ; step " + std::to_string(step) + "\n";
        if (text.size() + line.size() > bytes)
            line = std::string(bytes - text.size() - 1, ';') + "\n";
        text += line;
    }
    return text;
}

bool ReadWithLibrary(const std::string& file)
{
    uint32_t handle = 0;
    uint16_t rows = 0, cols = 0;
    char err[4096] = "";
    if (IntpOpenReadVORLHead(file.c_str(), &handle, &rows, &cols, err) == 0)
        return false;
    IntpCloseRead(&handle);
    return rows == 1 && cols == 15;
}

bool ReadBare(const std::string& file, std::size_t expected)
{
    char buffer[4096];
    bench::RawFile in = bench::RawFile::OpenRead(file);
    std::size_t total = 0;
    for (long long got; in.IsOpen() && (got = in.Read(buffer, sizeof buffer)) > 0;)
        total += static_cast<std::size_t>(got);
    benchmark::DoNotOptimize(buffer);
    return in.Close() && total == expected;
}

// Both every iteration, taking turns at going first.
void HeaderVsBareRead(benchmark::State& state)
{
    bench::WorkDir dir;
    const std::string text = ModuleText(kModuleBytes);
    const std::string file = dir.Write("MODULE.tse", text);
    bench::Pairs pairs(state);
    bool libraryFirst = true;
    for (auto _ : state) {
        bool ok = true;
        double ours = 0, bare = 0;
        for (int turn = 0; turn < 2; ++turn) {
            const bool library = (turn == 0) == libraryFirst;
            const auto start = bench::Clock::now();
            ok = (library ? ReadWithLibrary(file) : ReadBare(file, text.size())) && ok;
            (library ? ours : bare) = bench::Seconds(start, bench::Clock::now());
        }
        libraryFirst = !libraryFirst;
        if (!ok) {
            state.SkipWithError("the module did not read as expected");
            return;
        }
        pairs.subject.push_back(ours);
        pairs.anchor.push_back(bare);
        state.SetIterationTime(ours);
    }
    pairs.Report(state, "tolvik", "bare");
}

}  // namespace

int main(int argc, char** argv)
{
    benchmark::RegisterBenchmark("header/read_vs_bare/2KiB", HeaderVsBareRead)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
    return bench::RunAndSummarize(argc, argv, [](const bench::Results& results) {
        return std::vector<bench::Figure>{
            {"program header (2 KiB module) open+read+close: time vs bare",
             bench::Times(results.Get("header/read_vs_bare/2KiB", "ratio")), "<= 1.5x"},
        };
    });
}
