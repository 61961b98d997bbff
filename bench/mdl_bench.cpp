// Model files through the C interface, as a host uses them, at 100, 2500 and
// 25000 entries (25000 four-cell rows fill the whole table):
//  - an update (an edited table written back) against the read of the same
//    file, timed in the same loop;
//  - how the update's time grows from 2500 to 25000 entries, as the exponent
//    of time against file size (1 is linear);
//  - the peak memory of a read and an update of 25000 entries, over the same
//    process idle, measured in a process of its own (Linux only).
// Wall time includes syncing the new file to disk, whose cost is mostly fixed
// and varies with what else the disk is doing, so the growth exponent is
// taken from cpu time (the wall one is shown too: the sync's fixed cost
// lowers it), and the update/read ratio is shown in both.
#include <ctime>
#include <memory>

#include "BenchSupport.h"
#include "tolvik32.h"

namespace {

// `entries` entries over the three sections, with switches, comments and the
// odd comment line, the way a large project's model looks.
std::string ModelText(int entries)
{
    static const char* const kKeywords[] = {"TASK", "DPAC", "TEXT"};
    static const char* const kExtensions[] = {".tse", ".dpc", ""};
    std::string text = "; generated model\n";
    const int perSection = (entries + 2) / 3;
    int written = 0;
    for (int section = 0; section < 3; ++section) {
        text += "{ ";
        text += kKeywords[section];
        text += '\n';
        for (int i = 0; i < perSection && written < entries; ++i, ++written) {
            if (i % 50 == 0)
                text += "; group " + std::to_string(i / 50) + "\n";
            std::string line = "D:\\PROJ\\SRC\\M" + std::to_string(written) + kExtensions[section];
            if (i % 3 == 0)
                line += "/FAST ";
            if (i % 2 == 0) {
                line.resize(std::max<std::size_t>(line.size(), 25), ' ');
                line += "; module " + std::to_string(written);
            }
            text += line + '\n';
        }
        text += "}\n";
    }
    return text;
}

constexpr int kSizes[] = {100, 2500, 25000};

std::string RunName(int entries)
{
    return "model/update_vs_read/" + std::to_string(entries);
}

double CpuSeconds(std::clock_t from, std::clock_t to)
{
    return static_cast<double>(to - from) / CLOCKS_PER_SEC;
}

// Each iteration reads the file into a table, changes one entry's comment
// (two texts in turn, so that every update really changes the file) and
// writes the table back. The time shown is the update's.

void UpdateVsRead(benchmark::State& state, int entries)
{
    bench::WorkDir dir;
    const std::string text = ModelText(entries);
    const std::string file = dir.Write("MODEL.MDL", text);
    bench::Pairs wall(state);
    bench::Pairs cpu(state);
    bool flip = false;
    for (auto _ : state) {
        uint32_t handle = 0;
        uint16_t rows = 0, cols = 0;
        char err[4096] = "";
        const auto start = bench::Clock::now();
        const std::clock_t startCpu = std::clock();
        const int32_t read = IntpOpenReadMDLFile(file.c_str(), &handle, &rows, &cols, err);
        const auto readDone = bench::Clock::now();
        const std::clock_t readDoneCpu = std::clock();
        if (read == 0 || rows != entries) {
            IntpCloseRead(&handle);
            state.SkipWithError("the model did not read as expected");
            return;
        }
        uint16_t row = 0, col = 3;
        char comment[] = "edited comment A";
        comment[sizeof comment - 2] = (flip = !flip) ? 'A' : 'B';
        IntpSetAttrValue(&handle, &row, &col, comment);

        const auto updateStart = bench::Clock::now();
        const std::clock_t updateStartCpu = std::clock();
        const int32_t updated = IntpCloseUpdateMDLFile(file.c_str(), &handle, err);
        const auto updateDone = bench::Clock::now();
        const std::clock_t updateDoneCpu = std::clock();
        if (updated == 0) {
            state.SkipWithError("the update failed");
            return;
        }
        wall.anchor.push_back(bench::Seconds(start, readDone));
        wall.subject.push_back(bench::Seconds(updateStart, updateDone));
        cpu.anchor.push_back(CpuSeconds(startCpu, readDoneCpu));
        cpu.subject.push_back(CpuSeconds(updateStartCpu, updateDoneCpu));
        state.SetIterationTime(bench::Seconds(updateStart, updateDone));
    }
    wall.Report(state, "update", "read");
    const double cpuRead = bench::Median(cpu.anchor);
    state.counters["update_cpu_s"] = bench::Median(cpu.subject);
    state.counters["ratio_cpu"] = cpuRead > 0 ? bench::Median(cpu.subject) / cpuRead : std::nan("");
    state.counters["bytes"] = static_cast<double>(text.size());
}

// The exponent k of time = c * size^k between two sizes.
double GrowthExponent(double smallTime, double largeTime, double smallSize, double largeSize)
{
    if (!(smallTime > 0) || !(largeTime > 0) || !(largeSize > smallSize))
        return std::nan("");
    return std::log(largeTime / smallTime) / std::log(largeSize / smallSize);
}

#if defined(__linux__) && defined(TOLVIK_MDL_PEAK_PROBE)
// Runs the probe program on `file` and returns what it printed ("idle_kb=...
// peak_kb=..."), empty on failure.
std::string RunProbe(const std::string& file, const std::string& warmUp)
{
    std::string command = "'" TOLVIK_MDL_PEAK_PROBE "' '" + file + "'";
    if (!warmUp.empty())
        command += " '" + warmUp + "'";
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
    if (!pipe)
        return {};
    std::string output;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pipe.get()) != nullptr)
        output += buffer;
    return ::pclose(pipe.release()) == 0 ? output : std::string();
}

