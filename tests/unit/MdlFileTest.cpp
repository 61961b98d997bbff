// Model files: golden cases from tests/data/mdl plus the naming rules.
//
// A case is NAME.mdl (the file as it stands) with any of:
//   NAME.rows     the table a read gives (one row a line, cells split by "|")
//   NAME.norm     the file an update with its own unread table gives, when that
//                 is not the file itself
//   NAME.err      a failure: "expected|token|line"
//   NAME.table    the table the host closes with ("..." an empty cell)
//   NAME.out      the file after an update with NAME.table
//   NAME.written  the file after a write with NAME.table
//   NAME.left     the rows left in the table afterwards (none when absent)
//   NAME.refused  an update with NAME.table that is refused because the file
//                 would not read back: "expected|token|line"
// Cells and error items take the escapes \n, \xHH and \\.
#include "model/MdlFileParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "TestSupport.h"
#include "tolvik32.h"

using namespace tolvik;
using namespace tolvik::test;

namespace {

const std::filesystem::path kCaseDir = std::filesystem::path(TOLVIK_TEST_DATA) / "mdl";

std::string Unescape(std::string_view text)
{
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 >= text.size()) {
            out += text[i];
            continue;
        }
        const char next = text[++i];
        if (next == 'n') {
            out += '\n';
        } else if (next == 'x' && i + 2 < text.size()) {
            out += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        } else {
            out += next;
        }
    }
    return out;
}

std::string Escape(std::string_view text)
{
    static const char kHex[] = "0123456789abcdef";
    std::string out;
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n') {
            out += "\\n";
        } else if (c == '\\') {
            out += "\\\\";
        } else if (byte < 0x20) {
            out += "\\x";
            out += kHex[byte >> 4];
            out += kHex[byte & 15];
        } else {
            out += c;
        }
    }
    return out;
}

std::vector<std::string> SplitCells(const std::string& line)
{
    std::vector<std::string> cells;
    std::size_t start = 0;
    for (;;) {
        const std::size_t bar = line.find('|', start);
        cells.push_back(line.substr(start, bar - start));
        if (bar == std::string::npos)
            return cells;
        start = bar + 1;
    }
}

// A table file: one row a line; "..." is the empty cell.
std::unique_ptr<CAttributeList> LoadTable(const std::filesystem::path& path)
{
    auto list = std::make_unique<CAttributeList>();
    list->columns = CMdlFileParser::kColumns;
    std::istringstream lines(ReadBytes(path));
    for (std::string line; std::getline(lines, line);) {
        for (const std::string& cell : SplitCells(line))
            list->AddAttribute(cell == "..." ? std::string(kEmptyCell) : Unescape(cell));
        ++list->rows;
    }
    return list;
}

// A table as the lines of a table file.
std::string Dump(const CAttributeList* list)
{
    return DumpTable(list, [](const std::string* cell) {
        return !cell ? "<missing>" : *cell == kEmptyCell ? "..." : Escape(*cell);
    });
}

struct RunResult {
    bool ok = false;
    std::unique_ptr<CAttributeList> list;
    std::string message;
};

RunResult RunParser(const std::string& file, int mode, std::unique_ptr<CAttributeList> list = {})
{
    RunResult result;
    result.list = std::move(list);
    CMdlFileParser parser(file, mode);
    result.ok = test::RunParser(parser, result.list, result.message);
    return result;
}

class MdlCase : public ::testing::TestWithParam<std::string> {
protected:
    std::filesystem::path Part(const std::string& extension) const
    {
        return kCaseDir / (GetParam() + extension);
    }
    bool Has(const std::string& extension) const
    {
        return std::filesystem::exists(Part(extension));
    }
    std::string Input() const { return ReadBytes(Part(".mdl")); }
    std::string Left() const { return Has(".left") ? ReadBytes(Part(".left")) : std::string(); }

    TempDir dir;
};

class MdlReadCase : public MdlCase {};
class MdlUpdateCase : public MdlCase {};
class MdlWriteCase : public MdlCase {};
class MdlFailureCase : public MdlCase {};
class MdlRefusedCase : public MdlCase {};

