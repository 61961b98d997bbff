// Profile files as a host sees them: only tolvik32.h and the library.
#include <cstring>

#include "CapiSupport.h"

namespace {

using namespace tolvik::test;

class ProfileExports : public HostTable {
protected:
    // The flags word goes in through the error buffer.
    int32_t Open(const std::string& file, const char* flags)
    {
        std::strcpy(err, flags);
        return IntpOpenReadProfileFile(file.c_str(), &handle, &rows, &cols, err);
    }
    int32_t Close(const std::string& file)
    {
        std::strcpy(err, "1024");
        return IntpCloseWriteProfileFile(file.c_str(), &handle, err);
    }
};

TEST_F(ProfileExports, SelectionWithoutRequestTableIsRefusedAtOnce)
{
    const std::string file = folder.Write("p.ini", "[S]\nA = 1\n");
    EXPECT_EQ(Open(file, "512"), 0);
    EXPECT_EQ(Error(), Record("101|||||"));
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(rows, 77);
    EXPECT_EQ(cols, 77);
}

TEST_F(ProfileExports, SelectionFillsTheRequestTablesHandle)
{
    const std::string file =
        folder.Write("p.ini", "[Dev1]\nName = a\nPort = 1\n[Other]\nName = b\n");
    ASSERT_EQ(NewTable(2, 3), -1);
    Set(0, 1, "name");
    Set(0, 2, "PORT");
    Set(1, 0, "dev?");
    const uint32_t request = handle;
    EXPECT_EQ(Open(file, "0"), 5);
    EXPECT_EQ(handle, request);
    EXPECT_EQ(rows, 2);
    EXPECT_EQ(cols, 3);
    EXPECT_EQ(Cell(0, 0), "...");
    EXPECT_EQ(Cell(0, 2), "PORT");
    EXPECT_EQ(Cell(1, 0), "Dev1");
    EXPECT_EQ(Cell(1, 1), "a");
    EXPECT_EQ(Cell(1, 2), "1");
}

TEST_F(ProfileExports, FailuresFreeTheHandleAndZeroTheCounts)
{
    const std::string missing = folder.Path("absent.ini");
    EXPECT_EQ(Open(missing, "1024"), 0);
    EXPECT_EQ(Error(), Record("4|" + missing + "||||"));
    EXPECT_EQ(handle, 0u);

    const std::string bad = folder.Write("bad.ini", "[S]\nName value\n");
    ASSERT_EQ(NewTable(2, 2), -1);
    const uint32_t request = handle;
    EXPECT_EQ(Open(bad, "1024"), 0);
    EXPECT_EQ(Error(), Record("2|" + bad + "|=|value|2|||||"));
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(rows, 0);
    EXPECT_EQ(cols, 0);
    uint32_t stale = request;
    EXPECT_EQ(IntpCloseRead(&stale), 0);
}

TEST_F(ProfileExports, CloseWithoutHandleWritesNothing)
{
    const std::string file = folder.Write("p.ini", "[S]\nA = 1\n");
    EXPECT_EQ(Close(file), -1);
    EXPECT_EQ(Error(), Record("0|||||"));
    EXPECT_EQ(folder.Read("p.ini"), "[S]\nA = 1\n");
}

TEST_F(ProfileExports, CloseOnAMissingFileFailsAndConsumesTheHandle)
{
    ASSERT_EQ(NewTable(1, 4), -1);
    const std::string missing = folder.Path("absent.ini");
    EXPECT_EQ(Close(missing), 0);
    EXPECT_EQ(Error(), Record("4|" + missing + "||||"));
    EXPECT_EQ(handle, 0u);
    EXPECT_FALSE(folder.Exists("absent.ini"));
}

TEST_F(ProfileExports, TwoHostsWritingTheirOwnTablesLeaveTheSecondTableOnly)
{
    // LF line ends: an empty file would take the platform's own.
    const std::string file = folder.Write("p.ini", "[Old]\n");
    const auto write = [&](const char* section, const char* name, const char* value) {
        ASSERT_EQ(NewTable(2, 4), -1);
        Set(0, 0, "S");
        Set(0, 1, section);
        Set(1, 0, "P");
        Set(1, 1, name);
        Set(1, 2, value);
        EXPECT_EQ(Close(file), -1);
    };
    write("Pump", "Port", "COM2");
    write("Mixer", "Speed", "3");
    EXPECT_EQ(folder.Read("p.ini"), "[Mixer]\nSpeed = \"3\"\n");

    ASSERT_NE(Open(file, "1024"), 0);
    EXPECT_EQ(rows, 2);
    EXPECT_EQ(Cell(0, 1), "Mixer");
    EXPECT_EQ(Cell(1, 2), "3");
}

}  // namespace
