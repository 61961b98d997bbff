// BPAC value files through the C interface, as a host uses them.
#include "CapiSupport.h"

namespace {

using namespace tolvik::test;

class ValuesExports : public HostTable {
protected:
    void WriteFile(const std::string& content) { folder.Write("PUMP.BPE", content); }
    std::string ReadFile() const { return folder.Read("PUMP.BPE"); }

    const std::string file_ = folder.Path("PUMP.BPE");
};

TEST_F(ValuesExports, ReadEditAndUpdateKeepsTheLinesAroundTheBlock)
{
    WriteFile(
        "; pump\n{ Values\n( No :L Speed :X Limit ) ; rated\n  #1    1200   300 ; first\n}\n"
        "; after\n");
    ASSERT_EQ(IntpOpenReadBPACValues(file_.c_str(), &handle, &rows, &cols, err), -1);
    EXPECT_EQ(Error(), Record("0|||||"));
    ASSERT_NE(handle, 0u);
    EXPECT_EQ(rows, 3);
    EXPECT_EQ(cols, 4);
    EXPECT_EQ(Lookup(0, 1), std::make_pair(-1, std::string("L")));
    EXPECT_EQ(Lookup(1, 2), std::make_pair(-1, std::string("Limit")));
    EXPECT_EQ(Lookup(1, 3), std::make_pair(-1, std::string("rated")));
    EXPECT_EQ(Lookup(2, 0), std::make_pair(-1, std::string("1")));
    EXPECT_EQ(Lookup(2, 1), std::make_pair(-1, std::string("1200")));
    EXPECT_EQ(Lookup(2, 3), std::make_pair(-1, std::string("first")));

    Set(2, 2, "350");
    Set(3, 0, "2");  // a new row
    Set(3, 1, "900");
    ASSERT_EQ(IntpCloseUpdateBPACValues(file_.c_str(), &handle, err), -1);
    EXPECT_EQ(Error(), Record("0|||||"));
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(ReadFile(),
              "; pump\n{ Values \n\n( No     :L Speed:X Limit) ; rated\n\n"
              "  #1         1200     350  ; first\n  #2          900        \n\n}\n; after\n");

    ASSERT_EQ(IntpOpenReadBPACValues(file_.c_str(), &handle, &rows, &cols, err), -1);
    EXPECT_EQ(rows, 4);
    EXPECT_EQ(Lookup(3, 1), std::make_pair(-1, std::string("900")));
    EXPECT_EQ(Lookup(3, 2), std::make_pair(0, std::string("...")));
}

TEST_F(ValuesExports, NewTableFillsAnEmptyBlock)
{
    WriteFile("{ Values\n}\n");
    ASSERT_EQ(NewTable(3, 3), -1);
    for (uint16_t row = 0; row < 2; ++row)
        Set(row, 0, "No");
    Set(0, 1, "R");
    Set(1, 1, "Gain");
    Set(2, 0, "7");
    Set(2, 1, "0.25");
    ASSERT_EQ(IntpCloseUpdateBPACValues(file_.c_str(), &handle, err), -1);
    EXPECT_EQ(ReadFile(), "{ Values \n\n( No     :R Gain) \n\n  #7        0.25\n\n}\n");
}

TEST_F(ValuesExports, MissingFileAndBadHeaderAreReported)
{
    const std::string missing = folder.Path("NONE.BPE");
    EXPECT_EQ(IntpOpenReadBPACValues(missing.c_str(), &handle, &rows, &cols, err), 0);
    EXPECT_EQ(Error(), Record("4|" + missing + "||||"));
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(rows, 0);
    EXPECT_EQ(cols, 0);

    WriteFile("{ Values\n( No :L A :Q B )\n}\n");
    EXPECT_EQ(IntpOpenReadBPACValues(file_.c_str(), &handle, &rows, &cols, err), 0);
    EXPECT_EQ(Error(), Record("2|" + file_ + "|L, X, I, R |Q|2|||||"));
    EXPECT_EQ(handle, 0u);
}

TEST_F(ValuesExports, UpdateWithoutHandleOrBlockLeavesTheFile)
{
    const std::string content = "; no values here\n";
    WriteFile(content);
    EXPECT_EQ(IntpCloseUpdateBPACValues(file_.c_str(), &handle, err), -1);
    EXPECT_EQ(Error(), Record("0|||||"));

    ASSERT_EQ(NewTable(3, 3), -1);
    EXPECT_EQ(IntpCloseUpdateBPACValues(file_.c_str(), &handle, err), 0);
    EXPECT_EQ(Error(), Record("2|" + file_ + "|{ Values||2|||||"));
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(ReadFile(), content);
}

}  // namespace
