#include "textfile/Scanner.h"

#include <gtest/gtest.h>

#include <vector>

using namespace tolvik;

namespace {

// The classes of the program-header kind, with quotes added for the cases that
// need them.
class HeaderScanner : public CScanner {
public:
    HeaderScanner(std::string_view text, int mode = kRead) : CScanner(text, true, mode, false)
    {
        SetClass("/={}", kPunctuatorChar);
        SetClass(";", kCommentChar);
        SetClass("\"'", kQuoteChar);
    }
};

struct Token {
    int kind;
    std::string text;
    bool operator==(const Token& other) const { return kind == other.kind && text == other.text; }
};
void PrintTo(const Token& t, std::ostream* os)
{
    *os << t.kind << ":\"" << t.text << "\"";
}

std::vector<Token> Tokens(std::string_view text)
{
    HeaderScanner scanner(text);
    std::vector<Token> tokens;
    do {
        scanner.GetToken();
        tokens.push_back({scanner.tokenKind, scanner.tokenText});
    } while (scanner.tokenKind != kEndOfFile && tokens.size() < 50);
    return tokens;
}

struct ScanCase {
    const char* name;
    const char* text;
    std::vector<Token> tokens;
};
void PrintTo(const ScanCase& c, std::ostream* os)
{
    *os << c.name;
}

class Scanning : public ::testing::TestWithParam<ScanCase> {};

TEST_P(Scanning, YieldsTokens)
{
    EXPECT_EQ(Tokens(GetParam().text), GetParam().tokens);
}

const Token kEnd{kEndOfFile, ""};
const Token kNewline{kPunctuator, "\n"};

INSTANTIATE_TEST_SUITE_P(
    Cases, Scanning,
    ::testing::Values(
        ScanCase{"assignment",
                 "NAME=Pump1\n",
                 {{kWord, "NAME"}, {kPunctuator, "="}, {kWord, "Pump1"}, kNewline, kEnd}},
        ScanCase{"comment keeps its blank",
                 "TASK ; main task\n",
                 {{kWord, "TASK"}, {kComment, " main task"}, kNewline, kEnd}},
        ScanCase{"empty line", "\n", {kNewline, kEnd}},
        ScanCase{"empty quoted word", "\"\"\n", {{kWord, ""}, kNewline, kEnd}},
        ScanCase{"unterminated quote stops at line end",
                 "\"abc\nx",
                 {{kWord, "abc"}, kNewline, {kWord, "x"}, kEnd}},
        ScanCase{"quoted word keeps blanks", "'a b' c", {{kWord, "a b"}, {kWord, "c"}, kEnd}},
        ScanCase{"word characters",
                 "$BUF DEF_L 1.5E3 -x+y",
                 {{kWord, "$BUF"}, {kWord, "DEF_L"}, {kWord, "1.5E3"}, {kWord, "-x+y"}, kEnd}},
        ScanCase{
            "last line without line end", "{ TASK", {{kPunctuator, "{"}, {kWord, "TASK"}, kEnd}},
        ScanCase{"trailing blanks at the end", "a   ", {{kWord, "a"}, kEnd}},
        ScanCase{"comment on last line", "x;c", {{kWord, "x"}, {kComment, "c"}, kEnd}},
        ScanCase{"slash options",
                 "PROG/FAST /X",
                 {{kWord, "PROG"},
                  {kPunctuator, "/"},
                  {kWord, "FAST"},
                  {kPunctuator, "/"},
                  {kWord, "X"},
                  kEnd}},
        ScanCase{
            "tabs and carriage returns are blanks", "\ta\r\n", {{kWord, "a"}, kNewline, kEnd}}));

TEST(Scanner, WordsLongerThanTheLimitAreSplit)
{
    HeaderScanner scanner("abcdefgh=");
    scanner.GetToken(5);
    EXPECT_EQ(scanner.tokenText, "abcde");
    scanner.GetToken(5);
    EXPECT_EQ(scanner.tokenText, "fgh");
    EXPECT_EQ(scanner.tokenKind, kWord);
    // A line read never holds a word as long as the token limit.
    HeaderScanner longLine(std::string(1500, 'w'));
    longLine.GetToken();
    EXPECT_EQ(longLine.tokenText.size(), 1022u);
}

TEST(Scanner, QuoteLimitLosesTheCharacterAfterIt)
{
    HeaderScanner scanner("'abcdef' g");
    scanner.GetToken(3);
    EXPECT_EQ(scanner.tokenText, "abc");
    scanner.GetToken();
    EXPECT_EQ(scanner.tokenText, "ef");  // "d" was taken and dropped
}

TEST(Scanner, SkippedSpaceIsKeptOnlyWhenRewriting)
{
    HeaderScanner reading("  a\t b\n");
    HeaderScanner updating("  a\t b\n", kUpdate);
    for (HeaderScanner* s : {&reading, &updating}) {
        s->GetToken();
        s->GetToken();
    }
    EXPECT_EQ(reading.skippedSpace, "");
    EXPECT_EQ(updating.skippedSpace, "  \t ");
}

TEST(Scanner, LineNumbersCountTheLineEndToken)
{
    HeaderScanner scanner("a\n\nb\n");
    std::vector<int> lines;
    do {
        scanner.GetToken();
        lines.push_back(scanner.lineNumber);
    } while (scanner.tokenKind != kEndOfFile);
    // After the final line end the end is found on line 4.
    EXPECT_EQ(lines, (std::vector<int>{1, 2, 3, 3, 4, 4}));
}

struct DelimitedCase {
    const char* text;
    char stop1, stop2;
    const char* value;
    int kind;
};

class Delimited : public ::testing::TestWithParam<DelimitedCase> {};

TEST_P(Delimited, TakesUpToStopAndTrims)
{
    const DelimitedCase& c = GetParam();
    CScanner scanner(c.text, true, kRead, false);
    scanner.SetClass("=[]", kPunctuatorChar);
    scanner.SetClass(";", kCommentChar);
    scanner.SetClass("\"", kQuoteChar);
    scanner.GetToken(kDelimited, c.stop1, c.stop2);
    EXPECT_EQ(scanner.tokenText, c.value);
    EXPECT_EQ(scanner.tokenKind, c.kind);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Delimited,
    ::testing::Values(DelimitedCase{"  value with blanks  ; c\n", ';', '\n', "value with blanks",
                                    1},
                      DelimitedCase{" \"quoted; not\" \n", '\n', '\0', "quoted; not", 1},
                      DelimitedCase{"Section Name]\n", ']', '\n', "Section Name", 1},
                      DelimitedCase{"   \n", ';', '\n', "", 1},
                      DelimitedCase{"=x\n", ';', '\n', "=x", 3},
                      DelimitedCase{"\"\"\"\n", ';', '\n', "\"", 7}));

}  // namespace
