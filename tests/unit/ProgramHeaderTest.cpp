#include "model/ProgramHeaderParser.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <random>

#include "TestSupport.h"
#include "textfile/Charset.h"

using namespace tolvik;
using namespace tolvik::test;

namespace {

constexpr char kSep = '\x1a';

struct Outcome {
    bool ok = false;
    int status = 0;
    std::string message;
    std::unique_ptr<CAttributeList> table;
};

Outcome RunHeader(const std::string& file, int mode, std::unique_ptr<CAttributeList> table = {})
{
    CProgramHeaderParser parser(file, false, mode, CompiledKindOf(file) != 0);
    Outcome outcome;
    outcome.table = std::move(table);
    outcome.ok = RunParser(parser, outcome.table, outcome.message);
    outcome.status = parser.status;
    return outcome;
}

// The 15 cells of row 0 joined by "|", an empty cell shown as "...".
std::string Cells(const CAttributeList& table)
{
    std::string text;
    for (int column = 0; column < kAttributeColumns; ++column) {
        const std::string* cell = table.GetAttribute(0, column);
        if (column > 0)
            text += '|';
        text += !cell ? "<none>" : *cell == kEmptyCell ? "..." : *cell;
    }
    return text;
}

std::unique_ptr<CAttributeList> CopyOf(const CAttributeList& table)
{
    return std::make_unique<CAttributeList>(table);
}

// The message after the file name, separators shown as "|" and line ends as
// "\n".
std::string MessageAfterName(const std::string& message, const std::string& file)
{
    return Shown(message.rfind(file + kSep, 0) == 0 ? message.substr(file.size() + 1)
                                                    : "<no file name>" + message);
}

// A golden case: sections introduced by "=== name" lines.
//   source   the module text ("source!" drops the last line end)
//   table    what reading gives, cells joined by "|"
//   error    the message of a failed read after the file name; an update
//            that keeps every value fails with the same message
//   edits    "column=value" lines applied to the table read ("<DEL>" removes)
//   output   the rewritten file ("output!" without the last line end)
//   update-error  the message of a failed update (the file stays as it was)
struct GoldenCase {
    std::map<std::string, std::string> sections;
    bool Has(const std::string& name) const { return sections.count(name) != 0; }
    const std::string& operator[](const std::string& name) const { return sections.at(name); }
};

GoldenCase LoadCase(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    GoldenCase golden;
    std::string line;
    std::string* current = nullptr;
    std::vector<std::string> trimmed;
    while (std::getline(in, line)) {
        if (line.rfind("=== ", 0) == 0) {
            std::string name = line.substr(4);
            if (!name.empty() && name.back() == '!') {
                name.pop_back();
                trimmed.push_back(name);
            }
            current = &golden.sections[name];
            continue;
        }
        if (current)
            *current += line + "\n";
    }
    for (const std::string& name : trimmed)
        if (!golden.sections[name].empty())
            golden.sections[name].pop_back();
    for (const char* single : {"table", "error", "update-error"})
        if (golden.Has(single) && !golden.sections[single].empty())
            golden.sections[single].pop_back();  // one line, its line end is not part of it
    return golden;
}

class HeaderGolden : public ::testing::TestWithParam<std::string> {};

TEST_P(HeaderGolden, Case)
{
    const GoldenCase golden =
        LoadCase(std::filesystem::path(TOLVIK_TEST_DATA) / "header" / (GetParam() + ".case"));
    ASSERT_TRUE(golden.Has("source"));
    TempDir dir;
    const std::string file = dir.Write("MODULE.SRC", golden["source"]);

    Outcome read = RunHeader(file, kRead);
    if (golden.Has("error")) {
        EXPECT_FALSE(read.ok);
        EXPECT_EQ(read.table, nullptr);
        EXPECT_EQ(MessageAfterName(read.message, file), golden["error"]);
        // An update, even one that keeps every value, fails the same way and
        // leaves the file alone.
        Outcome update = RunHeader(file, kUpdate, std::make_unique<CAttributeList>());
        EXPECT_FALSE(update.ok);
        EXPECT_EQ(MessageAfterName(update.message, file), golden["error"]);
        EXPECT_EQ(dir.Read("MODULE.SRC"), golden["source"]);
        EXPECT_EQ(dir.Files(), (std::vector<std::string>{"MODULE.SRC"}));
        return;
    }
    ASSERT_TRUE(read.ok) << MessageAfterName(read.message, file);
    ASSERT_NE(read.table, nullptr);
    EXPECT_EQ(read.table->rows, 1u);
    EXPECT_EQ(read.table->columns, 15u);
    EXPECT_EQ(read.table->Count(), 15u);
    const std::string cellsRead = Cells(*read.table);
    if (golden.Has("table")) {
        EXPECT_EQ(cellsRead, golden["table"]);
    }

    // The edits, and what reading the rewritten file must give.
    auto edited = CopyOf(*read.table);
    auto expectedAfter = CopyOf(*read.table);
    std::istringstream edits(golden.Has("edits") ? golden["edits"] : std::string());
    for (std::string line; std::getline(edits, line);) {
        if (line == "*=...") {
            // Every value kept as the file has it.
            for (std::uint32_t column = 1; column < kAttributeColumns; ++column)
                edited->SetAttribute(column, kEmptyCell);
            continue;
        }
        const std::size_t equals = line.find('=');
        ASSERT_NE(equals, std::string::npos) << line;
        const auto column = static_cast<std::uint32_t>(std::stoi(line.substr(0, equals)));
        std::string value = line.substr(equals + 1);
        if (value == "<DEL>")
            value = kDeleteMark;
        else if (value == "...")
            value = kEmptyCell;
        edited->SetAttribute(column, value);
        if (value != kEmptyCell)
            expectedAfter->SetAttribute(column,
                                        value == kDeleteMark ? std::string(kEmptyCell) : value);
    }

    Outcome update = RunHeader(file, kUpdate, std::move(edited));
    if (golden.Has("update-error")) {
        EXPECT_FALSE(update.ok);
        EXPECT_EQ(MessageAfterName(update.message, file), golden["update-error"]);
        EXPECT_EQ(dir.Read("MODULE.SRC"), golden["source"]) << "a failed update changed the file";
        EXPECT_EQ(dir.Files(), (std::vector<std::string>{"MODULE.SRC"}));
        return;
    }
    ASSERT_TRUE(update.ok) << MessageAfterName(update.message, file);
    const std::string written = dir.Read("MODULE.SRC");
    if (golden.Has("output")) {
        EXPECT_EQ(written, golden["output"]);
    }
    std::filesystem::remove(dir.Path("MODULE.BAK"));

    // What was written reads back as the table that wrote it; closing that
    // table again settles on one text, which a further round keeps.
    std::string previous;
    for (int round = 0; round < 2; ++round) {
        Outcome reread = RunHeader(file, kRead);
        ASSERT_TRUE(reread.ok) << MessageAfterName(reread.message, file) << "\n"
                               << dir.Read("MODULE.SRC");
        EXPECT_EQ(Cells(*reread.table), Cells(*expectedAfter)) << "round " << round;
        Outcome again = RunHeader(file, kUpdate, std::move(reread.table));
        ASSERT_TRUE(again.ok);
        std::filesystem::remove(dir.Path("MODULE.BAK"));
        if (round == 1) {
            EXPECT_EQ(dir.Read("MODULE.SRC"), previous);
        }
        previous = dir.Read("MODULE.SRC");
    }
}

INSTANTIATE_TEST_SUITE_P(Header, HeaderGolden, ::testing::ValuesIn(CaseNames("header", ".case")),
                         CaseTestName);

}  // namespace