TEST_P(MdlReadCase, ReadGivesTheTable)
{
    const std::string file = dir.Write("MODEL.MDL", Input());
    RunResult read = RunParser(file, kRead);
    ASSERT_TRUE(read.ok) << Escape(read.message);
    EXPECT_EQ(read.list->columns, 4u);
    EXPECT_EQ(Dump(read.list.get()), ReadBytes(Part(".rows")));
    EXPECT_EQ(dir.Read("MODEL.MDL"), Input());
}

TEST_P(MdlReadCase, UpdateWithItsOwnTableKeepsTheFileAndIsStable)
{
    const std::string file = dir.Write("MODEL.MDL", Input());
    const std::string expected = Has(".norm") ? ReadBytes(Part(".norm")) : Input();
    for (int round = 0; round < 2; ++round) {
        RunResult read = RunParser(file, kRead);
        ASSERT_TRUE(read.ok);
        RunResult update = RunParser(file, kUpdate, std::move(read.list));
        ASSERT_TRUE(update.ok) << Escape(update.message);
        EXPECT_EQ(Escape(dir.Read("MODEL.MDL")), Escape(expected)) << "round " << round;
        EXPECT_EQ(Dump(update.list.get()), "");
    }
}

TEST_P(MdlReadCase, WrittenTableReadsBackTheSame)
{
    const std::string file = dir.Write("MODEL.MDL", Input());
    RunResult read = RunParser(file, kRead);
    ASSERT_TRUE(read.ok);
    const std::string table = Dump(read.list.get());
    RunResult write = RunParser(file, kWrite, std::move(read.list));
    ASSERT_TRUE(write.ok) << Escape(write.message);
    RunResult again = RunParser(file, kRead);
    ASSERT_TRUE(again.ok);
    // Rows come back grouped by section, each section in its own order.
    std::string grouped;
    for (int section = 0; section < 3; ++section) {
        std::istringstream lines(table);
        for (std::string line; std::getline(lines, line);) {
            std::vector<std::string> cells = SplitCells(line);
            if (CMdlFileParser::SectionOfKind(std::stoi(cells[1])) != section)
                continue;
            // Comments are written without the blanks at their end.
            cells[3].erase(cells[3].find_last_not_of(' ') + 1);
            grouped += cells[0] + '|' + cells[1] + '|' + cells[2] + '|' + cells[3] + '\n';
        }
    }
    EXPECT_EQ(Dump(again.list.get()), grouped);
}

TEST_P(MdlUpdateCase, UpdateGivesTheFile)
{
    const std::string file = dir.Write("MODEL.MDL", Input());
    RunResult update = RunParser(file, kUpdate, LoadTable(Part(".table")));
    ASSERT_TRUE(update.ok) << Escape(update.message);
    EXPECT_EQ(Escape(dir.Read("MODEL.MDL")), Escape(ReadBytes(Part(".out"))));
    EXPECT_EQ(Dump(update.list.get()), Left());
    // The result reads back, and the rows it holds update it to itself.
    RunResult read = RunParser(file, kRead);
    ASSERT_TRUE(read.ok) << Escape(read.message);
    const std::string once = dir.Read("MODEL.MDL");
    ASSERT_TRUE(RunParser(file, kUpdate, std::move(read.list)).ok);
    EXPECT_EQ(Escape(dir.Read("MODEL.MDL")), Escape(once));
}

TEST_P(MdlWriteCase, WriteGivesTheFile)
{
    const std::string file = dir.Write("MODEL.MDL", Input());
    RunResult write = RunParser(file, kWrite, LoadTable(Part(".table")));
    ASSERT_TRUE(write.ok) << Escape(write.message);
    EXPECT_EQ(Escape(dir.Read("MODEL.MDL")), Escape(ReadBytes(Part(".written"))));
    EXPECT_EQ(Dump(write.list.get()), Left());
}

