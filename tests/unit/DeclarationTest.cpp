// Inserting and removing declarations: the declaration parser, the key rule,
// and golden cases (file + request -> rewritten file or error record).
#include "declarations/DeclarationParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "TestSupport.h"
#include "textfile/Charset.h"
#include "tolvik32.h"

using namespace tolvik;
using namespace tolvik::test;

namespace {

TEST(DeclarationKey, FoldsBlanksIgnoresCaseAndStopsAtEquals)
{
    const std::pair<const char*, const char*> cases[] = {
        {"R COUNT = 0", "R COUNT"},
        {"r  count=5", "R COUNT"},
        {"NAME = Pump1", "NAME"},
        {"L RUN", "L RUN"},
        {"\tA \t B\t= 1 = 2", "A B"},
        {"x\xe4 = 1", "X\xc4"},
        {"= 5", ""},
    };
    for (const auto& [declaration, key] : cases)
        EXPECT_EQ(CDeclarationParser::KeyOf(declaration), key) << declaration;
}

// Parses a wrapped declaration in memory, as the exports do.
std::unique_ptr<CAttributeList> Parse(const std::string& text, std::string& message)
{
    CDeclarationParser reader(text, true, kRead, DeclarationAction::kInsert);
    std::unique_ptr<CAttributeList> list;
    RunParser(reader, list, message);
    return list;
}

TEST(DeclarationParser, ReadsKeywordTextAndComment)
{
    std::string message;
    auto list = Parse("{ VAR   R  COUNT = 0   ;  two blanks  \n}", message);
    ASSERT_TRUE(list);
    EXPECT_EQ(list->rows, 1u);
    EXPECT_EQ(list->columns, 3u);
    EXPECT_EQ(*list->GetAttribute(0, kDeclKeywordColumn), "VAR");
    EXPECT_EQ(*list->GetAttribute(0, kDeclTextColumn), "R  COUNT = 0");
    // One leading blank goes, as for every comment read; trailing blanks too.
    EXPECT_EQ(*list->GetAttribute(0, kDeclCommentColumn), " two blanks");
    EXPECT_EQ(message, "\x1a");

    list = Parse("{ VAR X\t=\t1\n}", message);
    ASSERT_TRUE(list);
    EXPECT_EQ(*list->GetAttribute(0, kDeclTextColumn), "X\t=\t1");
    EXPECT_EQ(*list->GetAttribute(0, kDeclCommentColumn), kEmptyCell);
}

TEST(DeclarationParser, TextThatDoesNotParseGivesNoTable)
{
    std::string message;
    EXPECT_FALSE(Parse("{ VAR\n}", message));
    EXPECT_EQ(message,
              "\x1aIDENTIFIER\x1a\n\x1a"
              "2\x1a");
    EXPECT_FALSE(Parse("VAR X\n}", message));
    EXPECT_EQ(message,
              "\x1a{\x1aVAR\x1a"
              "1\x1a");
    // A declaration as long as a whole line piece cannot be told from the rest.
    EXPECT_FALSE(Parse("{ VAR X = " + std::string(1100, '1') + "\n}", message));
}

class DeclarationGolden : public ::testing::TestWithParam<std::string> {};

// request.txt: "insert" or "remove", the keyword, the declaration ("\n" in it
// stands for a line end). expected.src is the file afterwards; expected.err the
// error record ("|" for the separator byte), the file then staying as it was.
TEST_P(DeclarationGolden, RewritesFileOrReportsError)
{
    const fs::path dir = fs::path(TOLVIK_TEST_DATA) / "decl" / GetParam();
    std::istringstream request(ReadBytes(dir / "request.txt"));
    std::string action, keyword, declaration;
    std::getline(request, action);
    std::getline(request, keyword);
    std::getline(request, declaration);
    for (std::size_t at; (at = declaration.find("\\n")) != std::string::npos;)
        declaration.replace(at, 2, "\n");
    const std::string input = ReadBytes(dir / "input.src");

    TempDir temp;
    temp.Write("PROG.SRC", input);
    char err[4096] = "untouched";
    const int32_t result =
        action == "remove" ? IntpRemoveDecl("PROG.SRC", keyword.c_str(), declaration.c_str(), err)
                           : IntpInsertDecl("PROG.SRC", keyword.c_str(), declaration.c_str(), err);

    if (std::filesystem::exists(dir / "expected.src")) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(std::string(err), "0\x1a\x1a\x1a\x1a\x1a");
        EXPECT_EQ(temp.Read("PROG.SRC"), ReadBytes(dir / "expected.src"));
        EXPECT_EQ(temp.Read("PROG.BAK"), input);
    } else {
        EXPECT_EQ(result, 0);
        EXPECT_EQ(std::string(err), Record(ReadBytes(dir / "expected.err")));
        EXPECT_EQ(temp.Read("PROG.SRC"), input);
        EXPECT_EQ(temp.Files(), std::vector<std::string>{"PROG.SRC"});  // no backup, no temp file
    }
}

