// The task stub exports as a host calls them: the stub is an embedded file of
// a task file.
#include "CapiSupport.h"

namespace {

using namespace tolvik::test;

class StubExports : public HostTable {
protected:
    void WriteFile(const std::string& content) { folder.Write("task.tse", content); }
    std::string ReadFile() const { return folder.Read("task.tse"); }
    int32_t Open(const char* stub)
    {
        return IntpOpenReadTaskStub(file.c_str(), &handle, &rows, &cols, stub, err);
    }

    const std::string file = folder.Path("task.tse");
};

const char kTask[] =
    "TASK MAIN\n"
    "; EmbeddPoint\n"
    "; EmbeddedFileStart  \"LOCALS\"\n"
    "; counters\n"
    "  R COUNT           = 0     ; loop counter\n"
    "  I FLAG            = 1\n"
    "; EmbeddedFileEnd  \"LOCALS\"\n"
    "BEGIN\n";

TEST_F(StubExports, SyntaxErrorNamesStubFileAndLineOfTheSection)
{
    WriteFile("; EmbeddedFileStart \"S\"\nR A = 1\nR B = 2, 3\n; EmbeddedFileEnd \"S\"\n");
    EXPECT_EQ(Open("S"), 0);
    EXPECT_EQ(handle, 0u);
    // The section's own first line is line 2 of the framed text.
    EXPECT_EQ(Error(), Record("2|S in " + file + "||Comment, Newline|3|3||||"));
}

TEST_F(StubExports, MissingStubOrFile)
{
    WriteFile("TASK MAIN\n");
    EXPECT_EQ(Open("S"), 0);
    EXPECT_EQ(Error(), Record("2|S in " + file + "|" + file + "|EmbeddedFileStart \"S\"||2||||"));
    std::filesystem::remove(file);
    EXPECT_EQ(Open("S"), 0);
    EXPECT_EQ(Error(), Record("4|" + file + "||||"));
}

TEST_F(StubExports, CloseThatCannotStoreGivesTheInnerRecord)
{
    // No stub yet and no embedding point to put it after.
    WriteFile("TASK MAIN\n");
    ASSERT_EQ(NewTable(1, 4), -1);
    Set(0, 0, "R");
    Set(0, 1, "A");
    Set(0, 2, "1");
    EXPECT_EQ(IntpCloseUpdateTaskStub(file.c_str(), &handle, "S", err), 0);
    EXPECT_EQ(handle, 0u);
    const std::string inner = "2|" + file + "|EmbeddPoint \"\"||2|||||";
    EXPECT_EQ(Error(), Record("2|S in " + file + "|" + inner + "|||"));
    EXPECT_EQ(ReadFile(), "TASK MAIN\n");

    // With a nameless embedding point the new stub goes after it.
    WriteFile("TASK MAIN\n; EmbeddPoint\n");
    ASSERT_EQ(NewTable(1, 4), -1);
    Set(0, 0, "R");
    Set(0, 1, "A");
    Set(0, 2, "1");
    EXPECT_EQ(IntpCloseUpdateTaskStub(file.c_str(), &handle, "S", err), -1);
    EXPECT_EQ(ReadFile(),
              "TASK MAIN\n; EmbeddPoint\n; EmbeddedFileStart  \"S\"\n"
              "  R A               = 1\n; EmbeddedFileEnd  \"S\"\n");
}

TEST_F(StubExports, StubLongerThanAReadHoldsIsNotCutByAnUpdate)
{
    // 6000 declarations of 22 characters: each text block holds 1454.
    std::string body;
    for (int i = 0; i < 6000; ++i) {
        const std::string number = std::to_string(10000 + i);
        body += "  R V" + number + "        = 1\n";
    }
    const std::string task =
        "; EmbeddedFileStart  \"BIG\"\n" + body + "; EmbeddedFileEnd  \"BIG\"\nBEGIN\n";
    WriteFile(task);
    ASSERT_EQ(Open("BIG"), -1);
    EXPECT_EQ(rows, 2908);
    EXPECT_EQ(IntpCloseUpdateTaskStub(file.c_str(), &handle, "BIG", err), 0);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(Error(),
              Record("2|BIG in " + file + "|" + file + "|EmbeddedFileEnd \"BIG\"||2910||||"));
    EXPECT_EQ(ReadFile(), task);
}

TEST_F(StubExports, TextStubLongerThanAReadHoldsIsNotCutByAWrite)
{
    std::string body = "{Strings\n";
    for (int i = 0; i < 2000; ++i)
        body += "  $ S" + std::to_string(10000 + i) + "          = \"some text\"\n";
    body += "}\n";
    const std::string task =
        "; EmbeddedFileStart  \"BIG\"\n" + body + "; EmbeddedFileEnd  \"BIG\"\nBEGIN\n";
    WriteFile(task);
    uint16_t r = 0, c = 0;
    ASSERT_EQ(IntpOpenReadTextStub(file.c_str(), &handle, &r, &c, "BIG", err), -1) << Error();
    EXPECT_LT(r, 2000);
    EXPECT_EQ(IntpCloseWriteTextStub(file.c_str(), &handle, "BIG", err), 0);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(Error().substr(0, 2), "2\x1a");
    EXPECT_EQ(ReadFile(), task);
}

// Text and VPAC stubs: written whole, stored with their own header line.
struct SectionStub {
    const char* label;
    int32_t(TOLVIK_CALL* open)(const char*, uint32_t*, uint16_t*, uint16_t*, const char*, char*);
    int32_t(TOLVIK_CALL* close)(const char*, uint32_t*, const char*, char*);
    const char* header;
    const char* rows[2][5];  // cells set by the host ("" leaves one empty)
    const char* readBack[2][5];
};

const SectionStub kSectionStubs[] = {
    {"Text",
     IntpOpenReadTextStub,
     IntpCloseWriteTextStub,
     "{Strings\n",
     {{"TITLE", "", "", "Pump station", "shown on top"}, {"NAMES( 2 )", "", "W", "x", ""}},
     {{"TITLE", "0", "...", "Pump station", "shown on top"}, {"NAMES( 2 )", "1", "W", "x", ""}}},
    {"Vpac",
     IntpOpenReadVpacStub,
     IntpCloseWriteVpacStub,
     "{Variables\n",
     {{"R", "LEVEL", "", "0", "metres"}, {"I", "COUNTS( 3 )", "", "1, 2", ""}},
     {{"R", "LEVEL", "0", "0", "metres"}, {"I", "COUNTS( 3 )", "3", "1, 2", ""}}},
};

void PrintTo(const SectionStub& kind, std::ostream* out)
{
    *out << kind.label;
}

class SectionStubExports : public StubExports, public ::testing::WithParamInterface<SectionStub> {};

TEST_P(SectionStubExports, WrittenStubReadsBackIntoTheRowsThatWroteIt)
{
    const SectionStub& kind = GetParam();
    WriteFile("MODULE M\n; EmbeddPoint\nBEGIN\n");
    for (int pass = 0; pass < 2; ++pass) {
        ASSERT_EQ(NewTable(2, 5), -1);
        for (uint16_t row = 0; row < 2; ++row)
            for (uint16_t col = 0; col < 5; ++col)
                if (*kind.rows[row][col])
                    Set(row, col, kind.rows[row][col]);
        ASSERT_EQ(kind.close(file.c_str(), &handle, "ST", err), -1);
        EXPECT_EQ(Error(), Record("0|||||"));
    }
    // The second write replaced the first where it stood.
    const std::string text = ReadFile();
    const std::string start = std::string("; EmbeddedFileStart  \"ST\"\n") + kind.header;
    ASSERT_NE(text.find(start), std::string::npos) << text;
    EXPECT_EQ(text.find("EmbeddedFileStart", text.find(start) + start.size()), std::string::npos)
        << text;
    EXPECT_NE(text.find("}\n; EmbeddedFileEnd  \"ST\"\nBEGIN\n"), std::string::npos) << text;

    ASSERT_EQ(kind.open(file.c_str(), &handle, &rows, &cols, "ST", err), -1) << err;
    ASSERT_EQ(rows, 2);
    ASSERT_EQ(cols, 5);
    for (uint16_t row = 0; row < 2; ++row)
        for (uint16_t col = 0; col < 5; ++col)
            EXPECT_EQ(Cell(row, col), kind.readBack[row][col]) << row << "," << col;
}

TEST_P(SectionStubExports, BareStoredTextIsReadAsASection)
{
    const SectionStub& kind = GetParam();
    const std::string line =
        std::string(kind.label) == "Text" ? "  $ A = \"x\" ; c\n" : "  X A = 1 ; c\n";
    WriteFile("; EmbeddedFileStart \"ST\"\n" + line + "; EmbeddedFileEnd \"ST\"\n");
    ASSERT_EQ(kind.open(file.c_str(), &handle, &rows, &cols, "ST", err), -1) << err;
    EXPECT_EQ(rows, 1);
    EXPECT_EQ(Cell(0, 4), "c");
}

INSTANTIATE_TEST_SUITE_P(Kinds, SectionStubExports, ::testing::ValuesIn(kSectionStubs),
                         [](const auto& info) { return std::string(info.param.label); });

}  // namespace
