// Task stubs: the "Code" section read into four columns and updated from
// them, driven by the golden cases in tests/data/taskstub. NAME.stub is the
// stored section text; reading gives NAME.table (cells joined by "|", the
// empty cell as "...") or NAME.error (the message, "|" for each separator);
// NAME.edits (SET row col text, ADD a|b|c|d, DEL row) changes the table read
// and NAME.out is the text the update stores.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <vector>

#include "TestSupport.h"
#include "sections/TaskStubParser.h"
#include "textfile/Charset.h"

namespace tolvik::test {
namespace {

std::string Wrapped(const std::string& stored)
{
    return "{ Code \n" + stored + "\n}";
}

std::string Shown(const std::string& cell)
{
    return cell == kEmptyCell ? "..." : cell;
}
std::string Stored(const std::string& text)
{
    return text == "..." ? kEmptyCell : text;
}

std::string Dump(const CAttributeList& list)
{
    return DumpTable(&list, [](const std::string* cell) { return Shown(*cell); });
}

struct Outcome {
    bool ok = false;
    std::string message;
    std::unique_ptr<CAttributeList> list;
    std::string output;
};

Outcome ReadStub(const std::string& stored)
{
    Outcome outcome;
    CTaskStubParser parser(Wrapped(stored), true, "", "", kRead);
    outcome.ok = RunParser(parser, outcome.list, outcome.message);
    return outcome;
}

Outcome UpdateStub(const std::string& stored, std::unique_ptr<CAttributeList> list)
{
    Outcome outcome;
    outcome.list = std::move(list);
    CTaskStubParser parser(Wrapped(stored), true, "", "", kUpdate);
    outcome.ok = RunParser(parser, outcome.list, outcome.message);
    outcome.output = parser.outputText;
    return outcome;
}

void ApplyEdits(CAttributeList& list, const std::string& edits)
{
    std::istringstream lines(edits);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.rfind("SET ", 0) == 0) {
            std::istringstream words(line.substr(4));
            std::uint32_t row = 0, col = 0;
            words >> row >> col;
            words.get();
            std::string text;
            std::getline(words, text);
            list.SetAttribute(row * list.columns + col, Stored(text));
        } else if (line.rfind("ADD ", 0) == 0) {
            std::istringstream cells(line.substr(4));
            std::string cell;
            while (std::getline(cells, cell, '|'))
                list.AddAttribute(Stored(cell));
            ++list.rows;
        } else if (line.rfind("DEL ", 0) == 0) {
            list.RemoveRow(static_cast<std::uint32_t>(std::stoul(line.substr(4))));
        }
    }
}

class TaskStubRead : public ::testing::TestWithParam<const char*> {};

