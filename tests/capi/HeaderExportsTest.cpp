// The program-header exports as a host calls them: only tolvik32.h and the
// library.
#include "CapiSupport.h"

namespace {

using namespace tolvik::test;

class HeaderExports : public HostTable {
protected:
    int32_t Open(const std::string& file)
    {
        return IntpOpenReadVORLHead(file.c_str(), &handle, &rows, &cols, err);
    }
    int32_t Close(const std::string& file)
    {
        return IntpCloseUpdateVORLHead(file.c_str(), &handle, err);
    }
    // Every cell given, as a host that keeps its table does; the priority
    // changes and the load option is removed.
    void ChangePriorityAndRemoveLoadOption()
    {
        for (uint16_t col = 1; col < 15; ++col)
            Set(0, col, "...");
        Set(0, 8, "7");
        Set(0, 5, "\x08");
    }
};

TEST_F(HeaderExports, CompiledModuleOfUnknownTypeGivesCode5)
{
    std::string bytes(40, '\0');
    bytes[20] = 2;
    const std::string file = folder.Write("MOD.TSC", bytes);
    EXPECT_EQ(Open(file), 0);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(Error(), Record("5|" + file + "|1, 4, 5, 8|2|20|||||"));
}

TEST_F(HeaderExports, CompiledModuleReadAndPatch)
{
    std::string bytes(40, '\x55');
    bytes[12] = 1;
    bytes[20] = 8;
    bytes[32] = 4;
    bytes[33] = 5;
    const std::string file = folder.Write("MOD.tsc", bytes);
    ASSERT_EQ(Open(file), -1);
    EXPECT_EQ(Cell(0, 0), "7");
    EXPECT_EQ(Cell(0, 7), "500 ms");
    Set(0, 7, "2 s");
    Set(0, 3, "6");
    ASSERT_EQ(Close(file), -1);
    bytes[12] = 6;
    bytes[33] = 20;
    EXPECT_EQ(folder.Read("MOD.tsc"), bytes);

    // A table of a data module does not fit a task module.
    ASSERT_EQ(Open(file), -1);
    Set(0, 0, "8");
    EXPECT_EQ(Close(file), 0);
    EXPECT_EQ(Error(), Record("5|" + file + "|8|8|20|||||"));
    EXPECT_EQ(folder.Read("MOD.tsc"), bytes);
}

TEST_F(HeaderExports, MissingFileAndNullHandle)
{
    const std::string file = folder.Path("NONE.TSE");
    EXPECT_EQ(Open(file), 0);
    EXPECT_EQ(Error(), Record("4|" + file + "||||"));
    handle = 0;
    EXPECT_EQ(Close(file), -1);
    EXPECT_EQ(Error(), Record("0|||||"));
}

}  // namespace