namespace {

TEST(ProgramHeader, CrLfFileKeepsItsLineEndsAndLeadingLinesByteForByte)
{
    TempDir dir;
    const std::string file = dir.Write("MODULE.SRC",
                                       "; pump\t control \r\n\r\n{ TASK NAME = A ; n\r\n"
                                       "  PRI = 5\r\n} ; end\r\ncode\r\n");
    Outcome read = RunHeader(file, kRead);
    ASSERT_TRUE(read.ok);
    read.table->SetAttribute(kNameColumn, kEmptyCell);
    read.table->SetAttribute(kPriorityColumn, "6");
    ASSERT_TRUE(RunHeader(file, kUpdate, std::move(read.table)).ok);
    EXPECT_EQ(dir.Read("MODULE.SRC"),
              "; pump\t control \r\n\r\n{ TASK\r\n  Name = A ; n\r\n  PRI = 6\r\n} ; end\r\n"
              "code\r\n");
}

TEST(ProgramHeader, LeadingCommentLongerThanOneReadIsCopiedOnce)
{
    TempDir dir;
    const std::string leading =
        "; " + std::string(1500, 'c') + "\n;" + std::string(1022, 'd') + "\n";
    const std::string rest = std::string(2100, 'x') + "\n";
    const std::string file = dir.Write("MODULE.SRC", leading + "{ TEXT\n  NAME = T\n}\n" + rest);
    Outcome read = RunHeader(file, kRead);
    ASSERT_TRUE(read.ok) << MessageAfterName(read.message, file);
    EXPECT_EQ(Cells(*read.table), "6|T|...|...|...|...|...|...|...|...|...|...|...|...|...");
    ASSERT_TRUE(RunHeader(file, kUpdate, std::move(read.table)).ok);
    EXPECT_EQ(dir.Read("MODULE.SRC"), leading + "{ TEXT\n  Name = T\n}\n" + rest);
}

// Lines near the longest the reader takes in one piece grow when rebuilt
// ("PRI=5" becomes "  PRI = 5"). They are broken where they would pass it, so
// the update reads back and every comment is kept once.
TEST(ProgramHeader, LongBodyLinesAreRebuiltSoThatTheyReadBack)
{
    TempDir dir;
    const std::string y(1015, 'y');
    const std::string x(1020, 'x');
    const std::string z(1005, 'z');
    const std::string n(1003, 'n');
    const std::string file =
        dir.Write("LONG.SRC", "{TASK;" + y + "\n;" + x + "\nPLA=1 ELA=2 NAME=" + n +
                                  "\nPRI=5 $BUF=6;" + z + "\n}\nrest\n");
    Outcome read = RunHeader(file, kRead);
    ASSERT_TRUE(read.ok) << MessageAfterName(read.message, file);
    const std::string cells = Cells(*read.table);
    // A table without cells keeps every value of the file.
    ASSERT_TRUE(RunHeader(file, kUpdate, std::make_unique<CAttributeList>()).ok);
    const std::string once = dir.Read("LONG.SRC");
    EXPECT_EQ(once, "{ TASK\n ;" + y + "\n;" + x + "\n  PLA = 1  ELA = 2\n  Name = " + n +
                        "\n  PRI = 5  $BUF = 6\n ;" + z + "\n}\nrest\n");
    Outcome again = RunHeader(file, kRead);
    ASSERT_TRUE(again.ok) << MessageAfterName(again.message, file);
    EXPECT_EQ(Cells(*again.table), cells);
    ASSERT_TRUE(RunHeader(file, kUpdate, std::make_unique<CAttributeList>()).ok);
    EXPECT_EQ(dir.Read("LONG.SRC"), once);

    // A new value too long for a line of its own is refused.
    read.table->SetAttribute(1, std::string(1014, 'n'));
    EXPECT_FALSE(RunHeader(file, kUpdate, std::move(read.table)).ok);
    EXPECT_EQ(dir.Read("LONG.SRC"), once);
}

class CodePageHeader : public ::testing::Test {
protected:
    void SetUp() override { SetCodePages(437, 1252); }
    void TearDown() override { SetCodePages(0, 0); }
};

TEST_F(CodePageHeader, HeaderUpdateCopiesLeadingLinesAndRestWithoutConversion)
{
    TempDir dir;
    const std::string leading =
        "; \x81"
        "ber\tall\n;\x9a\x84\n";
    const std::string rest = "code \x81\t\xe1\n";
    const std::string file = dir.Write("MODULE.SRC", leading + "{ TEXT NAME = T\n}\n" + rest);
    Outcome read = RunHeader(file, kRead);
    ASSERT_TRUE(read.ok);
    ASSERT_TRUE(RunHeader(file, kUpdate, std::move(read.table)).ok);
    EXPECT_EQ(dir.Read("MODULE.SRC"), leading + "{ TEXT\n  Name = T\n}\n" + rest);
}

TEST(ProgramHeader, FailedUpdateLeavesFileAndNoTemporaryFile)
{
    TempDir dir;
    const std::string source = "; c\n{ TASK\n  PRI = 5 NAME\n}\n";
    const std::string file = dir.Write("MODULE.SRC", source);
    auto table = std::make_unique<CAttributeList>();
    table->columns = kAttributeColumns;
    table->AddAttributes(kAttributeColumns, nullptr);
    Outcome update = RunHeader(file, kUpdate, std::move(table));
    EXPECT_FALSE(update.ok);
    EXPECT_EQ(MessageAfterName(update.message, file), "=|\\n|4|");
    EXPECT_EQ(dir.Read("MODULE.SRC"), source);
    EXPECT_EQ(dir.Files(), (std::vector<std::string>{"MODULE.SRC"}));
}

TEST(ProgramHeader, UpdateWithTableWithoutCellsKeepsEveryValue)
{
    TempDir dir;
    const std::string file = dir.Write("MODULE.SRC", "{ VPAC NAME = V PAGES = 2\n}\n");
    Outcome update = RunHeader(file, kUpdate, std::make_unique<CAttributeList>());
    ASSERT_TRUE(update.ok);
    EXPECT_EQ(dir.Read("MODULE.SRC"), "{ VPAC\n  Name = V  Pages = 2\n}\n");
    Outcome nullTable = RunHeader(file, kUpdate, nullptr);
    ASSERT_TRUE(nullTable.ok);
    EXPECT_EQ(dir.Read("MODULE.SRC"), "{ VPAC\n  Name = V  Pages = 2\n}\n");
}

// Compiled modules: a header with the attribute bytes at their offsets.
std::string ModuleBytes(int type, std::size_t size = 40)
{
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(0xA0 + i % 16);  // filler that must survive
    auto put = [&](std::size_t offset, int value) {
        if (offset < size)
            bytes[offset] = static_cast<char>(value);
    };
    put(12, 3);
    put(14, -4);
    put(16, 12);
    put(18, 6);
    put(20, type);
    put(32, 5);
    put(33, 15);
    return bytes;
}

struct ModuleCase {
    const char* name;
    int type;
    const char* cells;
};

class CompiledModuleRead : public ::testing::TestWithParam<ModuleCase> {};

TEST_P(CompiledModuleRead, ReadsHeaderBytes)
{
    TempDir dir;
    const std::string file = dir.Write(GetParam().name, ModuleBytes(GetParam().type));
    Outcome read = RunHeader(file, kRead);
    ASSERT_TRUE(read.ok) << MessageAfterName(read.message, file);
    EXPECT_EQ(Cells(*read.table), GetParam().cells);
    EXPECT_EQ(read.table->rows, 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Header, CompiledModuleRead,
    ::testing::Values(
        ModuleCase{"PUMP.TSC", 8, "7|...|...|3|-4|12|...|1.5 s|5|...|...|...|...|...|..."},
        ModuleCase{"data.dpc", 1, "8|...|...|3|-4|12|6|...|...|...|...|...|...|...|..."},
        ModuleCase{"DATA.DPC", 4, "8|...|...|3|-4|12|6|...|...|...|...|...|...|...|..."},
        ModuleCase{"TEXTS.Txc", 5, "8|...|...|3|-4|12|6|...|...|...|...|...|...|...|..."}),
    [](const ::testing::TestParamInfo<ModuleCase>& info) {
        return "type" + std::to_string(info.param.type);
    });

TEST(ProgramHeader, CycleByteReadsAsMillisecondsOrTwoDigitSeconds)
{
    const std::vector<std::pair<int, std::string>> cases = {
        {0, "0 ms"},   {5, "500 ms"}, {9, "900 ms"}, {10, "1 s"},      {15, "1.5 s"},
        {20, "2 s"},   {99, "9.9 s"}, {100, "10 s"}, {105, "10 s"},    {106, "11 s"},
        {115, "12 s"}, {125, "12 s"}, {127, "13 s"}, {-16, "-1600 ms"}};
    for (const auto& [byte, text] : cases)
        EXPECT_EQ(CDeclarationHeaderParser::CycleText(byte), text) << byte;
}

TEST(ProgramHeader, CycleCellTextGivesTheByteToWrite)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"500 ms", "5"},   {"250ms", "2"},      {"1.5 s", "15"}, {"2 s", "20"},
        {" 12 S ", "120"}, {"-1600 ms", "-16"}, {"30", "30"},    {"1.25 s", "1.25 s"},
        {"x ms", "x ms"},  {". s", ". s"}};
    for (const auto& [cell, byteText] : cases)
        EXPECT_EQ(CProgramHeaderParser::CycleByteText(cell), byteText) << cell;
}

