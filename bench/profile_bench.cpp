// Reading speed of profile files: this library in listing mode against inih,
// on the same generated files (about 1 KB, about 100 KB, and the largest file
// whose listing fills the 100000-cell table). Reports bytes per second for
// both and, at the end, how many times faster inih is on each file.
#include <benchmark/benchmark.h>
#include <ini.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "profiles/ProfileFileParser.h"

using namespace tolvik;

namespace {

struct BenchFile {
    std::string label;
    std::string path;
    std::size_t bytes = 0;
    std::size_t rows = 0;  // rows of the listing
};

// Sections of 12 parameters with values and some comments, until the file
// reaches `targetBytes` or its listing reaches `maxRows` rows.
BenchFile Generate(const std::filesystem::path& dir, const std::string& label,
                   std::size_t targetBytes, std::size_t maxRows)
{
    std::string text = "; generated profile for the reading benchmark\n";
    std::size_t rows = 0;
    for (int section = 0;; ++section) {
        if (rows + 1 > maxRows || text.size() >= targetBytes)
            break;
        text += "\n[Station" + std::to_string(section) + "] ; station " + std::to_string(section) +
                "\n";
        ++rows;
        for (int p = 0; p < 12 && rows < maxRows && text.size() < targetBytes; ++p) {
            text += "Parameter" + std::to_string(p) + " = value_" + std::to_string(section) + "_" +
                    std::to_string(p);
            if (p % 3 == 0)
                text += " ; set by the commissioning tool";
            text += "\n";
            ++rows;
        }
    }
    BenchFile file{label, (dir / (label + ".ini")).string(), text.size(), rows};
    std::ofstream(file.path, std::ios::binary) << text;
    return file;
}

void ReadWithLibrary(benchmark::State& state, const BenchFile& file)
{
    for (auto _ : state) {
        CProfileFileParser parser(file.path, false, kRead, kProfileListing);
        std::unique_ptr<CAttributeList> list = CProfileFileParser::DefaultRequest();
        std::string message;
        if (!parser.Run(list, message) || list->rows != file.rows) {
            state.SkipWithError("the library did not read the file as expected");
            return;
        }
        benchmark::DoNotOptimize(list);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * file.bytes));
}

// inih fills the same kind of result: every section and name = value as text.
int CollectEntry(void* user, const char* section, const char* name, const char* value)
{
    auto& cells = *static_cast<std::vector<std::string>*>(user);
    cells.emplace_back(section);
    cells.emplace_back(name);
    cells.emplace_back(value);
    return 1;
}

void ReadWithInih(benchmark::State& state, const BenchFile& file)
{
    for (auto _ : state) {
        std::vector<std::string> cells;
        if (ini_parse(file.path.c_str(), CollectEntry, &cells) != 0) {
            state.SkipWithError("inih did not read the file");
            return;
        }
        benchmark::DoNotOptimize(cells);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * file.bytes));
}

// Keeps the console output and notes each run's bytes per second.
class RateReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            auto it = run.counters.find("bytes_per_second");
            if (it != run.counters.end())
                rates[run.benchmark_name()] = it->second;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> rates;
};

}  // namespace

int main(int argc, char** argv)
{
    const auto dir = std::filesystem::temp_directory_path() / "tolvik-profile-bench";
    std::filesystem::create_directories(dir);
    const std::size_t kMaxListingRows = kTableCapacity / 4;
    const std::vector<BenchFile> files = {
        Generate(dir, "1KB", 1024, kMaxListingRows),
        Generate(dir, "100KB", 100 * 1024, kMaxListingRows),
        Generate(dir, "largest", static_cast<std::size_t>(-1), kMaxListingRows),
    };
    for (const BenchFile& file : files) {
        std::printf("%-8s %9zu bytes, %6zu listing rows\n", file.label.c_str(), file.bytes,
                    file.rows);
        benchmark::RegisterBenchmark(("tolvik/" + file.label).c_str(), ReadWithLibrary, file)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(("inih/" + file.label).c_str(), ReadWithInih, file)
            ->Unit(benchmark::kMicrosecond);
    }

    benchmark::Initialize(&argc, argv);
    RateReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\n%-8s %14s %14s %10s\n", "file", "tolvik MiB/s", "inih MiB/s", "inih/tolvik");
    for (const BenchFile& file : files) {
        const double ours = reporter.rates["tolvik/" + file.label];
        const double theirs = reporter.rates["inih/" + file.label];
        constexpr double kMiB = 1024.0 * 1024.0;
        if (ours > 0 && theirs > 0)
            std::printf("%-8s %14.1f %14.1f %10.2f\n", file.label.c_str(), ours / kMiB,
                        theirs / kMiB, theirs / ours);
    }
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
    return 0;
}
