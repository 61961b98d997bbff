#include "sections/TextStringsParser.h"

#include <gtest/gtest.h>

#include "SectionTestSupport.h"
#include "textfile/Charset.h"

using namespace tolvik;
using namespace tolvik::test;

namespace {

RunResult ReadMemory(const std::string& text, const std::string& start = "",
                     const std::string& end = "")
{
    return Read<CTextStringsParser>(text, true, start, end);
}

TEST(TextStrings, WritePlacementCases)
{
    RunWriteCases<CTextStringsParser>("strings");
}

TEST(TextStrings, ReadsEveryPartOfAStringLine)
{
    const RunResult result = ReadMemory(
        "{Strings\n"
        "  $ A                = \"first\" ; one\n"
        "B ;no dollar\n"
        "  $ ARR[5) : MENU = 'x\"y'\n"
        ";  a comment line\n"
        "\n"
        "  $ C =\n"
        "  $ D ( 0 ]\n"
        "}\n"
        "  $ AFTER\n");
    ASSERT_TRUE(result.ok) << result.message;
    EXPECT_EQ(Dump(result.table.get()),
              "A|0|...|first|one\n"
              "B|1|...|...|no dollar\n"
              "ARR( 5 )|2|MENU|x\"y|\n"
              "C|8|...|...|\n"
              "D( 0 )|9|...|...|\n");
    EXPECT_EQ(result.table->columns, 5u);
}

TEST(TextStrings, RegionBetweenAStartAndAnEndName)
{
    const std::string text =
        "{Strings\n  $ A\n  $ B\n  $ C[2]\n  $ D\n  $ E\n}\n{Strings\n  $ D2\n}\n";
    EXPECT_EQ(Dump(ReadMemory(text, "b", "d").table.get()),
              "B|0|...|...|\nC( 2 )|1|...|...|\nD|4|...|...|\n");
    // The last line that matches the pattern ends the region; the "}" still
    // ends the read.
    EXPECT_EQ(Dump(ReadMemory(text, "D", "D*").table.get()), "D|0|...|...|\nE|1|...|...|\n");
    EXPECT_EQ(Dump(ReadMemory(text, "C", "*").table.get()),
              "C( 2 )|0|...|...|\nD|3|...|...|\nE|4|...|...|\n");
}

struct ErrorCase {
    const char* text;
    const char* start;
    const char* end;
    const char* message;  // separators shown as "|"
};

TEST(TextStrings, ErrorTextsNameWhatWasExpectedTheTokenAndTheLine)
{
    const ErrorCase cases[] = {
        {"{Strings\n  $ = \"x\"\n}\n", "", "", "|$, Comment, Newline|=|2|"},
        {"{Strings\n  $ A[ ]\n}\n", "", "", "|Index Identifier|]|2|"},
        {"{Strings\n  $ A[5 = \"x\"\n}\n", "", "", "|], )|=|2|"},
        {"{Strings\n  $ A : = \"x\"\n}\n", "", "", "|Identifier|=|2|"},
        {"{Strings\n  $ A = \"x\" \"y\"\n}\n", "", "", "|Comment, Newline|y|2|"},
        {"{Strings\n  $ A\n}\n", "A", "NOPE", "|NOPE||4|"},
        {"{Strings\n  $ A\n}\n", "NOPE", "NOPE", "|NOPE||4|"},
        {"{Text\n  $ A\n}\n", "", "", "|||4|"},
    };
    for (const ErrorCase& c : cases) {
        SCOPED_TRACE(c.text);
        const RunResult result = ReadMemory(c.text, c.start, c.end);
        EXPECT_FALSE(result.ok);
        EXPECT_EQ(result.message, c.message);
        EXPECT_EQ(result.table, nullptr);
    }
}

TEST(TextStrings, AnErrorAtTheEndOfTheTextIsReportedOnTheLineAfterItsLastLineEnd)
{
    // Without a final line end the end is found on the last line.
    EXPECT_EQ(ReadMemory("{Strings\n  $ A\n  ; last").message, "|NEWLINE||3|");
    EXPECT_EQ(ReadMemory("{Strings\n  $ A\n  $ B").message, "|Comment, Newline||3|");
    EXPECT_EQ(ReadMemory("{Strings\n  $ A\n}", "NOPE").message, "|NOPE||3|");
    EXPECT_EQ(ReadMemory("{Strings\n  $ A\n}\n", "NOPE").message, "|NOPE||4|");
}

TEST(TextStrings, ACommentLosesOneLeadingBlankWhenReadAndKeepsItsTextThroughWrites)
{
    TempDir dir;
    const std::string file =
        dir.Write("S.TXT", "{Strings\n  $ A ;   indented  \n  $ B ;tight\n}\n");
    RunResult first = Read<CTextStringsParser>(file, false);
    EXPECT_EQ(Dump(first.table.get()), "A|0|...|...|  indented  \nB|1|...|...|tight\n");
    ASSERT_TRUE(Write<CTextStringsParser>(file, Dump(first.table.get())).ok);
    EXPECT_EQ(dir.Read("S.TXT"),
              "{Strings\n  $ A                       ;   indented\n  $ B                       ; "
              "tight\n}\n");
    EXPECT_EQ(Dump(Read<CTextStringsParser>(file, false).table.get()),
              "A|0|...|...|  indented\nB|1|...|...|tight\n");
}

TEST(TextStrings, AFileMessageStartsWithTheFileNameAndAMemoryMessageWithTheSeparator)
{
    TempDir dir;
    const std::string file = dir.Write("BAD.TXT", "{Strings\n  $ A B\n}\n");
    EXPECT_EQ(Read<CTextStringsParser>(file, false).message, file + "|Comment, Newline|B|2|");
    EXPECT_EQ(ReadMemory("{Strings\n  $ A B\n}\n").message, "|Comment, Newline|B|2|");
}

TEST(TextStrings, ReadWriteAndReadBackGiveTheSameTableWithIndexesRecomputed)
{
    TempDir dir;
    const std::string original =
        "; package\n{Strings\n  $ A[2]:W = \"a b\" ;  note\n  $ B = 'say \"x\"'\n  $ C\n}\n";
    const std::string file = dir.Write("S.TXT", original);
    RunResult first = Read<CTextStringsParser>(file, false);
    ASSERT_TRUE(first.ok) << first.message;
    const std::string dump = Dump(first.table.get());
    EXPECT_EQ(dump, "A( 2 )|0|W|a b| note\nB|3|...|say \"x\"|\nC|4|...|...|\n");

    ASSERT_TRUE(Write<CTextStringsParser>(file, dump).ok);
    const std::string written = dir.Read("S.TXT");
    EXPECT_EQ(Dump(Read<CTextStringsParser>(file, false).table.get()), dump);
    ASSERT_TRUE(Write<CTextStringsParser>(file, dump).ok);
    EXPECT_EQ(dir.Read("S.TXT"), written) << "a second write changes nothing";

    // A bigger array moves the index of every string after it.
    ASSERT_TRUE(
        Write<CTextStringsParser>(file, "A( 9 )|0|W|a b|\nB|3|...|...|\nC|4|...|...|\n").ok);
    EXPECT_EQ(Dump(Read<CTextStringsParser>(file, false).table.get()),
              "A( 9 )|0|W|a b|\nB|10|...|...|\nC|11|...|...|\n");
}

TEST(TextStrings, ARowWhoseNameIsTheDeletionMarkIsNotWritten)
{
    TempDir dir;
    const std::string file = dir.Write("S.TXT", "{Strings\n  $ A\n}\n");
    ASSERT_TRUE(Write<CTextStringsParser>(file, "<DEL>|0|...|x|\nB|1|...|...|\n").ok);
    EXPECT_EQ(dir.Read("S.TXT"), "{Strings\n  $ B\n}\n");
}

TEST(TextStrings, WritingWithAnEmptyEndNameKeepsEverythingAfterTheSection)
{
    TempDir dir;
    const std::string file = dir.Write("S.TXT",
                                       "{Strings\n  $ A\n}   ; end\r\n{ Code\n  R X = 1\n}\n\x1a"
                                       "after the end mark");
    ASSERT_TRUE(Write<CTextStringsParser>(file, "B|0|...|...|\n").ok);
    EXPECT_EQ(dir.Read("S.TXT"),
              "{Strings\n  $ B\n}   ; end\r\n{ Code\n  R X = 1\n}\n\x1a"
              "after the end mark");
}

TEST(TextStrings, AFailedWriteLeavesTheFileAndNoTemporaryFile)
{
    TempDir dir;
    const std::string original = "{Strings\n  $ A\n}\n";
    const std::string file = dir.Write("S.TXT", original);
    // A comment that holds a line end would write a second line.
    auto table = TableFrom("A|0|...|...|x\n");
    table->SetAttribute(4, "line\nbreak");
    CTextStringsParser parser(file, false, "", "", kWrite);
    std::string message;
    EXPECT_FALSE(parser.Run(table, message));
    EXPECT_EQ(Visible(message), file + "|Comment, Newline|A|2|");
    EXPECT_EQ(table->Count(), 0u) << "the table is emptied";
    EXPECT_EQ(dir.Read("S.TXT"), original);
    EXPECT_EQ(dir.Files(), std::vector<std::string>{"S.TXT"});
}

TEST(TextStrings, ARowThatWouldNotReadBackFailsTheWrite)
{
    const struct {
        const char* rows;
        const char* message;  // after the file name
    } cases[] = {
        {"OK|0|...|...|\nTWO WORDS|1|...|...|\n", "|Comment, Newline|WORDS|3|"},
        {"A;B|0|...|...|\n", "|Comment, Newline|A;B|2|"},
        {"A|0|...|both \" and '|\n", "|Comment, Newline||2|"},
        {"A|0|W X|...|\n", "|Comment, Newline|X|2|"},
        {"|0|...|...|\n", "|$, Comment, Newline|\n|2|"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rows);
        TempDir dir;
        const std::string file = dir.Write("S.TXT", "{Strings\n}\n");
        const RunResult result = Write<CTextStringsParser>(file, c.rows);
        EXPECT_FALSE(result.ok);
        EXPECT_EQ(result.message, file + c.message);
        EXPECT_EQ(dir.Read("S.TXT"), "{Strings\n}\n");
    }
    // What reading spells differently still counts as the same row.
    TempDir dir;
    const std::string file = dir.Write("S.TXT", "{Strings\n}\n");
    ASSERT_TRUE(Write<CTextStringsParser>(file, "A[2]|0||...|\n...|3|...|...|\n").ok);
    EXPECT_EQ(dir.Read("S.TXT"), "{Strings\n  $ A[2]\n  $ ...\n}\n");
}

TEST(TextStrings, AStoredTextStubReadsBackIntoTheRowsThatWroteIt)
{
    std::unique_ptr<CAttributeList> table =
        TableFrom("A|0|W|x|c\nB( 2 )|1|...|...|\nC|4|...|it's|\n");
    std::string stored;
    std::string message;
    ASSERT_TRUE(RenderTextStub(table, stored, message)) << Visible(message);
    EXPECT_EQ(stored,
              "{Strings\n  $ A:W             = \"x\"   ; c\n  $ B( 2 )\n  $ C               = "
              "\"it's\"\n}\n");
    for (int cycle = 0; cycle < 3; ++cycle) {
        std::unique_ptr<CAttributeList> read;
        ASSERT_TRUE(ReadTextStub(stored, read, message)) << Visible(message);
        EXPECT_EQ(Dump(read.get()), "A|0|W|x|c\nB( 2 )|1|...|...|\nC|4|...|it's|\n");
        std::string again;
        ASSERT_TRUE(RenderTextStub(read, again, message));
        EXPECT_EQ(again, stored) << "cycle " << cycle;
    }
}

TEST(TextStrings, ABareEmbeddedTextIsFramedBeforeItIsRead)
{
    EXPECT_EQ(WrapTextStub("  $ A\n"), "{Strings\n  $ A\n\n}");
    EXPECT_EQ(WrapTextStub("  {strings\n  $ A\n}\n"), "  {strings\n  $ A\n}\n");
    EXPECT_EQ(WrapTextStub(""), "{Strings\n\n}");
    std::unique_ptr<CAttributeList> read;
    std::string message;
    ASSERT_TRUE(ReadTextStub("  $ A = \"x\"\n  $ B", read, message));
    EXPECT_EQ(Dump(read.get()), "A|0|...|x|\nB|1|...|...|\n");
    // Lines count from the frame's header line.
    EXPECT_FALSE(ReadTextStub("  $ A\n  $ B C\n", read, message));
    EXPECT_EQ(Visible(message), "|Comment, Newline|C|3|");
}

TEST(TextStrings, AnEmptyTableRendersAnEmptySection)
{
    auto table = TableFrom("");
    std::string text;
    std::string message;
    ASSERT_TRUE(RenderTextStub(table, text, message));
    EXPECT_EQ(text, "{Strings\n}\n");
}

TEST(TextStrings, AStubIsRenderedInTheOemCodePage)
{
    ASSERT_TRUE(SetCodePages(437, 1252));
    auto table = TableFrom(
        "GR\xdc"
        "N|0|...|\xe4|\n");
    std::string text;
    std::string message;
    const bool ok = RenderTextStub(table, text, message);
    std::unique_ptr<CAttributeList> read;
    const bool readOk = ReadTextStub(text, read, message);
    SetCodePages(0, 0);
    ASSERT_TRUE(ok);
    EXPECT_EQ(text, "{Strings\n  $ GR\x9aN            = \"\x84\"\n}\n");
    ASSERT_TRUE(readOk);
    EXPECT_EQ(Dump(read.get()),
              "GR\xdc"
              "N|0|...|\xe4|\n");
}

TEST(NamePattern, WildcardsAndCase)
{
    struct Case {
        const char* name;
        const char* pattern;
        bool matches;
    } cases[] = {
        {"anything", "*", true},    {"", "*", true},
        {"MOTOR1", "mot*", true},   {"MOTOR", "MOTOR*", true},
        {"MOTOR", "MOTOR+", false}, {"MOTOR12", "MOTOR+", true},
        {"AB", "A?", true},         {"A", "A?", false},
        {"AXXBXXC", "A*B*C", true}, {"AXXBXX", "A*B*C", false},
        {"A[1]", "A[1]", false},    {"name", "NAME", true},
    };
    for (const Case& c : cases)
        EXPECT_EQ(MatchesNamePattern(c.name, c.pattern), c.matches) << c.name << " ~ " << c.pattern;
}

}  // namespace