// The number after "name=" in the probe's output, or -1.
double ProbeValue(const std::string& output, const std::string& name)
{
    const auto at = output.find(name + "=");
    return at == std::string::npos ? -1 : std::atof(output.c_str() + at + name.size() + 1);
}
#endif

// Peak memory of reading and updating 25000 entries in a fresh process, over
// that process before it did anything. A second run first reads and updates a
// small model, to tell the cost that comes with the file from the library's
// fixed cost (code, allocator) shown in the first.
void PeakMemory(benchmark::State& state)
{
#if defined(__linux__) && defined(TOLVIK_MDL_PEAK_PROBE)
    bench::WorkDir dir;
    const std::string text = ModelText(25000);
    const std::string file = dir.Write("MODEL.MDL", text);
    const std::string small = dir.Write("SMALL.MDL", ModelText(100));
    double cold = 0, warm = 0;
    for (auto _ : state) {
        const std::string coldRun = RunProbe(file, "");
        const std::string warmRun = RunProbe(file, small);
        if (ProbeValue(coldRun, "idle_kb") <= 0 || ProbeValue(warmRun, "warm_kb") <= 0) {
            state.SkipWithError("the probe did not run");
            return;
        }
        cold = ProbeValue(coldRun, "peak_kb") - ProbeValue(coldRun, "idle_kb");
        warm = ProbeValue(warmRun, "peak_kb") - ProbeValue(warmRun, "warm_kb");
    }
    const double fileKiB = static_cast<double>(text.size()) / 1024;
    state.counters["file_KiB"] = fileKiB;
    state.counters["peak_over_idle_KiB"] = cold;
    state.counters["ratio"] = cold / fileKiB;
    state.counters["peak_over_warm_KiB"] = warm;
    state.counters["ratio_warm"] = warm / fileKiB;
#else
    state.SkipWithError("peak memory is measured on Linux only");
#endif
}

}  // namespace

int main(int argc, char** argv)
{
    for (int entries : kSizes)
        benchmark::RegisterBenchmark(RunName(entries).c_str(), UpdateVsRead, entries)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("model/peak_memory/25000", PeakMemory)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);

    return bench::RunAndSummarize(argc, argv, [](const bench::Results& results) {
        const std::string small = RunName(2500);
        const std::string large = RunName(25000);
        const double smallBytes = results.Get(small, "bytes");
        const double largeBytes = results.Get(large, "bytes");
        const double wallExponent = GrowthExponent(
            results.Get(small, "update_s"), results.Get(large, "update_s"), smallBytes, largeBytes);
        const double cpuExponent =
            GrowthExponent(results.Get(small, "update_cpu_s"), results.Get(large, "update_cpu_s"),
                           smallBytes, largeBytes);
        const std::string at = " (" + bench::Format(largeBytes / 1024, "%.0f") + " KiB)";
        return std::vector<bench::Figure>{
            {"model update, 25000 entries" + at + ": time vs its read",
             bench::Times(results.Get(large, "ratio")), "<= 2x"},
            {"model update, 25000 entries: cpu time vs its read",
             bench::Times(results.Get(large, "ratio_cpu")), "(cpu, for reference)"},
            {"model update 2500 -> 25000 entries: exponent of cpu time vs size",
             bench::Format(cpuExponent, "%.2f"), "<= 1.1"},
            {"model update 2500 -> 25000 entries: exponent of wall time vs size",
             bench::Format(wallExponent, "%.2f"), "(wall, for reference)"},
            {"model read + update, 25000 entries: peak memory over idle vs file",
             bench::Times(results.Get("model/peak_memory/25000", "ratio")), "<= 4x"},
            {"the same, over the process warmed up on a 100-entry model",
             bench::Times(results.Get("model/peak_memory/25000", "ratio_warm")), "(for reference)"},
        };
    });
}
