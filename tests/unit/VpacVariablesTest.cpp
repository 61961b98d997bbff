#include "sections/VpacVariablesParser.h"

#include <gtest/gtest.h>

#include "SectionTestSupport.h"

using namespace tolvik;
using namespace tolvik::test;

namespace {

RunResult ReadMemory(const std::string& text, const std::string& start = "",
                     const std::string& end = "")
{
    return Read<CVpacVariablesParser>(text, true, start, end);
}

TEST(VpacVariables, WritePlacementCases)
{
    RunWriteCases<CVpacVariablesParser>("vars");
}

TEST(VpacVariables, AddressesAdvanceByTheUnitOfTheType)
{
    const RunResult result = ReadMemory(
        "{ Variables\n  R A\n  I B[3]\n  L C\n  X D\n  r E(1)\n  i F\n  x G\n  l H\n  R LAST\n}\n");
    ASSERT_TRUE(result.ok) << result.message;
    EXPECT_EQ(Dump(result.table.get()),
              "R|A|0|...|\nI|B( 3 )|3|...|\nL|C|11|...|\nX|D|12|...|\n"
              "r|E( 1 )|13|...|\ni|F|19|...|\nx|G|21|...|\nl|H|22|...|\nR|LAST|23|...|\n");
    EXPECT_EQ(CVpacVariablesParser::UnitOf("$"), 0);
    EXPECT_EQ(CVpacVariablesParser::UnitOf("RR"), 0);
}

TEST(VpacVariables, ValuesCommentsAndTheOptionalEquals)
{
    const RunResult result = ReadMemory(
        "{ Variables\n"
        "  I LIST(2) = 1,2,3 ;  three\n"
        "  X FLAG 0\n"
        "  R SPLIT = 1 ,\t2\n"
        "; a comment line\n"
        "\n"
        "  L NONE =\n"
        "}\n");
    ASSERT_TRUE(result.ok) << result.message;
    EXPECT_EQ(Dump(result.table.get()),
              "I|LIST( 2 )|0|1, 2, 3| three\nX|FLAG|6|0|\nR|SPLIT|7|1, 2|\nL|NONE|10|...|\n");
}

TEST(VpacVariables, ErrorTextsNameWhatWasExpectedTheTokenAndTheLine)
{
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"{ Variables\n  R A\n  $ S = \"s\"\n}\n", "|$, Comment, Newline|$|3|"},
        {"{ Variables\n  COUNT = 1\n}\n", "|$, Comment, Newline|COUNT|2|"},
        {"{ Variables\n  R = 1\n}\n", "|Identifier|=|2|"},
        {"{ Variables\n  R A[\n}\n", "|Index Identifier|\n|3|"},
        {"{ Variables\n  R A(3 = 1\n}\n", "|], )|=|2|"},
        {"{ Variables\n  R A = 1, ; c\n}\n", "|, Identifier| c|2|"},
        {"{ Variables\n  R A = 1 2\n}\n", "|Comment, Newline|2|2|"},
        {"{ Variables\n  R A ; c", "|NEWLINE||2|"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const RunResult result = ReadMemory(c.text);
        EXPECT_FALSE(result.ok);
        EXPECT_EQ(result.message, c.message);
        EXPECT_EQ(result.table, nullptr);
    }
}

TEST(VpacVariables, RegionByNamesTakesTypeLettersNotDollar)
{
    const RunResult byName = ReadMemory("{ Variables\n  R A\n  i B\n  X C\n  L D\n}\n", "b", "C");
    ASSERT_TRUE(byName.ok) << byName.message;
    EXPECT_EQ(Dump(byName.table.get()), "i|B|0|...|\nX|C|2|...|\n");
    EXPECT_EQ(ReadMemory("{ Variables\n  $ B\n}\n", "B").message, "|B||4|");
}

TEST(VpacVariables, ReadWriteAndReadBackGiveTheSameTableWithAddressesRecomputed)
{
    TempDir dir;
    const std::string file =
        dir.Write("V.TXT", "{ Variables\n  R A = 1.5 ; speed\n  I B(3) = 1,2\n  X C\n}\n");
    RunResult first = Read<CVpacVariablesParser>(file, false);
    ASSERT_TRUE(first.ok) << first.message;
    const std::string dump = Dump(first.table.get());
    ASSERT_TRUE(Write<CVpacVariablesParser>(file, dump).ok);
    EXPECT_EQ(
        dir.Read("V.TXT"),
        "{ Variables\n  R A               = 1.5   ; speed\n  I B( 3 )          = 1, 2\n  X C\n}\n");
    EXPECT_EQ(Dump(Read<CVpacVariablesParser>(file, false).table.get()), dump);

    // A new type moves the address of every variable after it; the address
    // cell itself is never written.
    ASSERT_TRUE(Write<CVpacVariablesParser>(file, "X|A|99|1|\nI|B( 3 )|99|...|\nX|C|99|...|\n").ok);
    EXPECT_EQ(Dump(Read<CVpacVariablesParser>(file, false).table.get()),
              "X|A|0|1|\nI|B( 3 )|1|...|\nX|C|9|...|\n");
}

