#include "values/BpacValuesParser.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "TestSupport.h"

using namespace tolvik;
using namespace tolvik::test;

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

// With `noEmptyText`, an empty text and an empty cell look the same: a value
// line tells them apart only by the words it holds.
std::string Dump(const CAttributeList& list, bool noEmptyText = false)
{
    return DumpTable(&list, [noEmptyText](const std::string* cell) {
        const bool empty = *cell == kEmptyCell || (noEmptyText && cell->empty());
        return empty ? std::string("...") : *cell;
    });
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

struct Outcome {
    bool ok;
    std::string message;
};

Outcome RunParser(const std::string& file, int mode, std::unique_ptr<CAttributeList>& list)
{
    CBpacValuesParser parser(file, mode);
    Outcome outcome;
    outcome.ok = test::RunParser(parser, list, outcome.message);
    return outcome;
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
    const std::string input = ReadBytes(CaseFile(".in"));
    dir.Write(kFileName, input);
    const bool hasTable = std::filesystem::exists(CaseFile(".table"));
    const bool hasError = std::filesystem::exists(CaseFile(".error"));
    const bool hasOut = std::filesystem::exists(CaseFile(".out"));
    ASSERT_TRUE(hasTable != hasError) << "a case expects a table or an error";

    std::unique_ptr<CAttributeList> table;
    const Outcome read = RunParser(kFileName, kRead, table);
    if (hasTable) {
        ASSERT_TRUE(read.ok) << Shown(read.message);
        EXPECT_EQ(Dump(*table), ReadBytes(CaseFile(".table")));
    } else {
        EXPECT_FALSE(read.ok);
        EXPECT_EQ(table, nullptr);
        EXPECT_EQ(Shown(read.message), ReadBytes(CaseFile(".error")));
    }
    if (!hasOut)
        return;

    const bool givenCells = std::filesystem::exists(CaseFile(".cells"));
    std::unique_ptr<CAttributeList> update =
        givenCells ? ParseTable(ReadBytes(CaseFile(".cells"))) : std::move(table);
    ASSERT_NE(update, nullptr);
    const std::string expectedTable = Dump(*update, true);
    const Outcome written = RunParser(kFileName, kUpdate, update);
    ASSERT_TRUE(written.ok) << Shown(written.message);
    const std::string output = dir.Read(kFileName);
    EXPECT_EQ(output, ReadBytes(CaseFile(".out")));
    EXPECT_EQ(dir.Read("values.BAK"), input);

    // What was written reads back, and writing it again changes nothing.
    std::unique_ptr<CAttributeList> again;
    ASSERT_TRUE(RunParser(kFileName, kRead, again).ok);
    if (std::filesystem::exists(CaseFile(".readback"))) {
        EXPECT_EQ(Dump(*again), ReadBytes(CaseFile(".readback")));
    } else {
        EXPECT_EQ(Dump(*again, true), expectedTable);
    }
    ASSERT_TRUE(RunParser(kFileName, kUpdate, again).ok);
    EXPECT_EQ(dir.Read(kFileName), output);
}

INSTANTIATE_TEST_SUITE_P(Cases, BpacGolden, ::testing::ValuesIn(CaseNames("bpac", ".in")),
                         CaseTestName);

}  // namespace