// The record a host receives: "2", then the file name, what was expected, the
// token and the line, each ended by 0x1A, then the three empty arguments.
TEST_P(MdlFailureCase, FailureRecordNamesWhatWasExpected)
{
    const std::string file = dir.Write("MODEL.MDL", Input());
    std::string line = ReadBytes(Part(".err"));
    line.erase(line.find_last_not_of('\n') + 1);
    std::string expected = "2\x1a" + file + '\x1a';
    for (const std::string& item : SplitCells(line))
        expected += Unescape(item) + '\x1a';
    expected += "\x1a\x1a\x1a\x1a";

    char err[4096];
    uint32_t handle = 77;
    uint16_t rows = 9;
    uint16_t cols = 9;
    EXPECT_EQ(IntpOpenReadMDLFile(file.c_str(), &handle, &rows, &cols, err), 0);
    EXPECT_EQ(Escape(err), Escape(expected));
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(rows, 0);
    EXPECT_EQ(cols, 0);

    // An update of the same file fails the same way and leaves it as it was.
    uint16_t one = 1;
    uint16_t four = 4;
    ASSERT_EQ(IntpOpenWrite(&handle, &one, &four), -1);
    EXPECT_EQ(IntpCloseUpdateMDLFile(file.c_str(), &handle, err), 0);
    EXPECT_EQ(Escape(err), Escape(expected));
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(dir.Read("MODEL.MDL"), Input());
    EXPECT_EQ(dir.Files(), std::vector<std::string>{"MODEL.MDL"});
}

// A table whose cells would not read back as the entries they stand for is
// not written: the update fails and the file stays as it was.
TEST_P(MdlRefusedCase, UpdateIsRefusedAndTheFileKept)
{
    const std::string file = dir.Write("MODEL.MDL", Input());
    std::string line = ReadBytes(Part(".refused"));
    line.erase(line.find_last_not_of('\n') + 1);
    std::string expected = file + '\x1a';
    for (const std::string& item : SplitCells(line))
        expected += Unescape(item) + '\x1a';
    RunResult update = RunParser(file, kUpdate, LoadTable(Part(".table")));
    EXPECT_FALSE(update.ok);
    EXPECT_EQ(Escape(update.message), Escape(expected));
    EXPECT_EQ(dir.Read("MODEL.MDL"), Input());
    EXPECT_EQ(dir.Files(), std::vector<std::string>{"MODEL.MDL"});
}

INSTANTIATE_TEST_SUITE_P(Golden, MdlRefusedCase, ::testing::ValuesIn(CaseNames("mdl", ".refused")),
                         CaseTestName);
INSTANTIATE_TEST_SUITE_P(Golden, MdlReadCase, ::testing::ValuesIn(CaseNames("mdl", ".rows")),
                         CaseTestName);
INSTANTIATE_TEST_SUITE_P(Golden, MdlUpdateCase, ::testing::ValuesIn(CaseNames("mdl", ".out")),
                         CaseTestName);
INSTANTIATE_TEST_SUITE_P(Golden, MdlWriteCase, ::testing::ValuesIn(CaseNames("mdl", ".written")),
                         CaseTestName);
INSTANTIATE_TEST_SUITE_P(Golden, MdlFailureCase, ::testing::ValuesIn(CaseNames("mdl", ".err")),
                         CaseTestName);

TEST(MdlNames, KindAndDefaultExtensionFollowTheSection)
{
    struct Case {
        int section;
        const char* name;
        int kind;
        const char* stored;
    } cases[] = {
        {1, "PROG", 1, "PROG.tse"},
        {1, "prog.tsc", 7, "prog.tsc"},
        {1, "PROG.DPC", 1, "PROG.DPC"},
        {2, "PROG", 2, "PROG.dpe"},
        {2, "PROG.dpc", 8, "PROG.dpc"},
        {2, "PROG.TSC", 2, "PROG.TSC"},
        {2, "C:\\my.dir\\PROG", 2, "C:\\my.dir\\PROG.dpe"},
        {2, "C:PROG", 2, "C:PROG.dpe"},
        {6, "..\\texts\\T1.TxC", 9, "..\\texts\\T1.TxC"},
        {6, "T1.old.txe", 6, "T1.old.txe"},
        {6, "T1", 6, "T1.txe"},
    };
    for (const Case& c : cases) {
        std::string name = c.name;
        EXPECT_EQ(CMdlFileParser::KindOfEntry(c.section, name), c.kind) << c.name;
        EXPECT_EQ(name, c.stored);
    }
}

