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

// A declaration that does not parse is refused before the file is opened: a
// missing file is not even noticed.
TEST_F(DeclarationExports, ABadDeclarationIsRefusedBeforeTheFileIsOpened)
{
    const std::string missing = dir.Path("NONE.SRC");
    for (const char* text : {"", "X = { 1 }", "X = 1\nY = 2", "; only a comment"}) {
        EXPECT_EQ(IntpInsertDecl(missing.c_str(), "VAR", text, err), 0) << text;
        EXPECT_EQ(std::string(err, 2), Record("2|")) << text;
    }
}

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

}  // namespace