TEST(ProgramHeader, CompiledModuleOfUnknownTypeIsTheWrongKind)
{
    TempDir dir;
    for (const std::string& bytes : {ModuleBytes(2), ModuleBytes(8, 20)}) {
        const std::string file = dir.Write("BAD.TSC", bytes);
        Outcome read = RunHeader(file, kRead);
        EXPECT_FALSE(read.ok);
        EXPECT_EQ(read.status, kWrongKind);
        EXPECT_EQ(read.table, nullptr);
        EXPECT_EQ(MessageAfterName(read.message, file),
                  bytes.size() > 20 ? "1, 4, 5, 8|2|20|" : "1, 4, 5, 8||20|");
    }
}

// Writes the compiled module `name`, reads it and updates it with the table
// read, the `cells` (column, text) changed.
Outcome UpdateModule(const TempDir& dir, const std::string& name, const std::string& bytes,
                     const std::vector<std::pair<int, std::string>>& cells = {})
{
    const std::string file = dir.Write(name, bytes);
    Outcome read = RunHeader(file, kRead);
    EXPECT_TRUE(read.ok) << MessageAfterName(read.message, file);
    if (!read.ok)
        return read;
    for (const auto& [column, text] : cells)
        read.table->SetAttribute(column, text);
    return RunHeader(file, kUpdate, std::move(read.table));
}

