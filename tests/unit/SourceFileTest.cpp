#include "textfile/SourceFile.h"

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "textfile/Charset.h"

using namespace tolvik;
using tolvik::test::TempDir;

namespace {

// The lines a read delivers, each with its line number.
std::vector<std::pair<int, std::string>> Lines(CSourceFile& file)
{
    std::vector<std::pair<int, std::string>> lines;
    while (!file.endOfInput) {
        lines.emplace_back(file.lineNumber, file.lineBuffer);
        file.ReadLine();
    }
    return lines;
}

TEST(SourceFile, LongLinesArriveInPiecesOfAt1022)
{
    TempDir dir;
    const std::string name =
        dir.Write("long.txt", std::string(1500, 'x') + "\n" + std::string(1022, 'y') + "\nz");
    CSourceFile file(name, false, kRead, false);
    auto lines = Lines(file);
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0], std::make_pair(1, std::string(1022, 'x')));
    EXPECT_EQ(lines[1], std::make_pair(2, std::string(478, 'x') + "\n"));
    EXPECT_EQ(lines[2], std::make_pair(3, std::string(1022, 'y')));
    EXPECT_EQ(lines[3], std::make_pair(4, std::string("\n")));  // the line end on its own
    EXPECT_EQ(lines[4], std::make_pair(5, std::string("z")));
}

TEST(SourceFile, MemorySourceSplitsLikeAFile)
{
    CSourceFile memory(std::string(1030, 'm') + "\nnext", true, kRead, false);
    auto lines = Lines(memory);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].second.size(), 1022u);
    EXPECT_EQ(lines[1].second, "mmmmmmmm\n");
    EXPECT_EQ(lines[2].second, "next");
}

TEST(SourceFile, CrLfArrivesAsLfAndEndOfTextByteEndsInput)
{
    TempDir dir;
    const std::string name = dir.Write("crlf.txt", "a\r\nb\rc\r\n\x1atail\r\n");
    CSourceFile file(name, false, kRead, false);
    auto lines = Lines(file);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].second, "a\n");
    EXPECT_EQ(lines[1].second, "b\rc\n");
}

class CodePages : public ::testing::Test {
protected:
    void SetUp() override { SetCodePages(437, 1252); }
    void TearDown() override { SetCodePages(0, 0); }
};

TEST_F(CodePages, FirstLineOfAFileIsNeitherConvertedNorExpanded)
{
    TempDir dir;
    // 0x81 is u-umlaut in code page 437, 0xFC in Windows-1252.
    const std::string name = dir.Write("oem.txt", "\x81\tA\n\x81\tB\n");
    CSourceFile file(name, false, kRead, false);
    file.expandTabs = true;
    EXPECT_EQ(file.lineBuffer, "\x81\tA\n");
    file.ReadLine();
    EXPECT_EQ(file.lineBuffer, "\xfc       B\n");
}

TEST_F(CodePages, NoConversionPassesHighBytes)
{
    CSourceFile memory("x\n\x81\x9a\xe1\n", true, kRead, false);
    memory.noConversion = true;
    memory.ReadLine();
    EXPECT_EQ(memory.lineBuffer, "\x81\x9a\xe1\n");
}

TEST_F(CodePages, EveryByteRoundTripsThroughBothTables)
{
    for (std::uint32_t oem : {437u, 850u}) {
        ASSERT_TRUE(SetCodePages(oem, 1252));
        std::string all;
        for (int i = 0; i < 256; ++i)
            all += static_cast<char>(i);
        std::string text = all;
        OemToAnsi(text);
        EXPECT_NE(text, all);
        AnsiToOem(text);
        EXPECT_EQ(text, all) << oem;
    }
    // Characters both code pages hold map exactly: 850's 0xD3 is E-circumflex...
    ASSERT_TRUE(SetCodePages(850, 1252));
    std::string e = "\x82\xe1";  // e-acute, sharp s
    OemToAnsi(e);
    EXPECT_EQ(e, "\xe9\xdf");
}

TEST(SourceFile, TabsExpandToMultiplesOfEight)
{
    CSourceFile memory("first\na\tb\n\tx\t\n1234567\t8\n", true, kRead, false);
    memory.expandTabs = true;
    std::vector<std::string> got;
    while (!memory.endOfInput) {
        memory.ReadLine();
        got.push_back(memory.lineBuffer);
    }
    EXPECT_EQ(got[0], "a       b\n");
    EXPECT_EQ(got[1], "        x       \n");
    EXPECT_EQ(got[2], "1234567 8\n");
}

TEST(SourceFile, SkipToPositionCopiesWhatItPassesInUpdateMode)
{
    CSourceFile memory("one\ntwo\n; EmbeddPoint\nfour\nfive\n", true, kUpdate, false);
    EXPECT_TRUE(memory.SkipToPosition(4 + 4 + 14));
    EXPECT_EQ(memory.lineBuffer, "four\n");
    EXPECT_EQ(memory.outputText, "one\ntwo\n; EmbeddPoint\n");
    EXPECT_FALSE(memory.SkipToPosition(9999));
}

TEST(SourceFile, ByteAccessOnBinaryFiles)
{
    TempDir dir;
    std::string bytes(40, '\0');
    bytes[20] = 8;
    bytes[12] = static_cast<char>(0xFE);
    const std::string name = dir.Write("MAIN.TSC", bytes);
    {
        CSourceFile file(name, false, kRead, true);
        std::string decimal;
        EXPECT_EQ(file.ReadByteAt(20, &decimal), 8);
        EXPECT_EQ(decimal, "8");
        EXPECT_EQ(file.ReadByteAt(12), -2);
        EXPECT_EQ(file.ReadByteAt(40), -1);
    }
    {
        CSourceFile file(name, false, kUpdate, true);
        file.CopyRest();
        EXPECT_EQ(file.WriteByteAt(20, "7"), 7);
        EXPECT_EQ(file.WriteByteAt(12, "200"), -56);
        EXPECT_EQ(file.WriteByteAt(13, nullptr), -1);
    }
}

TEST(SourceFile, StatusOfMissingAndUnreadableFiles)
{
    TempDir dir;
    EXPECT_EQ(CSourceFile(dir.Path("absent"), false, kRead, false).status, kMissing);
    EXPECT_EQ(CSourceFile(dir.Path(""), false, kRead, false).status, kNoAccess);  // a directory
    const std::string name = dir.Write("ok", "x\n");
    CSourceFile ok(name, false, kRead, false);
    EXPECT_EQ(ok.status, kOpened);
    EXPECT_TRUE(ok.IsOpen());
    EXPECT_EQ(ok.diagnostic.MessageText(), name + "\x1a");
    EXPECT_EQ(CSourceFile("text", true, kRead, false).diagnostic.MessageText(), "\x1a");
}

TEST(SourceFile, CopyFileCopiesEveryByte)
{
    TempDir dir;
    const std::string a = dir.Write("a", std::string(100000, 'q'));
    EXPECT_TRUE(CopyFile(a, dir.Path("b")));
    EXPECT_EQ(dir.Read("b"), std::string(100000, 'q'));
    EXPECT_FALSE(CopyFile(dir.Path("none"), dir.Path("d")));
}

}  // namespace