namespace {

// Reads `content` as a values file; the table, or null with `message` set.
std::unique_ptr<CAttributeList> ReadTable(TempDir& dir, const std::string& content,
                                          std::string* message = nullptr)
{
    dir.Write(kFileName, content);
    std::unique_ptr<CAttributeList> table;
    const Outcome outcome = RunParser(kFileName, kRead, table);
    if (message)
        *message = Shown(outcome.message);
    return table;
}

std::string Cell(const CAttributeList& table, int row, int column)
{
    const std::string* cell = table.GetAttribute(row, column);
    return cell ? *cell : "<none>";
}

const std::string kBlock = "{ Values\n( No :L Speed )\n  #1      5\n}\n";

TEST(BpacValues, UpdateKeepsTheLinesAfterTheValuesBlock)
{
    TempDir dir;
    const std::string before = "; first\tline \xe4\nPUMP.DPE\r\n";
    const std::string after = "} ; not the block's\n\tEND\r\n" + std::string(1500, 'z') + "\nlast";
    auto table = ReadTable(dir, before + kBlock + after);
    ASSERT_NE(table, nullptr);
    table->SetAttribute(2 * 3 + 1, "42");
    ASSERT_TRUE(RunParser(kFileName, kUpdate, table).ok);
    const std::string output = dir.Read(kFileName);
    EXPECT_EQ(output,
              before + "{ Values \n\n( No     :L Speed) \n\n  #1           42\n\n}\n" + after);
}

TEST(BpacValues, ACommentThatMentionsTheBlockIsCopiedNotTakenForIt)
{
    TempDir dir;
    const std::string before = "; the { Values block follows\n";
    auto table = ReadTable(dir, before + kBlock);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(Cell(*table, 2, 1), "5");
    ASSERT_TRUE(RunParser(kFileName, kUpdate, table).ok);
    EXPECT_EQ(dir.Read(kFileName).substr(0, before.size() + 9), before + "{ Values ");
}

TEST(BpacValues, FailedUpdateLeavesTheFileAsItWasAndNoTemporaryFile)
{
    for (const std::string content : {"no block\n{ Params\n}\n", "{ Valuesx\n( No :L A )\n}\n"}) {
        TempDir dir;
        dir.Write(kFileName, content);
        auto table = ReadTable(dir, kBlock);
        ASSERT_NE(table, nullptr);
        dir.Write(kFileName, content);
        const Outcome outcome = RunParser(kFileName, kUpdate, table);
        EXPECT_FALSE(outcome.ok);
        EXPECT_EQ(outcome.message.rfind(std::string(kFileName) + "\x1a", 0), 0u)
            << "the message starts with the file name";
        EXPECT_EQ(dir.Read(kFileName), content);
        EXPECT_EQ(dir.Files(), std::vector<std::string>{kFileName});
    }
}

// A table whose header could not be read back (a type letter left empty or
// not one of L, X, I, R; no value column at all) does not replace the block.
TEST(BpacValues, UpdateWithAHeaderThatWouldNotReadBackLeavesTheFileAsItWas)
{
    const std::string content = "head\n{ Values\n( No :L A )\n  #1     5\n}\n";
    const struct {
        const char* cells;
        const char* message;
    } cases[] = {
        {"No|...|\nNo|A|\n1|5|\n", "values.bpe|L, X, I, R |?|3|"},
        {"No|Q|L|\nNo|A|B|\n1|5|6|\n", "values.bpe|L, X, I, R |Q|3|"},
        {"No|LX|\nNo|A|\n", "values.bpe|L, X, I, R |LX|3|"},
        {"No|\nNo|\n", "values.bpe|: ||3|"},
    };
    for (const auto& c : cases) {
        TempDir dir;
        dir.Write(kFileName, content);
        auto table = ParseTable(c.cells);
        const Outcome outcome = RunParser(kFileName, kUpdate, table);
        EXPECT_FALSE(outcome.ok) << c.cells;
        EXPECT_EQ(Shown(outcome.message), c.message);
        EXPECT_EQ(dir.Read(kFileName), content);
        EXPECT_EQ(dir.Files(), std::vector<std::string>{kFileName});
    }
}

TEST(BpacValues, CommentsLoseOneLeadingBlankAndSurviveUpdates)
{
    TempDir dir;
    auto table = ReadTable(dir, "{ Values\n( No :L A ) ;  header\n  #1  5 ;row\n  #2  6 ; x \n}\n");
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(Cell(*table, 0, 2), " header");
    EXPECT_EQ(Cell(*table, 2, 2), "row");
    EXPECT_EQ(Cell(*table, 3, 2), "x ");
    table->SetAttribute(3 * 3 + 2, "two\r\nlines  ");
    ASSERT_TRUE(RunParser(kFileName, kUpdate, table).ok);
    EXPECT_EQ(dir.Read(kFileName),
              "{ Values \n\n( No     :L A) ;  header\n\n"
              "  #1        5  ; row\n  #2        6  ; two  lines\n\n}\n");
    auto again = ReadTable(dir, dir.Read(kFileName));
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(Cell(*again, 0, 2), " header");
    EXPECT_EQ(Cell(*again, 3, 2), "two  lines");
}

TEST(BpacValues, MissingCommentIsEmptyTextAndALineWithoutHashHasNoIdentifier)
{
    TempDir dir;
    auto table = ReadTable(dir, "{ Values\n( No :L A :L B )\n        1  2 3 4\n}\n");
    ASSERT_NE(table, nullptr);
    ASSERT_EQ(table->rows, 3u);
    ASSERT_EQ(table->columns, 4u);
    EXPECT_EQ(Cell(*table, 0, 3), "");
    EXPECT_EQ(Cell(*table, 1, 3), "");
    EXPECT_EQ(Cell(*table, 2, 0), kEmptyCell);
    EXPECT_EQ(Cell(*table, 2, 1), "1");
    EXPECT_EQ(Cell(*table, 2, 2), "2");
    EXPECT_EQ(Cell(*table, 2, 3), "");  // the words beyond the last column are not kept
}

TEST(BpacValues, TabsCountToTheNextTabStopButTheFirstLineKeepsItsTabs)
{
    TempDir dir;
    // Header: ":" at 8 and 16, ")" at 24.
    auto table = ReadTable(dir, "{\tValues\n(\t:L A\t:L B\t)\n\t  1\t  2\n\t\t  3\n}\n");
    ASSERT_NE(table, nullptr);
    ASSERT_EQ(table->rows, 4u);
    EXPECT_EQ(Cell(*table, 2, 1), "1");
    EXPECT_EQ(Cell(*table, 2, 2), "2");
    EXPECT_EQ(Cell(*table, 3, 1), "");
    EXPECT_EQ(Cell(*table, 3, 2), "3");
    ASSERT_TRUE(RunParser(kFileName, kUpdate, table).ok);
    EXPECT_EQ(dir.Read(kFileName),
              "{ Values \n\n( No     :L A:L B) \n\n            1   2\n"
              "                3\n\n}\n");
}

TEST(BpacValues, AWiderValueWidensItsColumnAndReadsBack)
{
    TempDir dir;
    auto table = ReadTable(dir, kBlock);
    ASSERT_NE(table, nullptr);
    table->SetAttribute(2 * 3 + 1, "1234567890.5");
    ASSERT_TRUE(RunParser(kFileName, kUpdate, table).ok);
    EXPECT_EQ(dir.Read(kFileName),
              "{ Values \n\n( No     :L Speed     ) \n\n  #1      1234567890.5\n\n}\n");
    auto again = ReadTable(dir, dir.Read(kFileName));
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(Cell(*again, 2, 1), "1234567890.5");
}

TEST(BpacValues, AValueCannotEndTheBlockOrStartAComment)
{
    TempDir dir;
    const std::string after = "after\n";
    auto table = ReadTable(dir, kBlock + after);
    ASSERT_NE(table, nullptr);
    table->SetAttribute(2 * 3 + 0, kEmptyCell);
    table->SetAttribute(2 * 3 + 1, "}\n5;");
    ASSERT_TRUE(RunParser(kFileName, kUpdate, table).ok);
    ASSERT_TRUE(RunParser(kFileName, kUpdate, table).ok);
    const std::string output = dir.Read(kFileName);
    EXPECT_EQ(output, "{ Values \n\n( No     :L Speed) \n\n               5 \n\n}\n" + after);
}

}  // namespace

namespace {

TEST(BpacValues, EveryValueReadsBackInItsColumnWhateverTheIdentifier)
{
    TempDir dir;
    dir.Write(kFileName, "{ Values\n}\n");
    auto table =
        ParseTable("No|L|L|\nNo|A|B|\n|5|6|\n   |7|8|\na b|9|10|\n...|#1|11|\n...||(12)|\n");
    ASSERT_TRUE(RunParser(kFileName, kUpdate, table).ok);
    auto again = ReadTable(dir, dir.Read(kFileName));
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(Dump(*again),
              "No|L|L|\nNo|A|B|\n...|5|6|\n...|7|8|\na_b|9|10|\n...|_1|11|\n"
              "...||_12)|\n");
}

}  // namespace
