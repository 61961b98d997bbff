// Model files end to end, as a host uses them: read, edit cells, write back.
#include "CapiSupport.h"

namespace {

using namespace tolvik::test;

using MdlExports = HostTable;

TEST_F(MdlExports, MissingFileIsReportedWithItsName)
{
    const std::string file = folder.Path("NONE.MDL");
    handle = 5;
    rows = 7;
    cols = 7;
    EXPECT_EQ(IntpOpenReadMDLFile(file.c_str(), &handle, &rows, &cols, err), 0);
    EXPECT_EQ(Error(), Record("4|" + file + "||||"));
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(rows, 0);
    EXPECT_EQ(cols, 0);

    // Writing needs the file to exist too; the table is gone either way.
    ASSERT_EQ(NewTable(1, 4), -1);
    EXPECT_EQ(IntpCloseWriteMDLFile(file.c_str(), &handle, err), 0);
    EXPECT_EQ(Error(), Record("4|" + file + "||||"));
    EXPECT_EQ(handle, 0u);
    EXPECT_FALSE(folder.Exists("NONE.MDL"));
}

TEST_F(MdlExports, ClosingWithoutAHandleChangesNothing)
{
    const std::string text = "{ TASK\nA\n}\n";
    const std::string file = folder.Write("A.MDL", text);
    EXPECT_EQ(IntpCloseUpdateMDLFile(file.c_str(), &handle, err), -1);
    EXPECT_EQ(Error(), Record("0|||||"));
    EXPECT_EQ(IntpCloseWriteMDLFile(file.c_str(), &handle, err), -1);
    EXPECT_EQ(folder.Read("A.MDL"), text);
}

}  // namespace
