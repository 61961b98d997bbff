// IntpInsertDecl and IntpRemoveDecl as a host calls them.
#include "CapiSupport.h"

namespace {

using namespace tolvik::test;

// The folder is the current directory too: an update leaves no temporary
// file behind in it.
class DeclarationExports : public ::testing::Test {
protected:
    TempFolder dir{TempFolder::kCurrent};
    char err[4096] = "";
};

const std::string kProgram =
    "; station\n"
    "{ VAR\n"
    "  A = 1 ; first\n"
    "}\n"
    "{ TEXT\n"
    "}\n";

TEST_F(DeclarationExports, InsertThenRemoveGivesTheFileBack)
{
    const std::string file = dir.Write("STATION.SRC", kProgram);

    EXPECT_EQ(IntpInsertDecl(file.c_str(), "var", "B = 2 ; second", err), -1);
    EXPECT_EQ(std::string(err), Record("0|||||"));
    EXPECT_EQ(dir.Read("STATION.SRC"),
              "; station\n{ VAR\n  A = 1 ; first\n  B = 2 ; second\n}\n{ TEXT\n}\n");
    EXPECT_EQ(dir.Read("STATION.BAK"), kProgram);

    EXPECT_EQ(IntpInsertDecl(file.c_str(), "VAR", "b=3", err), -1);
    EXPECT_EQ(dir.Read("STATION.SRC"), "; station\n{ VAR\n  A = 1 ; first\n  b=3\n}\n{ TEXT\n}\n");

    EXPECT_EQ(IntpRemoveDecl(file.c_str(), "VAR", "B", err), -1);
    EXPECT_EQ(std::string(err), Record("0|||||"));
    EXPECT_EQ(dir.Read("STATION.SRC"), kProgram);

    // Removing what is not there succeeds and changes nothing.
    EXPECT_EQ(IntpRemoveDecl(file.c_str(), "VAR", "B", err), -1);
    EXPECT_EQ(std::string(err), Record("0|||||"));
    EXPECT_EQ(dir.Read("STATION.SRC"), kProgram);
    EXPECT_EQ(dir.Files(), (std::vector<std::string>{"STATION.BAK", "STATION.SRC"}));
}

TEST_F(DeclarationExports, CrLfFileStaysCrLf)
{
    const std::string file = dir.Write("P.SRC", "{ VAR\r\n\tA = 1\r\n}\r\n");
    ASSERT_EQ(IntpInsertDecl(file.c_str(), "VAR", "A = 5 ; set", err), -1);
    EXPECT_EQ(dir.Read("P.SRC"), "{ VAR\r\n\tA = 5 ; set\r\n}\r\n");
    ASSERT_EQ(IntpInsertDecl(file.c_str(), "VAR", "B = 6", err), -1);
    EXPECT_EQ(dir.Read("P.SRC"), "{ VAR\r\n\tA = 5 ; set\r\n\tB = 6\r\n}\r\n");
    ASSERT_EQ(IntpRemoveDecl(file.c_str(), "VAR", "a", err), -1);
    EXPECT_EQ(dir.Read("P.SRC"), "{ VAR\r\n\tB = 6\r\n}\r\n");
}

// A declaration that does not parse is refused before the file is opened: a
// missing file is not even noticed, and an existing one is left alone.
class BadDeclaration : public DeclarationExports,
                       public ::testing::WithParamInterface<const char*> {};

TEST_P(BadDeclaration, FailsWithTwoAndLeavesFileAlone)
{
    const std::string file = dir.Write("P.SRC", kProgram);
    const std::string missing = dir.Path("NONE.SRC");

    EXPECT_EQ(IntpInsertDecl(file.c_str(), "VAR", GetParam(), err), 0);
    const std::string record = err;
    EXPECT_EQ(record.substr(0, 3), Record("2||"));  // an in-memory text has no file name
    EXPECT_EQ(IntpRemoveDecl(missing.c_str(), "VAR", GetParam(), err), 0);
    EXPECT_EQ(std::string(err), record);

    EXPECT_EQ(dir.Read("P.SRC"), kProgram);
    EXPECT_EQ(dir.Files(), std::vector<std::string>{"P.SRC"});
}

INSTANTIATE_TEST_SUITE_P(Texts, BadDeclaration,
                         ::testing::Values("", "   ", "X = { 1 }", "X = 1 }", "X = 1\nY = 2",
                                           "X\n}", "; only a comment", "= 1"));

TEST_F(DeclarationExports, NullArgumentsAreAnEmptyDeclaration)
{
    const std::string file = dir.Write("P.SRC", kProgram);
    EXPECT_EQ(IntpInsertDecl(file.c_str(), "VAR", nullptr, err), 0);
    EXPECT_EQ(std::string(err, 2), Record("2|"));
    EXPECT_EQ(IntpRemoveDecl(file.c_str(), nullptr, nullptr, err), 0);
    EXPECT_EQ(std::string(err, 2), Record("2|"));
    EXPECT_EQ(dir.Read("P.SRC"), kProgram);
}

TEST_F(DeclarationExports, MissingFileGivesFourWithTheNameAsPassed)
{
    const std::string missing = dir.Path("NONE.SRC");
    EXPECT_EQ(IntpInsertDecl(missing.c_str(), "VAR", "X = 1", err), 0);
    EXPECT_EQ(std::string(err), Record("4|" + missing + "||||"));
    EXPECT_EQ(IntpRemoveDecl(missing.c_str(), "VAR", "X", err), 0);
    EXPECT_EQ(std::string(err), Record("4|" + missing + "||||"));
    EXPECT_TRUE(dir.Files().empty());
}

TEST_F(DeclarationExports, NoBlockNamesKeywordEndTokenAndLine)
{
    const std::string file = dir.Write("P.SRC", kProgram);
    EXPECT_EQ(IntpInsertDecl(file.c_str(), "DATA", "X = 1", err), 0);
    // Six lines, the last with a line end: the end is found on line 7.
    EXPECT_EQ(std::string(err), Record("2|" + file + "|{ DATA||7|||||"));
    EXPECT_EQ(IntpRemoveDecl(file.c_str(), "data", "X", err), 0);
    EXPECT_EQ(std::string(err), Record("2|" + file + "|{ data||7|||||"));
    EXPECT_EQ(dir.Read("P.SRC"), kProgram);
    EXPECT_EQ(dir.Files(), std::vector<std::string>{"P.SRC"});
}

}  // namespace