TEST(ProgramHeader, CompiledModuleUpdateWithUnchangedTableKeepsEveryByte)
{
    TempDir dir;
    for (int cycle : {5, 15, 101, 105, 127}) {
        std::string bytes = ModuleBytes(8);
        bytes[33] = static_cast<char>(cycle);
        ASSERT_TRUE(UpdateModule(dir, "PUMP.TSC", bytes).ok);
        EXPECT_EQ(dir.Read("PUMP.TSC"), bytes) << cycle;
    }
}

TEST(ProgramHeader, CompiledModuleUpdatePatchesOnlyTheChangedBytes)
{
    TempDir dir;
    const std::string original = ModuleBytes(8);
    const std::vector<std::pair<std::string, int>> cycles = {
        {"700 ms", 7}, {"2.5 s", 25}, {"30", 30}, {"1.5 s", 15}};
    for (const auto& [cycleCell, cycleByte] : cycles) {
        ASSERT_TRUE(UpdateModule(dir, "PUMP.TSC", original,
                                 {{kPlaColumn, "9"},
                                  {kElaColumn, kEmptyCell},
                                  {kPriorityColumn, "-2"},
                                  {kPagesColumn, "77"},  // a task module has no pages byte
                                  {kCycleColumn, cycleCell}})
                        .ok);
        std::string expected = original;
        expected[12] = 9;
        expected[32] = static_cast<char>(-2);
        expected[33] = static_cast<char>(cycleByte);
        EXPECT_EQ(dir.Read("PUMP.TSC"), expected) << cycleCell;
    }
}

