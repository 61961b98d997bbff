#include "model/ProgramHeaderParser.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "TestSupport.h"

using namespace tolvik;
using tolvik::test::TempDir;

namespace {

constexpr char kSep = '\x1a';

struct Outcome {
    bool ok = false;
    int status = 0;
    std::string message;
    std::unique_ptr<CAttributeList> table;
};

Outcome RunHeader(const std::string& file, int mode, std::unique_ptr<CAttributeList> table = {})
{
    CProgramHeaderParser parser(file, false, mode, CompiledKindOf(file) != 0);
    Outcome outcome;
    outcome.table = std::move(table);
    outcome.ok = parser.Run(outcome.table, outcome.message);
    outcome.status = parser.status;
    return outcome;
}

// The 15 cells of row 0 joined by "|", an empty cell shown as "...".
std::string Cells(const CAttributeList& table)
{
    std::string text;
    for (int column = 0; column < kAttributeColumns; ++column) {
        const std::string* cell = table.GetAttribute(0, column);
        if (column > 0)
            text += '|';
        text += !cell ? "<none>" : *cell == kEmptyCell ? "..." : *cell;
    }
    return text;
}

std::unique_ptr<CAttributeList> CopyOf(const CAttributeList& table)
{
    auto copy = std::make_unique<CAttributeList>();
    copy->AddList(table);
    copy->columns = table.columns;
    copy->rows = table.rows;
    return copy;
}

// The message after the file name, separators shown as "|" and line ends as
// "\n".
std::string MessageAfterName(const std::string& message, const std::string& file)
{
    std::string rest = message.rfind(file + kSep, 0) == 0 ? message.substr(file.size() + 1)
                                                          : "<no file name>" + message;
    std::string shown;
    for (char c : rest)
        shown += c == kSep ? std::string("|") : c == '\n' ? std::string("\\n") : std::string(1, c);
    return shown;
}

// A golden case: sections introduced by "=== name" lines.
//   source   the module text ("source!" drops the last line end)
//   table    what reading gives, cells joined by "|"
//   error    the message of a failed read after the file name
//   edits    "column=value" lines applied to the table read ("<DEL>" removes)
//   output   the rewritten file ("output!" without the last line end)
//   update-error  the message of a failed update (the file stays as it was)
struct GoldenCase {
    std::map<std::string, std::string> sections;
    bool Has(const std::string& name) const { return sections.count(name) != 0; }
    const std::string& operator[](const std::string& name) const { return sections.at(name); }
};

GoldenCase LoadCase(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    GoldenCase golden;
    std::string line;
    std::string* current = nullptr;
    std::vector<std::string> trimmed;
    while (std::getline(in, line)) {
        if (line.rfind("=== ", 0) == 0) {
            std::string name = line.substr(4);
            if (!name.empty() && name.back() == '!') {
                name.pop_back();
                trimmed.push_back(name);
            }
            current = &golden.sections[name];
            continue;
        }
        if (current)
            *current += line + "\n";
    }
    for (const std::string& name : trimmed)
        if (!golden.sections[name].empty())
            golden.sections[name].pop_back();
    for (const char* single : {"table", "error", "update-error"})
        if (golden.Has(single) && !golden.sections[single].empty())
            golden.sections[single].pop_back();  // one line, its line end is not part of it
    return golden;
}

std::vector<std::string> CaseNames()
{
    std::vector<std::string> names;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(TOLVIK_TEST_DATA) / "header"))
        if (entry.path().extension() == ".case")
            names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

class HeaderGolden : public ::testing::TestWithParam<std::string> {};

TEST_P(HeaderGolden, Case)
{
    const GoldenCase golden =
        LoadCase(std::filesystem::path(TOLVIK_TEST_DATA) / "header" / (GetParam() + ".case"));
    ASSERT_TRUE(golden.Has("source"));
    TempDir dir;
    const std::string file = dir.Write("MODULE.SRC", golden["source"]);

    Outcome read = RunHeader(file, kRead);
    if (golden.Has("error")) {
        EXPECT_FALSE(read.ok);
        EXPECT_EQ(read.table, nullptr);
        EXPECT_EQ(MessageAfterName(read.message, file), golden["error"]);
        return;
    }
    ASSERT_TRUE(read.ok) << MessageAfterName(read.message, file);
    ASSERT_NE(read.table, nullptr);
    EXPECT_EQ(read.table->rows, 1u);
    EXPECT_EQ(read.table->columns, 15u);
    EXPECT_EQ(read.table->Count(), 15u);
    const std::string cellsRead = Cells(*read.table);
    if (golden.Has("table")) {
        EXPECT_EQ(cellsRead, golden["table"]);
    }

    // The edits, and what reading the rewritten file must give.
    auto edited = CopyOf(*read.table);
    auto expectedAfter = CopyOf(*read.table);
    std::istringstream edits(golden.Has("edits") ? golden["edits"] : std::string());
    for (std::string line; std::getline(edits, line);) {
        if (line == "*=...") {
            // Every value kept as the file has it.
            for (std::uint32_t column = 1; column < kAttributeColumns; ++column)
                edited->SetAttribute(column, kEmptyCell);
            continue;
        }
        const std::size_t equals = line.find('=');
        ASSERT_NE(equals, std::string::npos) << line;
        const auto column = static_cast<std::uint32_t>(std::stoi(line.substr(0, equals)));
        std::string value = line.substr(equals + 1);
        if (value == "<DEL>")
            value = kDeleteMark;
        else if (value == "...")
            value = kEmptyCell;
        edited->SetAttribute(column, value);
        if (value != kEmptyCell)
            expectedAfter->SetAttribute(column,
                                        value == kDeleteMark ? std::string(kEmptyCell) : value);
    }

    Outcome update = RunHeader(file, kUpdate, std::move(edited));
    if (golden.Has("update-error")) {
        EXPECT_FALSE(update.ok);
        EXPECT_EQ(MessageAfterName(update.message, file), golden["update-error"]);
        EXPECT_EQ(dir.Read("MODULE.SRC"), golden["source"]) << "a failed update changed the file";
        EXPECT_EQ(dir.Files(), (std::vector<std::string>{"MODULE.SRC"}));
        return;
    }
    ASSERT_TRUE(update.ok) << MessageAfterName(update.message, file);
    const std::string written = dir.Read("MODULE.SRC");
    if (golden.Has("output")) {
        EXPECT_EQ(written, golden["output"]);
    }
    std::filesystem::remove(dir.Path("MODULE.BAK"));

    // What was written reads back as the table that wrote it; closing that
    // table again settles on one text, which a further round keeps.
    std::string previous;
    for (int round = 0; round < 2; ++round) {
        Outcome reread = RunHeader(file, kRead);
        ASSERT_TRUE(reread.ok) << MessageAfterName(reread.message, file) << "\n"
                               << dir.Read("MODULE.SRC");
        EXPECT_EQ(Cells(*reread.table), Cells(*expectedAfter)) << "round " << round;
        Outcome again = RunHeader(file, kUpdate, std::move(reread.table));
        ASSERT_TRUE(again.ok);
        std::filesystem::remove(dir.Path("MODULE.BAK"));
        if (round == 1) {
            EXPECT_EQ(dir.Read("MODULE.SRC"), previous);
        }
        previous = dir.Read("MODULE.SRC");
    }
}

INSTANTIATE_TEST_SUITE_P(Header, HeaderGolden, ::testing::ValuesIn(CaseNames()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             return info.param;
                         });

}  // namespace
