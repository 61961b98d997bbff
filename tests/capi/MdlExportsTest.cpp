// Model files end to end, as a host uses them: read, edit cells, write back.
#include "CapiSupport.h"

namespace {

using namespace tolvik::test;

using MdlExports = HostTable;

TEST_F(MdlExports, ReadEditAndUpdateKeepTheRestOfTheFile)
{
    const std::string file = folder.Write("PLANT.MDL",
                                          "; plant model\r\n"
                                          "{ TASK ; tasks\r\n"
                                          "MAIN /A                  ; main task\r\n"
                                          "OLD.tse\r\n"
                                          "}\r\n"
                                          "{ DPAC\r\n"
                                          "}\r\n");
    ASSERT_EQ(IntpOpenReadMDLFile(file.c_str(), &handle, &rows, &cols, err), -1);
    EXPECT_EQ(Error(), Record("0|||||"));
    ASSERT_NE(handle, 0u);
    EXPECT_EQ(rows, 2);
    EXPECT_EQ(cols, 4);
    EXPECT_EQ(Cell(0, 0), "MAIN.tse");
    EXPECT_EQ(Cell(0, 1), "1");
    EXPECT_EQ(Cell(0, 2), "/A ");
    EXPECT_EQ(Cell(0, 3), "main task");
    EXPECT_EQ(Cell(1, 0), "OLD.tse");

    Set(0, 3, "the main task");
    Set(1, 2, "\x08");        // remove OLD.tse
    Set(2, 0, "PARAMS.dpe");  // a new row
    Set(2, 1, "2");
    Set(2, 2, "");
    Set(2, 3, "...");

    ASSERT_EQ(IntpCloseUpdateMDLFile(file.c_str(), &handle, err), -1);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(Error(), Record("0|||||"));
    EXPECT_EQ(folder.Read("PLANT.MDL"),
              "; plant model\r\n"
              "{ TASK ; tasks\r\n"
              "MAIN.tse/A               ; the main task\r\n"
              "}\r\n"
              "{ DPAC\r\n"
              "PARAMS.dpe\r\n"
              "}\r\n");
}

TEST_F(MdlExports, WriteReplacesTheFileFromTheTable)
{
    const std::string file = folder.Write("NEW.MDL", "old text\n");
    ASSERT_EQ(NewTable(2, 4), -1);
    Set(0, 0, "T.txe");
    Set(0, 1, "6");
    Set(0, 2, "");
    Set(0, 3, "texts");
    Set(1, 0, "C.tsc");
    Set(1, 1, "7");
    Set(1, 2, "/X ");
    Set(1, 3, "");
    ASSERT_EQ(IntpCloseWriteMDLFile(file.c_str(), &handle, err), -1);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(folder.Read("NEW.MDL"),
              "{ TASK\nC.tsc/X \n}\n{ DPAC\n}\n{ TEXT\nT.txe                    ; texts\n}\n");

    // What was written reads back.
    ASSERT_EQ(IntpOpenReadMDLFile(file.c_str(), &handle, &rows, &cols, err), -1);
    EXPECT_EQ(rows, 2);
    EXPECT_EQ(Cell(0, 0), "C.tsc");
    EXPECT_EQ(Cell(0, 1), "7");
    EXPECT_EQ(Cell(1, 3), "texts");
}

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

TEST_F(MdlExports, SyntaxErrorGivesFileExpectedTokenAndLine)
{
    const std::string text = "; model\n{ TASK\nMAIN /A /\n}\n";
    const std::string file = folder.Write("BAD.MDL", text);
    EXPECT_EQ(IntpOpenReadMDLFile(file.c_str(), &handle, &rows, &cols, err), 0);
    // The "/" is followed by the line end; the line after it is being read.
    EXPECT_EQ(Error(), Record("2|" + file + "|IDENTIFIER|\n|4|||||"));
    EXPECT_EQ(handle, 0u);

    ASSERT_EQ(NewTable(1, 4), -1);
    EXPECT_EQ(IntpCloseUpdateMDLFile(file.c_str(), &handle, err), 0);
    EXPECT_EQ(err[0], '2');
    EXPECT_EQ(folder.Read("BAD.MDL"), text);
}

}  // namespace