TEST(VpacVariables, ARowThatWouldNotReadBackFailsTheWrite)
{
    const struct {
        const char* rows;
        const char* message;  // after the file name
    } cases[] = {
        {"...|A|0|...|\n", "|$, Comment, Newline|...|2|"},
        {"$|A|0|...|\n", "|$, Comment, Newline|$|2|"},
        {"R|A|0|1 2|\n", "|Comment, Newline|2|2|"},
        {"R|A|0|1,|\n", "|, Identifier|\n|2|"},
        {"R|A;B|0|...|\n", "|Comment, Newline|A;B|2|"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rows);
        TempDir dir;
        const std::string file = dir.Write("V.TXT", "{ Variables\n}\n");
        const RunResult result = Write<CVpacVariablesParser>(file, c.rows);
        EXPECT_FALSE(result.ok);
        EXPECT_EQ(result.message, file + c.message);
        EXPECT_EQ(dir.Read("V.TXT"), "{ Variables\n}\n");
    }
    // Values without blanks and an empty value read back as the same row.
    TempDir dir;
    const std::string file = dir.Write("V.TXT", "{ Variables\n}\n");
    ASSERT_TRUE(Write<CVpacVariablesParser>(file, "R|A|0|1,2|\nX|B|3||\n").ok);
    EXPECT_EQ(dir.Read("V.TXT"),
              "{ Variables\n  R A               = 1,2\n  X B               = \n}\n");
}

TEST(VpacVariables, WritingWithAnEmptyEndNameKeepsEverythingAfterTheSection)
{
    TempDir dir;
    const std::string file =
        dir.Write("V.TXT", "{ Variables\n  R A\n} ; end\n; after\n  R NOT_MINE\n");
    ASSERT_TRUE(Write<CVpacVariablesParser>(file, "L|B|0|...|\n").ok);
    EXPECT_EQ(dir.Read("V.TXT"), "{ Variables\n  L B\n} ; end\n; after\n  R NOT_MINE\n");
}

TEST(VpacVariables, AStoredVpacStubReadsBackIntoTheRowsThatWroteIt)
{
    const std::string rows = "R|A|0|1.5|c\nI|B( 3 )|3|1, 2|\nx|C|11|...|\n";
    std::unique_ptr<CAttributeList> table = TableFrom(rows);
    std::string stored;
    std::string message;
    ASSERT_TRUE(RenderVpacStub(table, stored, message)) << Visible(message);
    EXPECT_EQ(
        stored,
        "{Variables\n  R A               = 1.5   ; c\n  I B( 3 )          = 1, 2\n  x C\n}\n");
    for (int cycle = 0; cycle < 3; ++cycle) {
        std::unique_ptr<CAttributeList> read;
        ASSERT_TRUE(ReadVpacStub(stored, read, message)) << Visible(message);
        EXPECT_EQ(Dump(read.get()), rows);
        std::string again;
        ASSERT_TRUE(RenderVpacStub(read, again, message));
        EXPECT_EQ(again, stored) << "cycle " << cycle;
    }
}

TEST(VpacVariables, ABareEmbeddedTextIsFramedBeforeItIsRead)
{
    EXPECT_EQ(WrapVpacStub("  R A\n"), "{ Variables \n  R A\n\n}");
    EXPECT_EQ(WrapVpacStub("{Variables\n  R A\n}\n"), "{Variables\n  R A\n}\n");
    std::unique_ptr<CAttributeList> read;
    std::string message;
    ASSERT_TRUE(ReadVpacStub("  R A\n  I B", read, message)) << Visible(message);
    EXPECT_EQ(Dump(read.get()), "R|A|0|...|\nI|B|3|...|\n");

    auto empty = TableFrom("");
    std::string text;
    ASSERT_TRUE(RenderVpacStub(empty, text, message));
    EXPECT_EQ(text, "{Variables\n}\n");
}

}  // namespace