TEST_P(TaskStubRead, GivesTheTableOrTheError)
{
    const std::string name = GetParam();
    Outcome outcome = ReadStub(TestData("taskstub/" + name + ".stub"));
    const std::string error = TestData("taskstub/" + name + ".error");
    if (!error.empty()) {
        EXPECT_FALSE(outcome.ok);
        EXPECT_EQ(outcome.list, nullptr);
        EXPECT_EQ(Visible(outcome.message) + "\n", error);
    } else {
        ASSERT_TRUE(outcome.ok) << Visible(outcome.message);
        EXPECT_EQ(outcome.list->columns, 4u);
        EXPECT_EQ(Dump(*outcome.list), TestData("taskstub/" + name + ".table"));
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, TaskStubRead,
                         ::testing::Values("read_declarations", "read_error_not_a_type",
                                           "read_error_no_name", "read_error_no_size",
                                           "read_error_size_not_closed", "read_error_no_equals",
                                           "read_error_comma_without_value",
                                           "read_error_comma_after_value"),
                         [](const auto& info) { return std::string(info.param); });

class TaskStubUpdate : public ::testing::TestWithParam<const char*> {};

TEST_P(TaskStubUpdate, StoresTheExpectedText)
{
    const std::string name = GetParam();
    const std::string stored = TestData("taskstub/" + name + ".stub");
    Outcome read = ReadStub(stored);
    ASSERT_TRUE(read.ok) << Visible(read.message);
    ApplyEdits(*read.list, TestData("taskstub/" + name + ".edits"));
    Outcome update = UpdateStub(stored, std::move(read.list));
    ASSERT_TRUE(update.ok) << Visible(update.message);
    EXPECT_EQ(update.output, TestData("taskstub/" + name + ".out"));

    // What was stored reads back; closing it with the unchanged table stores
    // it again (once the lines the table did not hold are in the table's form).
    std::string text = update.output;
    std::vector<std::string> cycles;
    for (int i = 0; i < 2; ++i) {
        Outcome again = ReadStub(text);
        ASSERT_TRUE(again.ok) << Visible(again.message);
        Outcome cycle = UpdateStub(text, std::move(again.list));
        ASSERT_TRUE(cycle.ok);
        cycles.push_back(text = cycle.output);
    }
    EXPECT_EQ(cycles[1], cycles[0]);
    if (TestData("taskstub/" + name + ".edits").find("DEL") == std::string::npos) {
        EXPECT_EQ(cycles[0], update.output);
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, TaskStubUpdate,
                         ::testing::Values("update_unchanged_is_stable", "update_changed_cell",
                                           "update_empty_value_removes_declaration",
                                           "update_unknown_declaration_kept_as_is",
                                           "update_new_rows_follow_the_section",
                                           "update_normalises_matched_lines",
                                           "update_value_that_is_not_one_word",
                                           "update_section_stopped_early_keeps_the_rest"),
                         [](const auto& info) { return std::string(info.param); });

TEST(TaskStub, ArrayRowIsWrittenOnceAtItsOwnLine)
{
    Outcome read = ReadStub("I TABLE(3) = 1\nR B = 2\n");
    ASSERT_TRUE(read.ok);
    Outcome update = UpdateStub("I TABLE(3) = 1\nR B = 2\n", std::move(read.list));
    ASSERT_TRUE(update.ok);
    EXPECT_EQ(update.output, "  I TABLE( 3 )      = 1\n  R B               = 2\n");
    EXPECT_EQ(update.list->rows, 0u);  // every row found its line
}

TEST(TaskStub, ArrayRowMatchesItsLineWhateverSizeSpellingTheHostGaveIt)
{
    for (const char* name : {"TABLE[3]", "TABLE (3)", "TABLE [ 3 ]"}) {
        Outcome read = ReadStub("I TABLE(3) = 1\n");
        ASSERT_TRUE(read.ok);
        read.list->SetAttribute(1, name);
        Outcome update = UpdateStub("I TABLE(3) = 1\n", std::move(read.list));
        ASSERT_TRUE(update.ok) << Visible(update.message);
        EXPECT_EQ(update.output, "  I " + std::string(name) +
                                     std::string(16 - std::string(name).size(), ' ') + "= 1\n");
    }
}

TEST(TaskStub, ValuesJoinedByCommaReadBackAsTheSameList)
{
    Outcome read = ReadStub("R A = 1\n$ S = x\n");
    ASSERT_TRUE(read.ok);
    read.list->SetAttribute(2, "1, 2, 3");
    read.list->SetAttribute(6, "a, b");
    Outcome update = UpdateStub("R A = 1\n$ S = x\n", std::move(read.list));
    ASSERT_TRUE(update.ok);
    EXPECT_EQ(update.output, "  R A               = 1 , 2 , 3\n  $ S               = \"a, b\"\n");
    Outcome again = ReadStub(update.output);
    ASSERT_TRUE(again.ok);
    EXPECT_EQ(*again.list->GetAttribute(0, 2), "1, 2, 3");
    EXPECT_EQ(*again.list->GetAttribute(1, 2), "a, b");
}

TEST(TaskStub, DeclarationWithoutValueSurvivesAnUnchangedCycleButGoesWhenItsValueIsEmptied)
{
    const std::string stored = "R A =\nR B = 2 ; two\nR C = ; none yet\n";
    Outcome read = ReadStub(stored);
    ASSERT_TRUE(read.ok);
    ASSERT_EQ(read.list->rows, 3u);
    Outcome update = UpdateStub(stored, std::move(read.list));
    ASSERT_TRUE(update.ok);
    Outcome again = ReadStub(update.output);
    ASSERT_TRUE(again.ok);
    EXPECT_EQ(again.list->rows, 3u);
    EXPECT_EQ(UpdateStub(update.output, std::move(again.list)).output, update.output);

    Outcome emptied = ReadStub(stored);
    emptied.list->SetAttribute(1 * 4 + 2, kEmptyCell);  // B's value
    Outcome removed = UpdateStub(stored, std::move(emptied.list));
    ASSERT_TRUE(removed.ok);
    EXPECT_EQ(removed.output.find(" B "), std::string::npos) << removed.output;
}

TEST(TaskStub, RowThatWouldNotReadBackFailsTheUpdate)
{
    // The cell changed in row 0 of "R A = 1 ; one", and what a read of the
    // written section would have reported: the update fails instead of
    // storing a section that no longer reads.
    struct Case {
        std::uint32_t column;
        const char* cell;
        const char* message;
    };
    const Case cases[] = {
        {0, "Q", "|Type, Comment, Newline|Q|2|"},
        {0, "...", "|Type, Comment, Newline|...|2|"},
        {3, "one\nR B = 2", "|Comment, Newline|A|2|"},  // reads as two rows
        {2, "'a\"b'", "|Comment, Newline|a|2|"},
        {1, "A B", "|=|B|4|"},
        {1, "A(3", "|], )|=|2|"},
    };
    const std::string stored = "R A = 1 ; one\n";
    for (const Case& c : cases) {
        Outcome read = ReadStub(stored);
        ASSERT_TRUE(read.ok);
        read.list->SetAttribute(c.column, Stored(c.cell));
        Outcome update = UpdateStub(stored, std::move(read.list));
        EXPECT_FALSE(update.ok) << c.cell << ": " << update.output;
        EXPECT_EQ(Visible(update.message), c.message) << c.cell;
    }
    // Spellings that read back as the same row are written.
    for (const Case& c : {Case{1, "A [3]", ""}, Case{3, "one  \r\n", ""}, Case{2, "x y", ""}}) {
        Outcome read = ReadStub(stored);
        read.list->SetAttribute(c.column, c.cell);
        Outcome update = UpdateStub(stored, std::move(read.list));
        EXPECT_TRUE(update.ok) << c.cell << ": " << Visible(update.message);
    }
}

TEST(TaskStub, StoredTextHoldsNeitherTheHeaderNorTheClosingBrace)
{
    // Empty lines of the section stay; the wrapper adds none.
    for (const std::string stored : {"", "\n", "; only a comment\n\n\n"}) {
        Outcome read = ReadStub(stored);
        ASSERT_TRUE(read.ok);
        EXPECT_EQ(read.list->rows, 0u);
        Outcome update = UpdateStub(stored, std::move(read.list));
        ASSERT_TRUE(update.ok);
        EXPECT_EQ(update.output, stored);
    }
}

TEST(TaskStub, MissingSectionHeaderIsAnError)
{
    CTaskStubParser parser("R A = 1\n", true, "", "", kRead);
    std::unique_ptr<CAttributeList> list;
    std::string message;
    EXPECT_FALSE(RunParser(parser, list, message));
    EXPECT_EQ(Visible(message), "|||2|");
}

TEST(TaskStub, RegionFromAStartNameToTheLastMatchOfAnEndPattern)
{
    const std::string text = "{ Code\nR A = 1\nR B1 = 2\nR C = 3\nR B2 = 4\nR D = 5\n}";
    CTaskStubParser parser(text, true, "b1", "B*", kRead);
    std::unique_ptr<CAttributeList> list;
    std::string message;
    ASSERT_TRUE(RunParser(parser, list, message)) << Visible(message);
    EXPECT_EQ(Dump(*list), "R|B1|2|\nR|C|3|\nR|B2|4|\n");

    CTaskStubParser missing(text, true, "A", "Z*", kRead);
    EXPECT_FALSE(RunParser(missing, list, message));
    EXPECT_EQ(Visible(message), "|Z*||7|");  // the "}" line ends the text
}

TEST(TaskStub, NonAsciiTextSurvivesACycleWithCodePageConversion)
{
    ASSERT_TRUE(SetCodePages(850, 1252));
    // The section text arrives as OEM text; the table holds ANSI.
    const std::string stored =
        "; Z\xE4hler\n$ T = \"Gr\xF6\xDF"
        "e\"\n";
    std::string oem = stored;
    AnsiToOem(oem);
    Outcome read;
    {
        CTaskStubParser parser(Wrapped(oem), true, "", "", kRead);
        read.ok = RunParser(parser, read.list, read.message);
    }
    std::string output;
    bool ok = false;
    if (read.ok) {
        EXPECT_EQ(*read.list->GetAttribute(0, 2),
                  "Gr\xF6\xDF"
                  "e");
        CTaskStubParser parser(Wrapped(oem), true, "", "", kUpdate);
        ok = RunParser(parser, read.list, read.message);
        output = parser.outputText;
    }
    OemToAnsi(output);
    SetCodePages(0, 0);
    ASSERT_TRUE(ok);
    EXPECT_EQ(output,
              "; Z\xE4hler\n  $ T               = \"Gr\xF6\xDF"
              "e\"\n");
}

}  // namespace
}  // namespace tolvik::test
