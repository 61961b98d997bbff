#include "sections/TextStringsParser.h"

#include <gtest/gtest.h>

#include "SectionTestSupport.h"
#include "textfile/Charset.h"

using namespace tolvik;
using namespace tolvik::test;

namespace {

class TextStringsFile : public ::testing::TestWithParam<std::string> {};
TEST_P(TextStringsFile, Case)
{
    RunCase<CTextStringsParser>("strings", GetParam());
}
INSTANTIATE_TEST_SUITE_P(Strings, TextStringsFile, ::testing::ValuesIn(CaseNames("strings")),
                         CaseTestName);

TEST(TextStrings, AStoredTextStubReadsBackIntoTheRowsThatWroteIt)
{
    ExpectStubCycle(RenderTextStub, ReadTextStub, "A|0|W|x|c\nB( 2 )|1|...|...|\nC|4|...|it's|\n",
                    "{Strings\n  $ A:W             = \"x\"   ; c\n  $ B( 2 )\n"
                    "  $ C               = \"it's\"\n}\n",
                    "{Strings\n}\n");
}

TEST(TextStrings, ABareEmbeddedTextIsFramedBeforeItIsRead)
{
    EXPECT_EQ(WrapTextStub("  $ A\n"), "{Strings\n  $ A\n\n}");
    EXPECT_EQ(WrapTextStub("  {strings\n  $ A\n}\n"), "  {strings\n  $ A\n}\n");
    std::unique_ptr<CAttributeList> read;
    std::string message;
    ASSERT_TRUE(ReadTextStub("  $ A = \"x\"\n  $ B", read, message));
    EXPECT_EQ(Dump(read.get()), "A|0|...|x|\nB|1|...|...|\n");
    // Lines count from the frame's header line; a text in memory has no
    // file name in front of its message.
    EXPECT_FALSE(ReadTextStub("  $ A\n  $ B C\n", read, message));
    EXPECT_EQ(Visible(message), "|Comment, Newline|C|3|");
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
    const struct {
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
    for (const auto& c : cases)
        EXPECT_EQ(WildcardMatches(c.pattern, c.name), c.matches) << c.name << " ~ " << c.pattern;
}

}  // namespace

namespace {

TEST(TextStrings, StringsPastAFullTableNeverOverwriteTheLastRowKept)
{
    std::string text = "{Strings\n";
    for (int i = 0; i < 20002; ++i)
        text += "  $ S" + std::to_string(i) + " = \"v" + std::to_string(i) + "\"\n";
    text += "}\n";
    std::unique_ptr<CAttributeList> read;
    std::string message;
    bool ok = false;
    std::size_t boxes = 0;
    {
        ShownBoxes shown;
        ok = ReadTextStub(text, read, message);
        boxes = ShownBoxes::List().size();
    }
    ASSERT_TRUE(ok) << Visible(message);
    ASSERT_EQ(read->rows, 20000u);
    EXPECT_EQ(*read->GetAttribute(19999, 0), "S19999");
    EXPECT_EQ(*read->GetAttribute(19999, 3), "v19999");
    EXPECT_EQ(boxes, 2u * 5u);  // one box per refused cell
}

}  // namespace
