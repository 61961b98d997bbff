// Reading profile files as a listing through the C interface, against inih
// reading the same file into the same kind of result, timed in the same loop.
// The files are generated: 1 KiB, 100 KiB and 816 KiB (about 23000 listing
// rows; the table holds 25000). The time shown is the library's; "ratio" is
// its time over inih's.
#include <ini.h>

#include "BenchSupport.h"
#include "tolvik32.h"

namespace {

struct BenchFile {
    std::string label;
    std::string path;
    std::size_t bytes = 0;
    std::size_t rows = 0;  // rows of the listing
};

// A listing row is four cells, and the table holds 100000.
constexpr std::size_t kMaxListingRows = 100000 / 4;

// Sections of 12 parameters with values and some comments, until the file
// reaches `targetBytes` or its listing reaches `maxRows` rows.
BenchFile Generate(const bench::WorkDir& dir, const std::string& label, std::size_t targetBytes,
                   std::size_t maxRows)
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
    return BenchFile{label, dir.Write(label + ".INI", text), text.size(), rows};
}

// The whole listing into a table, then the table discarded.
bool ReadWithLibrary(const BenchFile& file)
{
    uint32_t handle = 0;
    uint16_t rows = 0, cols = 0;
    char err[4096] = "1024";
    if (IntpOpenReadProfileFile(file.path.c_str(), &handle, &rows, &cols, err) == 0)
        return false;
    IntpCloseRead(&handle);
    return rows == file.rows;
}

// inih fills the same kind of result: every section and name = value as text,
// into a vector made large enough beforehand, so that the anchor's time does
// not jump where the vector's growth crosses a power of two.
int CollectEntry(void* user, const char* section, const char* name, const char* value)
{
    auto& cells = *static_cast<std::vector<std::string>*>(user);
    cells.emplace_back(section);
    cells.emplace_back(name);
    cells.emplace_back(value);
    return 1;
}

bool ReadWithInih(const BenchFile& file)
{
    std::vector<std::string> cells;
    cells.reserve(3 * file.rows);
    const bool read = ini_parse(file.path.c_str(), CollectEntry, &cells) == 0;
    benchmark::DoNotOptimize(cells.data());
    return read && !cells.empty();
}

// Both readers every iteration, taking turns at going first.
void LibraryVsInih(benchmark::State& state, const BenchFile& file)
{
    bench::Pairs pairs(state);
    bool libraryFirst = true;
    for (auto _ : state) {
        bool ok = true;
        double ours = 0, theirs = 0;
        for (int turn = 0; turn < 2; ++turn) {
            const bool library = (turn == 0) == libraryFirst;
            const auto start = bench::Clock::now();
            ok = (library ? ReadWithLibrary(file) : ReadWithInih(file)) && ok;
            (library ? ours : theirs) = bench::Seconds(start, bench::Clock::now());
        }
        libraryFirst = !libraryFirst;
        if (!ok) {
            state.SkipWithError("a reader did not read the file as expected");
            return;
        }
        pairs.subject.push_back(ours);
        pairs.anchor.push_back(theirs);
        state.SetIterationTime(ours);
    }
    pairs.Report(state, "tolvik", "inih");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * file.bytes));
}

}  // namespace

int main(int argc, char** argv)
{
    bench::WorkDir dir;
    const std::vector<BenchFile> files = {
        Generate(dir, "1KiB", 1024, kMaxListingRows),
        Generate(dir, "100KiB", 100 * 1024, kMaxListingRows),
        Generate(dir, "816KiB", 816 * 1024, kMaxListingRows),
    };
    for (const BenchFile& file : files) {
        std::printf("%-8s %9zu bytes, %6zu listing rows\n", file.label.c_str(), file.bytes,
                    file.rows);
        benchmark::RegisterBenchmark(("profile/listing_vs_inih/" + file.label).c_str(),
                                     LibraryVsInih, file)
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    }
    const char* const goals[] = {"<= 0.8x", "<= 0.5x", "<= 0.5x"};

    return bench::RunAndSummarize(argc, argv, [&](const bench::Results& results) {
        std::vector<bench::Figure> figures;
        for (std::size_t i = 0; i < files.size(); ++i) {
            const std::string kib =
                bench::Format(static_cast<double>(files[i].bytes) / 1024, "%.0f");
            figures.push_back(
                {"profile listing read, " + kib + " KiB: time vs inih",
                 bench::Times(results.Get("profile/listing_vs_inih/" + files[i].label, "ratio")),
                 goals[i]});
        }
        return figures;
    });
}
