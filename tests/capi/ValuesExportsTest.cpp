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