TEST(MdlNames, RowsMatchByBareNameWithoutCase)
{
    EXPECT_EQ(CMdlFileParser::BareName("C:\\Model\\Prog.tse"), "PROG");
    EXPECT_EQ(CMdlFileParser::BareName("prog"), "PROG");
    EXPECT_EQ(CMdlFileParser::BareName("a.b\\c.d.tse"), "C.D");
    EXPECT_EQ(CMdlFileParser::BareName("D:x.TSC"), "X");
}

TEST(MdlNames, SectionOfEveryKind)
{
    const int expected[] = {-1, 0, 1, 1, 1, 1, 2, 0, 1, 2, -1};
    for (int kind = 0; kind <= 10; ++kind)
        EXPECT_EQ(CMdlFileParser::SectionOfKind(kind), expected[kind]) << kind;
}

TEST(MdlFile, ModelBeyondTheTableCapacityKeepsTheFirst25000Entries)
{
    TempDir dir;
    std::string text = "{ TASK\n";
    for (int i = 0; i < 25001; ++i)
        text += "M" + std::to_string(i) + "\n";
    text += "}\n";
    const std::string file = dir.Write("BIG.MDL", text);
    ShownBoxes boxes;
    RunResult read = RunParser(file, kRead);
    ASSERT_TRUE(read.ok);
    EXPECT_EQ(read.list->rows, 25000u);
    EXPECT_EQ(*read.list->GetAttribute(24999, 0), "M24999.tse");
    EXPECT_EQ(boxes.List().size(), 4u);  // one for each cell of the refused row
}

TEST(MdlFile, NarrowTableMatchesByNameAndKeepsTheRest)
{
    TempDir dir;
    const std::string file = dir.Write("N.MDL", "{ TASK\nA /X ; note\nB\n}\n");
    auto list = std::make_unique<CAttributeList>();
    list->columns = 2;
    for (const char* cell : {"a.TSE", "1", "C", "1"})
        list->AddAttribute(cell);
    list->rows = 2;
    RunResult update = RunParser(file, kUpdate, std::move(list));
    ASSERT_TRUE(update.ok) << Escape(update.message);
    // The name comes from the table; switches and comment from the file.
    EXPECT_EQ(dir.Read("N.MDL"),
              "{ TASK\na.TSE/X " + std::string(17, ' ') + "; note\nB.tse\nC\n}\n");
    EXPECT_EQ(update.list->rows, 0u);
    EXPECT_EQ(update.list->Count(), 0u);
}

TEST(MdlFile, TableWithoutColumnsLeavesTheEntries)
{
    TempDir dir;
    const std::string text = "{ TASK\nA.tse\n}\n";
    const std::string file = dir.Write("Z.MDL", text);
    auto list = std::make_unique<CAttributeList>();
    list->AddAttribute("1");
    list->rows = 3;
    RunResult update = RunParser(file, kUpdate, std::move(list));
    ASSERT_TRUE(update.ok);
    EXPECT_EQ(dir.Read("Z.MDL"), text);
    EXPECT_EQ(update.list->Count(), 1u);
}

