#include "values/BpacValuesParser.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "TestSupport.h"

using namespace tolvik;
using tolvik::test::TempDir;

namespace {

// Golden cases in tests/data/bpac, one set of files per case NAME:
//   NAME.in     the values file
//   NAME.table  the table read from it (one row a line, cells joined by "|",
//               an empty cell shown as "...")
//   NAME.error  the message of a failed read (0x1A shown as "|", a line end as
//               "\n"); the file is read as "values.bpe"
//   NAME.cells  a table (as NAME.table; "<DEL>" is the deletion mark, "\n" a
//               line end) to update the file with; without it the update uses
//               the table read from the file
//   NAME.out    the file after the update
//   NAME.readback  the table read from NAME.out when it is not the table
//               that was written (given cells that are written differently)
const std::filesystem::path kCases = std::filesystem::path(TOLVIK_TEST_DATA) / "bpac";
constexpr char kFileName[] = "values.bpe";

std::string ReadFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// With `noEmptyText`, an empty text and an empty cell look the same: a value
// line tells them apart only by the words it holds.
std::string Dump(const CAttributeList& list, bool noEmptyText = false)
{
    std::string text;
    for (std::uint32_t r = 0; r < list.rows; ++r) {
        for (std::uint32_t c = 0; c < list.columns; ++c) {
            const std::string& cell = *list.GetAttribute(static_cast<int>(r), static_cast<int>(c));
            const bool empty = cell == kEmptyCell || (noEmptyText && cell.empty());
            text += (c ? "|" : "") + (empty ? std::string("...") : cell);
        }
        text += '\n';
    }
    return text;
}

std::unique_ptr<CAttributeList> ParseTable(const std::string& text)
{
    auto list = std::make_unique<CAttributeList>();
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        std::uint32_t cells = 0;
        std::istringstream fields(line + "|");
        std::string cell;
        while (std::getline(fields, cell, '|')) {
            for (std::size_t at; (at = cell.find("\\n")) != std::string::npos;)
                cell.replace(at, 2, "\n");
            list->AddAttribute(cell == "..." ? kEmptyCell : cell == "<DEL>" ? kDeleteMark : cell);
            ++cells;
        }
        list->columns = cells;
        ++list->rows;
    }
    return list;
}

std::string ShowMessage(std::string message)
{
    std::string shown;
    for (char c : message)
        shown += c == '\x1a' ? "|" : c == '\n' ? "\\n" : std::string(1, c);
    return shown;
}

struct Outcome {
    bool ok;
    std::string message;
};

Outcome RunParser(const std::string& file, int mode, std::unique_ptr<CAttributeList>& list)
{
    CBpacValuesParser parser(file, mode);
    Outcome outcome;
    outcome.ok = parser.Run(list, outcome.message);
    return outcome;
}

std::vector<std::string> CaseNames()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(kCases))
        if (entry.path().extension() == ".in")
            names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

class BpacGolden : public ::testing::TestWithParam<std::string> {
protected:
    std::filesystem::path CaseFile(const char* extension) const
    {
        return kCases / (GetParam() + extension);
    }
};

TEST_P(BpacGolden, ReadUpdateAndReadBack)
{
    TempDir dir;
    const std::string input = ReadFile(CaseFile(".in"));
    dir.Write(kFileName, input);
    const bool hasTable = std::filesystem::exists(CaseFile(".table"));
    const bool hasError = std::filesystem::exists(CaseFile(".error"));
    const bool hasOut = std::filesystem::exists(CaseFile(".out"));
    ASSERT_TRUE(hasTable != hasError) << "a case expects a table or an error";

    std::unique_ptr<CAttributeList> table;
    const Outcome read = RunParser(kFileName, kRead, table);
    if (hasTable) {
        ASSERT_TRUE(read.ok) << ShowMessage(read.message);
        EXPECT_EQ(Dump(*table), ReadFile(CaseFile(".table")));
    } else {
        EXPECT_FALSE(read.ok);
        EXPECT_EQ(table, nullptr);
        EXPECT_EQ(ShowMessage(read.message), ReadFile(CaseFile(".error")));
    }
    if (!hasOut)
        return;

    const bool givenCells = std::filesystem::exists(CaseFile(".cells"));
    std::unique_ptr<CAttributeList> update =
        givenCells ? ParseTable(ReadFile(CaseFile(".cells"))) : std::move(table);
    ASSERT_NE(update, nullptr);
    const std::string expectedTable = Dump(*update, true);
    const Outcome written = RunParser(kFileName, kUpdate, update);
    ASSERT_TRUE(written.ok) << ShowMessage(written.message);
    const std::string output = dir.Read(kFileName);
    EXPECT_EQ(output, ReadFile(CaseFile(".out")));
    EXPECT_EQ(dir.Read("values.BAK"), input);

    // What was written reads back, and writing it again changes nothing.
    std::unique_ptr<CAttributeList> again;
    ASSERT_TRUE(RunParser(kFileName, kRead, again).ok);
    if (std::filesystem::exists(CaseFile(".readback"))) {
        EXPECT_EQ(Dump(*again), ReadFile(CaseFile(".readback")));
    } else {
        EXPECT_EQ(Dump(*again, true), expectedTable);
    }
    ASSERT_TRUE(RunParser(kFileName, kUpdate, again).ok);
    EXPECT_EQ(dir.Read(kFileName), output);
}

INSTANTIATE_TEST_SUITE_P(Cases, BpacGolden, ::testing::ValuesIn(CaseNames()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             std::string name = info.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

}  // namespace