TEST(ProgramHeader, CompiledDataModuleUpdateWritesPages)
{
    TempDir dir;
    const std::string original = ModuleBytes(4);
    ASSERT_TRUE(UpdateModule(dir, "DATA.DPC", original,
                             {{kPagesColumn, "40"},
                              {kLineNumberColumn, "300"},  // the low byte is written
                              {kCycleColumn, "5"}})        // a data module has no cycle byte
                    .ok);
    std::string expected = original;
    expected[18] = 40;
    expected[16] = static_cast<char>(300 & 0xFF);
    EXPECT_EQ(dir.Read("DATA.DPC"), expected);
}

TEST(ProgramHeader, CompiledModuleUpdateForAnotherKindFailsAndKeepsTheFile)
{
    TempDir dir;
    const std::string original = ModuleBytes(8);
    Outcome update =
        UpdateModule(dir, "PUMP.TSC", original, {{kKindColumn, "8"}, {kPlaColumn, "1"}});
    EXPECT_FALSE(update.ok);
    EXPECT_EQ(update.status, kWrongKind);
    EXPECT_EQ(MessageAfterName(update.message, dir.Path("PUMP.TSC")), "8|8|20|");
    EXPECT_EQ(dir.Read("PUMP.TSC"), original);
    EXPECT_EQ(dir.Files(), (std::vector<std::string>{"PUMP.TSC"}));
}