// A line is read in pieces of limited length. An entry whose comment would
// pass that length once moved to its column is written with the comment right
// after the name, and a row too long for any layout is refused.
TEST(MdlFile, LongLinesAreWrittenSoThatTheyReadBack)
{
    TempDir dir;
    const std::string comment(1010, 'x');
    const std::string file = dir.Write("L.MDL", "{ TASK\nA ;" + comment + "\nB\n}\n");
    auto table = std::make_unique<CAttributeList>();
    table->columns = CMdlFileParser::kColumns;
    for (const char* cell : {"Q", "1", "", ""})
        table->AddAttribute(cell);
    table->rows = 1;
    ASSERT_TRUE(RunParser(file, kUpdate, std::move(table)).ok);
    EXPECT_EQ(dir.Read("L.MDL"), "{ TASK\nA.tse; " + comment + "\nB.tse\nQ\n}\n");
    RunResult read = RunParser(file, kRead);
    ASSERT_TRUE(read.ok) << Escape(read.message);
    EXPECT_EQ(Dump(read.list.get()), "A.tse|1||" + comment + "\nB.tse|1||\nQ.tse|1||\n");

    // "{TASK;" gains a blank when rebuilt: a comment that then no longer fits
    // goes on a line of its own.
    const std::string brace = "{TASK;" + std::string(1015, 'b') + "\n";
    dir.Write("L.MDL", brace + "A\n}\n");
    read = RunParser(file, kRead);
    ASSERT_TRUE(read.ok) << Escape(read.message);
    ASSERT_TRUE(RunParser(file, kUpdate, std::move(read.list)).ok);
    EXPECT_EQ(dir.Read("L.MDL"), "{ TASK\n;" + std::string(1015, 'b') + "\nA.tse\n}\n");

    // Write mode: a name of 1021 characters fits, one more does not.
    for (std::size_t length : {std::size_t{1021}, std::size_t{1022}}) {
        auto rows = std::make_unique<CAttributeList>();
        rows->columns = CMdlFileParser::kColumns;
        for (const std::string& cell :
             {std::string(length, 'N'), std::string("1"), std::string(), std::string()})
            rows->AddAttribute(cell);
        rows->rows = 1;
        const std::string before = dir.Read("L.MDL");
        RunResult write = RunParser(file, kWrite, std::move(rows));
        EXPECT_EQ(write.ok, length == 1021) << length;
        if (!write.ok) {
            EXPECT_EQ(dir.Read("L.MDL"), before);
            continue;
        }
        RunResult again = RunParser(file, kRead);
        ASSERT_TRUE(again.ok) << Escape(again.message);
        EXPECT_EQ(*again.list->GetAttribute(0, 0), std::string(length, 'N') + ".tse");
    }
}

TEST(MdlFile, BlanksAroundANameOrSwitchesAreWrittenAndReadBackWithoutThem)
{
    TempDir dir;
    const std::string file = dir.Write("B.MDL", "{ TASK\nA.tse\n}\n");
    auto table = std::make_unique<CAttributeList>();
    table->columns = CMdlFileParser::kColumns;
    for (const char* cell : {"A.tse", "1", " /X ", "", "\tB ", "1", "  ", ""})
        table->AddAttribute(cell);
    table->rows = 2;
    RunResult update = RunParser(file, kUpdate, std::move(table));
    ASSERT_TRUE(update.ok) << Escape(update.message);
    RunResult read = RunParser(file, kRead);
    ASSERT_TRUE(read.ok) << Escape(read.message);
    EXPECT_EQ(Dump(read.list.get()), "A.tse|1|/X |\nB.tse|1||\n");
}

// Texts made of the model grammar's pieces in random order: whatever reads,
// updates with its own table into a file that reads back, and a second update
// changes nothing.
TEST(MdlFile, AnyReadableFileUpdatesIntoAStableReadableFile)
{
    static const char* const kPieces[] = {"{",     "}",     "TASK", "dpac", "Text", "A",
                                          "b.tsc", "C.DPC", "/",    "X",    ";c ",  " ",
                                          "\t",    "\n",    "\r\n", "\n",   "\n"};
    std::mt19937 random(20240611);
    int readable = 0;
    TempDir dir;
    for (int round = 0; round < 150; ++round) {
        std::string text;
        const int pieces = 5 + static_cast<int>(random() % 40);
        for (int i = 0; i < pieces; ++i)
            text += kPieces[random() % (sizeof kPieces / sizeof kPieces[0])];
        // Most random texts fail early; start most of them with a section.
        if (round % 2 == 0)
            text = "{ TASK\n" + text;
        const std::string file = dir.Write("R.MDL", text);
        RunResult read = RunParser(file, kRead);
        if (!read.ok) {
            ASSERT_TRUE(RunParser(file, kUpdate, std::make_unique<CAttributeList>()).list);
            EXPECT_EQ(dir.Read("R.MDL"), text) << Escape(text);
            continue;
        }
        ++readable;
        RunResult update = RunParser(file, kUpdate, std::move(read.list));
        ASSERT_TRUE(update.ok) << Escape(text);
        const std::string once = dir.Read("R.MDL");
        RunResult again = RunParser(file, kRead);
        ASSERT_TRUE(again.ok) << Escape(text) << " gave " << Escape(once);
        ASSERT_TRUE(RunParser(file, kUpdate, std::move(again.list)).ok);
        EXPECT_EQ(Escape(dir.Read("R.MDL")), Escape(once)) << Escape(text);
    }
    EXPECT_GT(readable, 30) << readable;
}

}  // namespace
