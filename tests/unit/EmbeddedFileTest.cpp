// Embedded files: reading one out, inserting, replacing and removing, driven by
// the golden cases in tests/data/embedded (NAME.src is the file, NAME.expected
// the text read out or the file afterwards, or "ERROR:" and the message with
// "|" for each separator, the file then unchanged).
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "TestSupport.h"
#include "api/EmbeddedStore.h"
#include "embedded/EmbeddedFileParser.h"

namespace tolvik::test {
namespace {

// The message with the file name as "FILE" and each separator as "|".
std::string Readable(const std::string& message, const std::string& file)
{
    return Visible(FileAsFILE(message, file));
}

enum class Op { kRead, kInsert, kReplace, kRemove };

struct GoldenCase {
    const char* name;
    Op op;
    const char* embedded;
};

constexpr char kPoint[] = "STUBS";

// What a step gave, as these tests look at it.
struct HandlerOutcome {
    HandlerOutcome() = default;
    HandlerOutcome(const Outcome& o)
        : opened(o.ok() || o.diagnostic.message),
          ok(o.ok()),
          code(o.diagnostic.code),
          message(o.diagnostic.MessageText())
    {
    }
    bool opened = false;
    bool ok = false;
    ResultCode code = ResultCode::kOk;
    std::string message;
};

HandlerOutcome ReadText(const std::string& file, const std::string& name,
                        std::unique_ptr<CAttributeList>& list)
{
    Outcome read = ReadEmbeddedText(file, name);
    list = std::move(read.table);
    return read;
}
constexpr char kNewText[] = "line 1\r\nline 2";

class EmbeddedGolden : public ::testing::TestWithParam<GoldenCase> {};

TEST_P(EmbeddedGolden, GivesTheExpectedTextOrFile)
{
    const GoldenCase& c = GetParam();
    TempDir dir;
    const std::string source = TestData("embedded/" + std::string(c.name) + ".src");
    const std::string expected = TestData("embedded/" + std::string(c.name) + ".expected");
    const std::string file = dir.Write("task.tse", source);

    HandlerOutcome outcome;
    std::string result;
    switch (c.op) {
        case Op::kRead: {
            std::unique_ptr<CAttributeList> list;
            outcome = ReadText(file, c.embedded, list);
            if (list)
                result = list->FirstText() + list->SecondText();
            break;
        }
        case Op::kInsert:
        case Op::kReplace:
            outcome = StoreEmbeddedText(file, kPoint, c.embedded,
                                        c.op == Op::kReplace ? "line 1\nline 2\n" : kNewText,
                                        c.op == Op::kReplace);
            result = dir.Read("task.tse");
            break;
        case Op::kRemove: {
            CEmbeddedFileParser remover(file, c.embedded, std::nullopt, std::nullopt, kUpdate);
            remover.SetAction(CEmbeddedFileParser::Action::kRemove);
            std::unique_ptr<CAttributeList> none;
            outcome = RunHandler(remover, none, file);
            result = dir.Read("task.tse");
            break;
        }
    }
    ASSERT_TRUE(outcome.opened);
    if (expected.rfind("ERROR:", 0) == 0) {
        EXPECT_FALSE(outcome.ok);
        EXPECT_EQ(Readable(outcome.message, file) + "\n", expected.substr(6));
        EXPECT_EQ(dir.Read("task.tse"), source);
    } else {
        EXPECT_TRUE(outcome.ok) << Readable(outcome.message, file);
        EXPECT_EQ(result, expected);
    }
    // Nothing is left behind but the file itself and its backup.
    for (const std::string& name : dir.Files())
        EXPECT_TRUE(name == "task.tse" || name == "task.BAK") << name;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, EmbeddedGolden,
    ::testing::Values(GoldenCase{"read_basic", Op::kRead, "LOCALS"},
                      GoldenCase{"read_markers_any_case", Op::kRead, "LOCALS"},
                      GoldenCase{"read_start_marker_after_text", Op::kRead, "A"},
                      GoldenCase{"read_end_marker_must_open_line", Op::kRead, "A"},
                      GoldenCase{"read_other_names_skipped", Op::kRead, "A"},
                      GoldenCase{"read_empty_body", Op::kRead, "A"},
                      GoldenCase{"read_missing_start", Op::kRead, "A"},
                      GoldenCase{"read_missing_start_no_final_line_end", Op::kRead, "A"},
                      GoldenCase{"read_missing_end", Op::kRead, "A"},
                      GoldenCase{"read_end_marker_of_longer_name", Op::kRead, "A"},
                      GoldenCase{"read_end_marker_misspelt", Op::kRead, "A"},
                      GoldenCase{"insert_after_point", Op::kInsert, "NEW"},
                      GoldenCase{"insert_point_after_text_and_any_case", Op::kInsert, "NEW"},
                      GoldenCase{"insert_point_on_last_line_without_line_end", Op::kInsert, "NEW"},
                      GoldenCase{"insert_keeps_crlf_file", Op::kInsert, "NEW"},
                      GoldenCase{"insert_without_point", Op::kInsert, "NEW"},
                      GoldenCase{"insert_existing_without_replace", Op::kInsert, "LOCALS"},
                      GoldenCase{"replace_where_old_began", Op::kReplace, "LOCALS"},
                      GoldenCase{"replace_without_existing_goes_after_point", Op::kReplace,
                                 "LOCALS"},
                      GoldenCase{"replace_missing_end", Op::kReplace, "LOCALS"},
                      GoldenCase{"replace_keeps_text_before_the_marker", Op::kReplace, "LOCALS"},
                      GoldenCase{"remove_block", Op::kRemove, "LOCALS"},
                      GoldenCase{"remove_keeps_text_before_the_marker", Op::kRemove, "LOCALS"},
                      GoldenCase{"remove_block_at_end_without_line_end", Op::kRemove, "LOCALS"},
                      GoldenCase{"remove_missing_end", Op::kRemove, "LOCALS"},
                      GoldenCase{"remove_missing_start", Op::kRemove, "LOCALS"}),
    [](const ::testing::TestParamInfo<GoldenCase>& info) { return std::string(info.param.name); });

TEST(EmbeddedFile, InsertedThenReadGivesTheContentBack)
{
    TempDir dir;
    const std::string file = dir.Write("t.tse", "A\n; EmbeddPoint P\nB\n");
    ASSERT_TRUE(StoreEmbeddedText(file, "P", "X", "one\r\ntwo\r\n", false).ok());
    ASSERT_TRUE(StoreEmbeddedText(file, "P", "Y", "", false).ok());
    std::unique_ptr<CAttributeList> list;
    ASSERT_TRUE(ReadText(file, "X", list).ok);
    EXPECT_EQ(list->FirstText(), "one\ntwo\n");
    // Empty content gets no line of its own.
    EXPECT_EQ(dir.Read("t.tse"),
              "A\n; EmbeddPoint P\n; EmbeddedFileStart  \"Y\"\n; EmbeddedFileEnd  \"Y\"\n"
              "; EmbeddedFileStart  \"X\"\none\ntwo\n; EmbeddedFileEnd  \"X\"\nB\n");
    ASSERT_TRUE(ReadText(file, "Y", list).ok);
    EXPECT_EQ(TextLength(*list), 0u);
}

TEST(EmbeddedFile, ReplacingRewritesTheFileOnceWithTheNewBlockWhereTheOldOneWas)
{
    TempDir dir;
    const std::string original = "A\n; EmbeddedFileStart \"X\"\nold\n; EmbeddedFileEnd \"X\"\nB\n";
    const std::string file = dir.Write("t.tse", original);
    // One handler, one run: the file is replaced once, and its backup is the
    // file as it was before the call.
    CEmbeddedFileParser writer(file, "X", std::string("P"), std::string("new\n"), kUpdate);
    writer.SetAction(CEmbeddedFileParser::Action::kReplace);
    std::unique_ptr<CAttributeList> none;
    std::string message;
    ASSERT_TRUE(RunParser(writer, none, message)) << message;
    EXPECT_EQ(writer.startLine, 2);
    EXPECT_EQ(dir.Read("t.tse"),
              "A\n; EmbeddedFileStart  \"X\"\nnew\n; EmbeddedFileEnd  \"X\"\nB\n");
    EXPECT_EQ(dir.Read("t.BAK"), original);
}

TEST(EmbeddedFile, BlockThatWouldNotReadBackIsNotWritten)
{
    // A name that cannot stand between quotes, or content with a line that a
    // read takes for the end marker, would leave a block that reads back cut
    // short (and that a later replacement would only half remove).
    struct Case {
        const char* name;
        const char* content;
        const char* message;
    };
    const Case cases[] = {
        {"A\"B", "x\n", "FILE|EmbeddedFileStart \"A\"B\"|\"|1|"},
        {"A\nB", "x\n", "FILE|EmbeddedFileStart \"A\nB\"|\n|1|"},
        {"A\x1a"
         "B",
         "x\n", "FILE|EmbeddedFileStart \"A|B\"|||1|"},
        {"X", "a\n; EmbeddedFileEnd \"X\"\nb\n",
         "FILE|EmbeddedFileEnd \"X\"|; EmbeddedFileEnd \"X\"|1|"},
        {"X", "a\r\n  ; embeddedfileend  XY",
         "FILE|EmbeddedFileEnd \"X\"|  ; embeddedfileend  XY|1|"},
    };
    for (const Case& c : cases) {
        for (const bool replace : {false, true}) {
            TempDir dir;
            const std::string original =
                "A\n; EmbeddPoint P\n; EmbeddedFileStart \"Q\"\nold\n; EmbeddedFileEnd \"Q\"\n";
            const std::string file = dir.Write("t.tse", original);
            const HandlerOutcome outcome = StoreEmbeddedText(file, "P", c.name, c.content, replace);
            EXPECT_FALSE(outcome.ok) << c.name;
            EXPECT_EQ(Readable(outcome.message, file), c.message);
            EXPECT_EQ(dir.Read("t.tse"), original);
            EXPECT_EQ(dir.Files(), std::vector<std::string>{"t.tse"});
        }
    }
    // The end marker of another name is ordinary content.
    TempDir dir;
    const std::string file = dir.Write("t.tse", "; EmbeddPoint P\n");
    ASSERT_TRUE(StoreEmbeddedText(file, "P", "X", "; EmbeddedFileEnd \"Y\"\n", true).ok());
    std::unique_ptr<CAttributeList> list;
    ASSERT_TRUE(ReadText(file, "X", list).ok);
    EXPECT_EQ(list->FirstText(), "; EmbeddedFileEnd \"Y\"\n");
}

TEST(EmbeddedFile, InsertAtAStartLinePutsTheBlockBeforeThatLine)
{
    TempDir dir;
    const std::string file = dir.Write("t.tse", "one\ntwo\nthree\n");
    CEmbeddedFileParser writer(file, "X", std::nullopt, std::string("x"), kUpdate);
    writer.SetAction(CEmbeddedFileParser::Action::kInsert, 2);
    std::unique_ptr<CAttributeList> none;
    std::string message;
    ASSERT_TRUE(RunParser(writer, none, message));
    EXPECT_EQ(dir.Read("t.tse"),
              "one\n; EmbeddedFileStart  \"X\"\nx\n; EmbeddedFileEnd  \"X\"\ntwo\nthree\n");
}

// Lines of `length` characters including their line end.
std::string Lines(int count, std::size_t length, char fill)
{
    std::string text;
    for (int i = 0; i < count; ++i)
        text += std::string(length - 1, fill) + "\n";
    return text;
}

TEST(EmbeddedFile, LongTextFillsTwoBlocksAndDropsWhatNeitherHolds)
{
    TempDir dir;
    // 31 lines of 1000 characters fill the first block to 31000; the 32nd
    // line would reach 32000 and opens the second block. 31 more fit there,
    // the rest is dropped without an error.
    const std::string body = Lines(31, 1000, 'a') + Lines(31, 1000, 'b') + Lines(5, 1000, 'c');
    const std::string file =
        dir.Write("t.tse", "; EmbeddedFileStart \"X\"\n" + body + "; EmbeddedFileEnd \"X\"\n");
    std::unique_ptr<CAttributeList> list;
    ASSERT_TRUE(ReadText(file, "X", list).ok);
    EXPECT_EQ(list->FirstText(), Lines(31, 1000, 'a'));
    EXPECT_EQ(list->SecondText(), Lines(31, 1000, 'b'));

    // 999 characters less one: a line that ends the first block just below
    // the limit stays in it.
    const std::string exact = Lines(31, 1000, 'a') + Lines(1, 999, 'd') + "e\n";
    dir.Write("u.tse", "; EmbeddedFileStart \"X\"\n" + exact + "; EmbeddedFileEnd \"X\"\n");
    ASSERT_TRUE(ReadText(dir.Path("u.tse"), "X", list).ok);
    EXPECT_EQ(list->FirstText().size(), 31999u);
    EXPECT_EQ(list->SecondText(), "e\n");
}

TEST(EmbeddedFile, MissingFileIsNotOpened)
{
    TempDir dir;
    std::unique_ptr<CAttributeList> list;
    HandlerOutcome outcome = ReadText(dir.Path("none.tse"), "X", list);
    EXPECT_FALSE(outcome.opened);
    EXPECT_EQ(outcome.code, ResultCode::kMissing);
    outcome = StoreEmbeddedText(dir.Path("none.tse"), "P", "X", "x", true);
    EXPECT_FALSE(outcome.opened);
    EXPECT_FALSE(dir.Exists("none.tse"));
}

}  // namespace
}  // namespace tolvik::test
