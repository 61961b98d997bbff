#include "profiles/ProfileFileParser.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>

#include "TestSupport.h"
#include "api/Frame.h"
#include "textfile/Platform.h"

using namespace tolvik;
using namespace tolvik::test;

namespace {

constexpr long kListing = kProfileListing;

// Cells as the golden files spell them: "..." for an empty cell, "\r", "\n",
// "\b" (deletion mark), "\|" and "\\" escaped, rows one per line, cells split
// at "|".
std::string EscapeCell(const std::string& cell)
{
    if (cell == kEmptyCell)
        return "...";
    std::string out;
    for (char c : cell) {
        switch (c) {
            case '\r':
                out += "\\r";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\b':
                out += "\\b";
                break;
            case '|':
                out += "\\|";
                break;
            case '\\':
                out += "\\\\";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::vector<std::string> SplitRow(const std::string& line)
{
    std::vector<std::string> cells(1);
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '|') {
            cells.emplace_back();
        } else if (c == '\\' && i + 1 < line.size()) {
            const char e = line[++i];
            cells.back() += e == 'r' ? '\r' : e == 'n' ? '\n' : e == 'b' ? '\b' : e;
        } else {
            cells.back() += c;
        }
    }
    for (std::string& cell : cells)
        if (cell == "...")
            cell = kEmptyCell;
    return cells;
}

std::string Dump(const CAttributeList& list)
{
    return DumpTable(&list, [](const std::string* cell) { return EscapeCell(*cell); });
}

std::unique_ptr<CAttributeList> TableFrom(const std::string& text)
{
    auto list = std::make_unique<CAttributeList>();
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        std::vector<std::string> cells = SplitRow(line);
        if (list->rows == 0)
            list->columns = static_cast<std::uint32_t>(cells.size());
        cells.resize(list->columns, kEmptyCell);
        for (const std::string& cell : cells)
            list->AddAttribute(cell);
        ++list->rows;
    }
    return list;
}

struct ReadOutcome {
    bool ok = false;
    std::size_t result = 0;
    std::string message;
    std::unique_ptr<CAttributeList> table;
};

ReadOutcome ReadProfile(const std::string& file, long flags,
                        std::unique_ptr<CAttributeList> request = nullptr)
{
    if (!request && (flags & kListing))
        request = CProfileFileParser::DefaultRequest();
    ReadOutcome outcome;
    CProfileFileParser parser(file, false, kRead, flags);
    outcome.table = std::move(request);
    outcome.ok = RunParser(parser, outcome.table, outcome.message);
    outcome.result = outcome.ok ? parser.LongestCell() + 1 : 0;
    return outcome;
}

bool WriteProfile(const std::string& file, long flags, std::unique_ptr<CAttributeList> table,
                  std::string* message = nullptr)
{
    CProfileFileParser parser(file, false, kWrite, flags);
    std::string text;
    const bool ok = RunParser(parser, table, text);
    if (message)
        *message = text;
    return ok;
}

// The message with the file name replaced by FILE, separators shown as "|"
// and line ends as "\\n".
std::string ShowMessage(const std::string& message, const std::string& file)
{
    return Shown(FileAsFILE(message, file));
}

std::filesystem::path CaseDir(const char* group, const std::string& name)
{
    return std::filesystem::path(TOLVIK_TEST_DATA) / "profile" / group / name;
}

long CaseFlags(const std::filesystem::path& dir)
{
    return NumberInBuffer(ReadBytes(dir / "flags").c_str());
}

// Golden read cases: input.ini, flags, an optional request table, and the
// expected result ("result N" and the table) or message ("error" and it).
class ProfileReadCase : public ::testing::TestWithParam<std::string> {};

TEST_P(ProfileReadCase, GivesTheExpectedTableOrMessage)
{
    const auto dir = CaseDir("read", GetParam());
    TempDir temp;
    const std::string file = temp.Write("case.ini", ReadBytes(dir / "input.ini"));
    std::unique_ptr<CAttributeList> request;
    if (std::filesystem::exists(dir / "request"))
        request = TableFrom(ReadBytes(dir / "request"));
    ReadOutcome outcome = ReadProfile(file, CaseFlags(dir), std::move(request));

    std::string actual;
    if (outcome.ok) {
        actual = "result " + std::to_string(outcome.result) + "\n" + Dump(*outcome.table);
    } else {
        EXPECT_EQ(outcome.table, nullptr);
        actual = "error " + ShowMessage(outcome.message, file) + "\n";
    }
    EXPECT_EQ(actual, ReadBytes(dir / "expected"));
}

INSTANTIATE_TEST_SUITE_P(Golden, ProfileReadCase, ::testing::ValuesIn(CaseNames("profile/read")),
                         CaseTestName);

// Golden write cases: the file before (input.ini), flags, the table written,
// and the file after (expected.ini). Reading the result must give back what
// the table says.
class ProfileWriteCase : public ::testing::TestWithParam<std::string> {};

TEST_P(ProfileWriteCase, GivesTheExpectedFile)
{
    const auto dir = CaseDir("write", GetParam());
    TempDir temp;
    const std::string file = temp.Write("case.ini", ReadBytes(dir / "input.ini"));
    const long flags = CaseFlags(dir);
    std::string message;
    ASSERT_TRUE(WriteProfile(file, flags, TableFrom(ReadBytes(dir / "table")), &message))
        << ShowMessage(message, file);
    EXPECT_EQ(temp.Read("case.ini"), ReadBytes(dir / "expected.ini"));
    EXPECT_EQ(temp.Files(), std::vector<std::string>({"case.BAK", "case.ini"}));
}

INSTANTIATE_TEST_SUITE_P(Golden, ProfileWriteCase, ::testing::ValuesIn(CaseNames("profile/write")),
                         CaseTestName);

TEST(ProfileGolden, CasesArePresent)
{
    EXPECT_GE(CaseNames("profile/read").size(), 10u);
    EXPECT_GE(CaseNames("profile/write").size(), 4u);
}

struct WildcardCase {
    std::string pattern;
    std::string name;
    bool matches;
};

TEST(ProfileWildcards, MatchAsTheTableSays)
{
    const WildcardCase cases[] = {
        {"*", "", true},
        {"*", "[odd]", true},
        {"SEC*", "section1", true},
        {"sec*", "SEC", true},
        {"*1", "section1", true},
        {"*1", "section12", false},
        {"s*n*1", "section1", true},
        {"+", "", false},
        {"+", "x", true},
        {"SEC+", "SEC", false},
        {"SEC+", "SECT", true},
        {"+ION", "ION", false},
        {"?", "", false},
        {"?", "a", true},
        {"?", "ab", false},
        {"a?c", "abc", true},
        {"a?c", "ac", false},
        {"abc", "ABC", true},
        {"abc", "abcd", false},
        {"[abc]", "[abc]", false},
        {"*[", "x[", false},
        {"a*[", "a", false},
        {"**", "", true},
        {"*?*", "", false},
        {"*a*a*a*a*a*a*a*b", std::string(200, 'a'), false},
        {"", "", true},
        {"", "a", false},
        {"\xe4*", "\xc4x", true},  // a-umlaut: Windows-1252 upper case
    };
    for (const WildcardCase& c : cases)
        EXPECT_EQ(WildcardMatches(c.pattern, c.name), c.matches)
            << "pattern \"" << c.pattern << "\" name \"" << c.name << "\"";
}

// The files of a cycle: read, write the unchanged table back, read again.
class ProfileRoundTrip : public ::testing::TestWithParam<long> {};

TEST_P(ProfileRoundTrip, UnchangedTableReadsBackTheSame)
{
    const long flags = GetParam();
    TempDir temp;
    const std::string file = temp.Write(
        "round.ini",
        "; settings\r\n[Main] ; the main part\r\nName = \"Pump 1\" ; first\r\nSpeed=12\r\n"
        "Speed = 13\r\nText = [\r\n  line one\r\n\r\n  line three\r\n]\r\n\r\n"
        "[Other]\r\nEmpty =\r\nQuoted = \"a \"b\" \" ; it's \"quoted\"\r\n"
        "\"Two Words\" = x\r\n[Main]\r\nName = two\r\n");
    std::unique_ptr<CAttributeList> request;
    if (!(flags & kListing))
        request = TableFrom("...|name|speed|TEXT|Empty|quoted|two words\n*\n");
    ReadOutcome first = ReadProfile(file, flags, request ? TableFrom(Dump(*request)) : nullptr);
    ASSERT_TRUE(first.ok) << ShowMessage(first.message, file);
    const std::string before = Dump(*first.table);

    ASSERT_TRUE(WriteProfile(file, flags, std::move(first.table)));
    const std::string written = temp.Read("round.ini");
    ReadOutcome second = ReadProfile(file, flags, request ? TableFrom(Dump(*request)) : nullptr);
    ASSERT_TRUE(second.ok) << ShowMessage(second.message, file);
    EXPECT_EQ(Dump(*second.table), before) << written;
    EXPECT_EQ(second.result, first.result);

    // A second cycle changes nothing at all.
    ASSERT_TRUE(WriteProfile(file, flags, std::move(second.table)));
    EXPECT_EQ(temp.Read("round.ini"), written);
}

INSTANTIATE_TEST_SUITE_P(BothShapes, ProfileRoundTrip, ::testing::Values(kListing, 0L),
                         [](const auto& info) {
                             return std::string(info.param ? "Listing" : "Selection");
                         });

// Files made of profile fragments in random order: whatever reads must write
// back and read again as the same table, and a second write changes nothing.
TEST(ProfileRoundTrip, GeneratedFilesReadBackAfterWriting)
{
    const char* fragments[] = {"[",   "]",         "=",       ";",          "\"",      " ",
                               "\t",  "\n",        "\r\n",    "A",          "b",       "Name",
                               "x y", "[S]\n",     "K = v\n", "K = [\n",    "]\n",     "*",
                               "?",   "[T] ; c\n", "k=1;c\n", "\"K\" = \"", "\x81\xe4"};
    std::mt19937 random(20261122);
    TempDir temp;
    int readable = 0;
    for (int round = 0; round < 150; ++round) {
        std::string text;
        const int count = 5 + static_cast<int>(random() % 40);
        for (int i = 0; i < count; ++i)
            text += fragments[random() % std::size(fragments)];
        for (const long flags : {kListing, 0L}) {
            const std::string file = temp.Write("gen.ini", text);
            auto request = [&] { return flags ? nullptr : TableFrom("...|K|name|A\n*\n"); };
            ReadOutcome first = ReadProfile(file, flags, request());
            if (!first.ok)
                continue;
            ++readable;
            const std::string before = Dump(*first.table);
            ASSERT_TRUE(WriteProfile(file, flags, std::move(first.table)));
            const std::string written = temp.Read("gen.ini");
            ReadOutcome second = ReadProfile(file, flags, request());
            ASSERT_TRUE(second.ok) << "from:\n" << text << "\nwritten:\n" << written;
            ASSERT_EQ(Dump(*second.table), before) << "from:\n"
                                                   << text << "\nwritten:\n"
                                                   << written;
            ASSERT_TRUE(WriteProfile(file, flags, std::move(second.table)));
            ASSERT_EQ(temp.Read("gen.ini"), written) << "from:\n" << text;
        }
    }
    EXPECT_GT(readable, 50);
}

// A table written over a file (empty unless `old` says otherwise), and the file
// read back with the same flags (a selection with `request`). The file holds
// the table and nothing of the old text.
struct TableFileCase {
    const char* name;
    long flags;
    const char* table;
    const char* file;
    const char* request;
    const char* readBack;  // nullptr: not read back
    const char* old = "";
};

class ProfileWriteFromTable : public ::testing::TestWithParam<TableFileCase> {};

TEST_P(ProfileWriteFromTable, GivesTheTablesFileAndReadsItBack)
{
    const TableFileCase& c = GetParam();
    TempDir temp;
    const std::string file = temp.Write("new.ini", c.old);
    std::string message;
    ASSERT_TRUE(WriteProfile(file, c.flags, TableFrom(c.table), &message))
        << ShowMessage(message, file);
    EXPECT_EQ(temp.Read("new.ini"), c.file);
    if (!c.readBack)
        return;
    ReadOutcome back = ReadProfile(file, c.flags, c.request ? TableFrom(c.request) : nullptr);
    ASSERT_TRUE(back.ok) << ShowMessage(back.message, file);
    EXPECT_EQ(Dump(*back.table), c.readBack);
}

const TableFileCase kTableFiles[] = {
    {"ListingInItsPlainLayout", kListing,
     "S|First|...|top\n"
     "P|Name|Pump|...\n"
     "P|Lines|one\\r\\ntwo|two\\r\\nlines\\n\n"
     "S|Second|...|...\n"
     "P|Empty||...\n"
     "P|NoValue|...|...\n"
     "P|...|nameless|...\n"
     "X|Ignored|row|...\n"
     "S|...|...|...\n"
     "P|InNameless|1|...\n",
     "[First] ; top\n"
     "Name = \"Pump\"\n"
     "Lines = [\none\ntwo\n] ; two  lines\n"
     "\n"
     "[Second]\n"
     "Empty = \"\"\n"
     "NoValue = \"\"\n",
     nullptr,
     "S|First|...|top\n"
     "P|Name|Pump|...\n"
     "P|Lines|one\\r\\ntwo\\r\\n|two  lines\n"
     "S|Second|...|...\n"
     "P|Empty||...\n"
     "P|NoValue||...\n"},
    {"SelectionSplitsJoinedValuesIntoRepeatedLines", 0,
     "...|Path|Mode|Gone\n"
     "Dirs|a\\r\\nb\\r\\n\\r\\nc|...|\\b\n"
     "...|nameless|...|...\n"
     "More|\\r\\n|x|...\n",
     "[Dirs]\nPath = \"a\"\nPath = \"b\"\nPath = \"c\"\n"
     "[More]\nPath = [\n\n]\nMode = \"x\"\n",
     "...|path|mode\n*\n", "...|path|mode\nDirs|a\\r\\nb\\r\\nc|...\nMore|\\r\\n|x\n"},
    {"ValuesThatQuotesCannotCarryGoInAsBlocks", kListing,
     "S|S|...|...\n"
     "P|Lead|  indented|...\n"
     "P|Semi|a;b|...\n"
     "P|Eq|=x|...\n",
     "[S]\nLead = [\n  indented\n]\nSemi = [\na;b\n]\nEq = [\n=x\n]\n", nullptr,
     "S|S|...|...\nP|Lead|  indented\\r\\n|...\nP|Semi|a;b\\r\\n|...\n"
     "P|Eq|=x\\r\\n|...\n"},
    {"SelectedValuesThatQuotesCannotCarryGoInAsBlocks", 0, "...|K\nS|one\\r\\n  two;\n",
     "[S]\nK = [\none\n  two;\n]\n", nullptr, nullptr},
    {"CommentWithEndOfTextByteIsWrittenWithABlank", kListing,
     "S|S|...|a\x1a"
     "b\n",
     "[S] ; a b\n", nullptr, "S|S|...|a b\n"},
    // A column without a name has nothing to write its values under; its
    // empty-cell byte in the file would hide every later line from reading.
    {"SelectionColumnWithoutNameIsNotWritten", 0, "...|K|...\nS|1|lost\nT|2|...\n",
     "[S]\nK = \"1\"\n[T]\nK = \"2\"\n", "...|K\n*\n", "...|K\nS|1\nT|2\n"},
    {"SectionNameWithBlanksAtItsEndsIsQuoted", kListing, "S| a |...|...\nP|K|1|...\n",
     "[\" a \"]\nK = \"1\"\n", nullptr, "S| a |...|...\nP|K|1|...\n"},
    // Over a file that held more: only the table is left.
    {"EmptyTableEmptiesTheFile", kListing, "", "", nullptr, "", "[S] ; c\nA = 1\n; note\n"},
    {"EmptyTableLeavesNothingAfterAnEndOfTextByte", kListing, "", "", nullptr, "", "\x1a old tail"},
    {"ListingEmptyValueIsWrittenEmptyAndReadsBackEmpty", kListing, "S|S|...|...\nP|K|...|...\n",
     "[S]\nK = \"\"\n", nullptr, "S|S|...|...\nP|K||...\n", "[S]\nK = 5\n"},
    {"SelectionOverAFileWithAStrayLineReadsBack", 0, "...|A\nS|2\n", "[S]\nA = \"2\"\n",
     "...|A\n*\n", "...|A\nS|2\n", "[S]\nA = 1\nBroken line\n[T]\nA = 3\n"}};

INSTANTIATE_TEST_SUITE_P(ProfileWrite, ProfileWriteFromTable, ::testing::ValuesIn(kTableFiles),
                         [](const auto& info) { return std::string(info.param.name); });

// Names and values that no file can carry so that they read back fail the
// write before anything changes: "]" or a line end in a section name, a quote
// or a line end in a parameter name, a line that would end a block value, a
// parameter before every section.
TEST(ProfileWrite, NameOrValueThatWouldNotReadBackLeavesTheFileAsItWas)
{
    const struct {
        long flags;
        const char* table;
        const char* message;
    } cases[] = {
        {kListing, "S|a]b|...|...\n", "FILE|Section|a]b|0|"},
        {kListing, "S|two\\nlines|...|...\n", "FILE|Section|two\\nlines|0|"},
        {kListing, "S|S|...|...\nP|say\"hi|1|...\n", "FILE|Parameter|say\"hi|0|"},
        {kListing, "P|a\\rb|1|...\n", "FILE|Parameter|a\rb|0|"},
        {0, "...|K\\nL\nS|1\n", "FILE|Parameter|K\\nL|0|"},
        // A value line that would end its block early.
        {kListing, "S|S|...|...\nP|K|]|...\n", "FILE|IDENTIFIER|]|0|"},
        {kListing, "S|S|...|...\nP|K|a\\r\\n  ] b|...\n", "FILE|IDENTIFIER|a\r\\n  ] b|0|"},
        {0, "...|K\nS|[x]\n", "FILE|IDENTIFIER|[x]|0|"},
        // The end-of-text byte would hide the rest of the file from reading.
        {kListing,
         "S|S|...|...\nP|K|a\x1a"
         "b|...\n",
         "FILE|IDENTIFIER|a|b|0|"},
        {0,
         "...|K\nS|a\x1a"
         "b\n",
         "FILE|IDENTIFIER|a|b|0|"},
        // Reading stops at a parameter before the first section: the file
        // would read as empty.
        {kListing, "P|K|1|...\nS|S|...|...\n", "FILE|[|K|0|"},
    };
    const std::string content = "[S] ; kept\nK = 1\n";
    for (const auto& c : cases) {
        TempDir temp;
        const std::string file = temp.Write("p.ini", content);
        std::string message;
        EXPECT_FALSE(WriteProfile(file, c.flags, TableFrom(c.table), &message)) << c.table;
        EXPECT_EQ(ShowMessage(message, file), c.message);
        EXPECT_EQ(temp.Read("p.ini"), content);
        EXPECT_EQ(temp.Files(), std::vector<std::string>{"p.ini"});
    }
}

TEST(ProfileWrite, MissingFileFailsAndNothingIsCreated)
{
    TempDir temp;
    CProfileFileParser parser(temp.Path("absent.ini"), false, kWrite, kListing);
    EXPECT_FALSE(parser.IsOpen());
    EXPECT_EQ(parser.status, kMissing);
    EXPECT_TRUE(temp.Files().empty());
}

TEST(ProfileRead, LongestCellCountsJoinedValues)
{
    TempDir temp;
    const std::string file = temp.Write("j.ini", "[S]\nA = 12345\nA = 123\n");
    ReadOutcome outcome = ReadProfile(file, 0, TableFrom("...|a\n*\n"));
    ASSERT_TRUE(outcome.ok);
    // "12345" CR LF "123": 5 + 2 + 3 characters.
    EXPECT_EQ(outcome.result, 11u);
}

TEST(ProfileRead, InMemoryTextHasNoFileNameInItsMessage)
{
    CProfileFileParser parser("[S]\nA B\n", true, kRead, kListing);
    std::unique_ptr<CAttributeList> list = CProfileFileParser::DefaultRequest();
    std::string message;
    EXPECT_FALSE(RunParser(parser, list, message));
    EXPECT_EQ(message,
              "\x1a=\x1a"
              "B\x1a"
              "2\x1a");
}

TEST(ProfileRead, HighBytesAreNotConverted)
{
    TempDir temp;
    const std::string file = temp.Write("oem.ini", "[S]\nA = x\n[\x81\x94]\nB = \x84\xe1\n");
    ReadOutcome outcome = ReadProfile(file, kListing);
    ASSERT_TRUE(outcome.ok);
    EXPECT_EQ(Dump(*outcome.table),
              "S|S|...|...\nP|A|x|...\nS|\x81\x94|...|...\nP|B|\x84\xe1|...\n");
}

TEST(ProfileRead, FullTableShowsTheOverflowAndKeepsWhatFits)
{
    TempDir temp;
    std::string text = "[S]\n";
    for (int i = 0; i < 25000; ++i)
        text += "K" + std::to_string(i) + " = v\n";
    const std::string file = temp.Write("big.ini", text);
    ShownBoxes boxes;
    ReadOutcome outcome = ReadProfile(file, kListing);
    ASSERT_TRUE(outcome.ok);
    EXPECT_EQ(outcome.table->Count(), kTableCapacity);
    EXPECT_EQ(outcome.table->rows, kTableCapacity / 4);
    EXPECT_EQ(boxes.List().size(), 4u);  // the last parameter's row did not fit
}

}  // namespace
