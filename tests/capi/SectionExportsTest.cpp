// The text strings and VPAC variables exports as a host calls them.
#include <cstring>

#include "CapiSupport.h"

namespace {

using namespace tolvik::test;

class SectionExports : public HostTable {
protected:
    std::string File(const std::string& text) { return folder.Write("sections.txt", text); }
    std::string FileText() const { return folder.Read("sections.txt"); }

    char none[1] = "";
};

TEST_F(SectionExports, VariablesByNamesInMemoryAndTheRecordsOfFailures)
{
    std::string text = "{ Variables\n  R A\n  I B = 1,2\n}\n";
    std::strcpy(err, "128");  // bit 0x80: `file` is the text itself
    ASSERT_EQ(IntpOpenReadVpacVariables(text.data(), &handle, &rows, &cols, none, none, err), -1);
    EXPECT_EQ(Cell(1, 2) + "," + Cell(1, 3), "3,1, 2");
    IntpCloseRead(&handle);

    std::string bad = "{Strings\n  $ A B\n}\n";
    std::strcpy(err, "130");
    EXPECT_EQ(IntpOpenReadTextStrings(bad.data(), &handle, &rows, &cols, none, none, err), 0);
    EXPECT_EQ(Error(), Record("2||Comment, Newline|B|2|||||"));

    std::string file = File("{ Variables\n  R A\n  I B\n  X C\n}\n");
    char start[] = "B";
    char end[] = "nope";
    EXPECT_EQ(IntpOpenReadVpacVariables(file.data(), &handle, &rows, &cols, start, end, err), 0);
    EXPECT_EQ(Error(), Record("2|" + file + "|nope||6|||||"));
    std::strcpy(end, "C");
    ASSERT_EQ(IntpOpenReadVpacVariables(file.data(), &handle, &rows, &cols, start, end, err), -1);
    EXPECT_EQ(rows, 2);
    EXPECT_EQ(IntpCloseWriteVpacVariables(file.data(), &handle, start, end, err), -1);
    EXPECT_EQ(FileText(), "{ Variables\n  R A\n  I B\n  X C\n}\n");

    std::string missing = file + ".none";
    EXPECT_EQ(IntpOpenReadTextStrings(missing.data(), &handle, &rows, &cols, none, none, err), 0);
    EXPECT_EQ(Error(), Record("4|" + missing + "||||"));
    // A write needs the file it writes into.
    ASSERT_EQ(NewTable(1, 5), -1);
    EXPECT_EQ(IntpCloseWriteTextStrings(missing.data(), &handle, none, none, err), 0);
    EXPECT_EQ(Error(), Record("4|" + missing + "||||"));
    EXPECT_EQ(handle, 0u);
    EXPECT_FALSE(folder.Exists("sections.txt.none"));
}

// Past a full table the call shows its one box, and a later string never takes
// the place of the last row kept.
TEST_F(SectionExports, StringsPastAFullTableKeepTheRowsThatFit)
{
    std::string text = "{Strings\n";
    for (int i = 0; i < 20002; ++i)
        text += "  $ S" + std::to_string(i) + " = \"v" + std::to_string(i) + "\"\n";
    std::string file = File(text + "}\n");
    ShownBoxes shown;
    ASSERT_EQ(IntpOpenReadTextStrings(file.data(), &handle, &rows, &cols, none, none, err), -1);
    EXPECT_EQ(rows, 20000);
    EXPECT_EQ(Cell(19999, 0) + "=" + Cell(19999, 3), "S19999=v19999");
    EXPECT_EQ(ShownBoxes::List().size(), 1u);
}

}  // namespace