INSTANTIATE_TEST_SUITE_P(Files, DeclarationGolden, ::testing::ValuesIn(CaseNames("decl")),
                         CaseTestName);

TEST(DeclarationUpdate, OverLongLineInBlockIsNeverCutApart)
{
    TempDir temp;
    const std::string longLine = "  A = " + std::string(1500, '7') + "\n";
    temp.Write("P.SRC", "{ VAR\n" + longLine + "}\n");
    char err[4096];
    ASSERT_EQ(IntpRemoveDecl("P.SRC", "VAR", "A", err), -1);
    EXPECT_EQ(temp.Read("P.SRC"), "{ VAR\n" + longLine + "}\n");
    ASSERT_EQ(IntpInsertDecl("P.SRC", "VAR", "B = 1", err), -1);
    EXPECT_EQ(temp.Read("P.SRC"), "{ VAR\n" + longLine + "  B = 1\n}\n");
}

TEST(DeclarationUpdate, WithoutParsedDeclarationTheFileStays)
{
    TempDir temp;
    temp.Write("P.SRC", "{ VAR\n  A = 1\n}\n");
    CDeclarationParser writer("P.SRC", false, kUpdate, DeclarationAction::kRemove);
    auto table = std::make_unique<CAttributeList>();
    table->columns = 3;
    for (const char* cell : {"VAR", "= 1", kEmptyCell})  // a declaration without a name
        table->AddAttribute(cell);
    std::string message;
    EXPECT_FALSE(RunParser(writer, table, message));
    EXPECT_EQ(message,
              "P.SRC\x1aIDENTIFIER\x1a\x1a"
              "1\x1a");
    EXPECT_EQ(temp.Read("P.SRC"), "{ VAR\n  A = 1\n}\n");
    EXPECT_EQ(temp.Files(), std::vector<std::string>{"P.SRC"});
}

// The file is in the OEM code page (850 here), the host's text in ANSI (1252):
// keys are compared in ANSI, the new line is written in OEM, and the first line
// of the file, which arrives unconverted, is looked at converted too.
TEST(DeclarationUpdate, ConvertsBetweenHostAndFileCodePages)
{
    ASSERT_TRUE(SetCodePages(850, 1252));
    TempDir temp;
    temp.Write("P.SRC",
               "{ MA\xe1"
               "E\n  Gr\x94\xe1"
               "e = 1 ; alt\n}\n");
    char err[4096];
    const int32_t result = IntpInsertDecl("P.SRC",
                                          "ma\xdf"
                                          "e",
                                          "gr\xf6\xdf"
                                          "e = 2 ; L\xe4nge",
                                          err);
    const std::string file = temp.Read("P.SRC");
    SetCodePages(0, 0);
    EXPECT_EQ(result, -1) << err;
    EXPECT_EQ(file,
              "{ MA\xe1"
              "E\n  gr\x94\xe1"
              "e = 2 ; L\x84nge\n}\n");
}

}  // namespace
