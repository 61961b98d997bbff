// Reading and updating model files of 100, 2500 and 25000 entries. An update
// parses the file twice and writes it once, so it should cost a small constant
// times a read at every size; the "update/read" counter shows that ratio.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "model/MdlFileParser.h"

using namespace tolvik;

namespace {

namespace fs = std::filesystem;

// A private directory that is the current one while it lives: the update's
// temporary file is made there.
class BenchDir {
public:
    BenchDir()
    {
        std::random_device random;
        path_ = fs::temp_directory_path() / ("tolvik-bench-" + std::to_string(random()));
        fs::create_directories(path_);
        previous_ = fs::current_path();
        fs::current_path(path_);
    }
    ~BenchDir()
    {
        fs::current_path(previous_);
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    BenchDir(const BenchDir&) = delete;
    BenchDir& operator=(const BenchDir&) = delete;

    std::string Write(const std::string& name, const std::string& text) const
    {
        std::ofstream out(path_ / name, std::ios::binary);
        out << text;
        return (path_ / name).string();
    }

private:
    fs::path path_;
    fs::path previous_;
};

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

std::unique_ptr<CAttributeList> ReadTable(const std::string& file)
{
    std::unique_ptr<CAttributeList> list;
    std::string message;
    CMdlFileParser parser(file, kRead);
    if (!parser.Run(list, message))
        list.reset();
    return list;
}

bool Update(const std::string& file, std::unique_ptr<CAttributeList> list)
{
    std::string message;
    CMdlFileParser parser(file, kUpdate);
    parser.keepBackup = false;
    return parser.Run(list, message);
}

void BM_ReadModel(benchmark::State& state)
{
    BenchDir dir;
    const std::string file = dir.Write("MODEL.MDL", ModelText(static_cast<int>(state.range(0))));
    for (auto _ : state) {
        auto list = ReadTable(file);
        if (!list || list->rows != state.range(0))
            state.SkipWithError("read failed");
        benchmark::DoNotOptimize(list);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_UpdateModel(benchmark::State& state)
{
    BenchDir dir;
    const std::string file = dir.Write("MODEL.MDL", ModelText(static_cast<int>(state.range(0))));
    const auto table = ReadTable(file);
    for (auto _ : state) {
        state.PauseTiming();
        auto list = std::make_unique<CAttributeList>(*table);
        state.ResumeTiming();
        if (!Update(file, std::move(list)))
            state.SkipWithError("update failed");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Both in one loop, timed apart: the time shown is the update's. Wall time
// includes syncing the new file to disk, which dominates small models; the
// "cpu" ratio leaves it out.
void BM_UpdateToReadRatio(benchmark::State& state)
{
    using Clock = std::chrono::steady_clock;
    BenchDir dir;
    const std::string file = dir.Write("MODEL.MDL", ModelText(static_cast<int>(state.range(0))));
    double readSeconds = 0;
    double updateSeconds = 0;
    double readCpu = 0;
    double updateCpu = 0;
    for (auto _ : state) {
        const auto start = Clock::now();
        const std::clock_t startCpu = std::clock();
        auto list = ReadTable(file);
        const auto read = Clock::now();
        const std::clock_t readDoneCpu = std::clock();
        const bool ok = list && Update(file, std::move(list));
        const auto updated = Clock::now();
        const std::clock_t updatedCpu = std::clock();
        if (!ok)
            state.SkipWithError("read or update failed");
        readSeconds += std::chrono::duration<double>(read - start).count();
        updateSeconds += std::chrono::duration<double>(updated - read).count();
        readCpu += static_cast<double>(readDoneCpu - startCpu);
        updateCpu += static_cast<double>(updatedCpu - readDoneCpu);
        state.SetIterationTime(std::chrono::duration<double>(updated - read).count());
    }
    const auto iterations = static_cast<double>(state.iterations());
    state.counters["read_ms"] = benchmark::Counter(readSeconds * 1e3 / iterations);
    state.counters["update_ms"] = benchmark::Counter(updateSeconds * 1e3 / iterations);
    state.counters["update/read"] =
        benchmark::Counter(readSeconds > 0 ? updateSeconds / readSeconds : 0);
    state.counters["update/read cpu"] = benchmark::Counter(readCpu > 0 ? updateCpu / readCpu : 0);
}

}  // namespace

BENCHMARK(BM_ReadModel)->Arg(100)->Arg(2500)->Arg(25000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UpdateModel)->Arg(100)->Arg(2500)->Arg(25000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UpdateToReadRatio)
    ->Arg(100)
    ->Arg(2500)
    ->Arg(25000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