TEST(ProgramHeader, ShortCompiledModuleReadsWhatItHasAndIsNeverExtended)
{
    TempDir dir;
    const std::string original = ModuleBytes(8, 30);
    const std::string file = dir.Write("PUMP.TSC", original);
    Outcome read = RunHeader(file, kRead);
    ASSERT_TRUE(read.ok);
    EXPECT_EQ(Cells(*read.table), "7|...|...|3|-4|12|...|...|...|...|...|...|...|...|...");
    ASSERT_TRUE(
        UpdateModule(dir, "PUMP.TSC", original, {{kPriorityColumn, "3"}, {kCycleColumn, "2 s"}})
            .ok);
    EXPECT_EQ(dir.Read("PUMP.TSC"), original);
}

}  // namespace

namespace {

// Damaged and shuffled variants of the golden sources: whatever reads must,
// after an update with its own table, read back as the same table; whatever
// does not read leaves the file alone on update.
TEST(ProgramHeader, MutatedSourcesReadBackWhatAnUpdateWrote)
{
    std::vector<std::string> sources;
    for (const std::string& name : CaseNames("header", ".case"))
        sources.push_back(LoadCase(std::filesystem::path(TOLVIK_TEST_DATA) / "header" /
                                   (name + ".case"))["source"]);
    const std::string alphabet = "{}=/;\n\t ANPLEC_$0MSqx\r\x1a";
    std::mt19937 random(20261122);
    TempDir dir;
    int readable = 0;
    for (int round = 0; round < 200; ++round) {
        std::string text = sources[random() % sources.size()];
        const int edits = 1 + static_cast<int>(random() % 2);
        for (int e = 0; e < edits && !text.empty(); ++e) {
            const std::size_t at = random() % text.size();
            switch (random() % 3) {
                case 0:
                    text.erase(at, 1);
                    break;
                case 1:
                    text.insert(at, 1, alphabet[random() % alphabet.size()]);
                    break;
                default:
                    text[at] = alphabet[random() % alphabet.size()];
            }
        }
        const std::string file = dir.Write("MODULE.SRC", text);
        Outcome read = RunHeader(file, kRead);
        auto table = read.ok ? CopyOf(*read.table) : std::make_unique<CAttributeList>();
        const std::string cells = read.ok ? Cells(*read.table) : std::string();
        Outcome update = RunHeader(file, kUpdate, std::move(table));
        std::filesystem::remove(dir.Path("MODULE.BAK"));
        if (!read.ok) {
            EXPECT_FALSE(update.ok) << text;
            EXPECT_EQ(dir.Read("MODULE.SRC"), text);
            continue;
        }
        ++readable;
        ASSERT_TRUE(update.ok) << text;
        Outcome reread = RunHeader(file, kRead);
        ASSERT_TRUE(reread.ok) << text << "\n---\n" << dir.Read("MODULE.SRC");
        EXPECT_EQ(Cells(*reread.table), cells) << text;
    }
    EXPECT_GT(readable, 20);
}

}  // namespace
