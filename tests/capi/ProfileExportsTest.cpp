// Profile files as a host sees them: only tolvik32.h and the library.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "tolvik32.h"

namespace {

const std::string kSub(1, '\x1a');

class ProfileExports : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::random_device random;
        dir_ = std::filesystem::temp_directory_path() /
               ("tolvik-profile-" + std::to_string(random()) + std::to_string(random()));
        std::filesystem::create_directories(dir_);
    }
    void TearDown() override
    {
        if (handle)
            IntpCloseRead(&handle);
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }

    std::string Write(const std::string& name, const std::string& content)
    {
        std::ofstream out(dir_ / name, std::ios::binary);
        out << content;
        return (dir_ / name).string();
    }
    std::string Read(const std::string& name)
    {
        std::ifstream in(dir_ / name, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }
    // The flags word goes in through the error buffer.
    void Flags(const char* flags) { std::strcpy(err, flags); }
    std::string Cell(uint16_t row, uint16_t col)
    {
        char value[256] = "";
        uint16_t length = 0;
        IntpGetAttrValue(&handle, &row, &col, value, &length);
        return value;
    }
    void Set(uint16_t row, uint16_t col, const char* text)
    {
        std::string copy = text;
        ASSERT_EQ(IntpSetAttrValue(&handle, &row, &col, copy.data()), -1);
    }

    std::filesystem::path dir_;
    uint32_t handle = 0;
    uint16_t rows = 77;
    uint16_t cols = 77;
    char err[2100] = "";
};

TEST_F(ProfileExports, SelectionWithoutRequestTableIsRefusedAtOnce)
{
    const std::string file = Write("p.ini", "[S]\nA = 1\n");
    Flags("512");
    EXPECT_EQ(IntpOpenReadProfileFile(file.c_str(), &handle, &rows, &cols, err), 0);
    EXPECT_EQ(std::string(err), "101" + kSub + kSub + kSub + kSub + kSub);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(rows, 77);
    EXPECT_EQ(cols, 77);
}

TEST_F(ProfileExports, ListingWithoutHandleReadsEverySection)
{
    const std::string file = Write("p.ini", "[Main] ; note\r\nName = Pump1\r\n[Other]\r\nX=1\r\n");
    Flags("1024");
    EXPECT_EQ(IntpOpenReadProfileFile(file.c_str(), &handle, &rows, &cols, err), 6);
    EXPECT_EQ(std::string(err), "0" + kSub + kSub + kSub + kSub + kSub);
    ASSERT_NE(handle, 0u);
    EXPECT_EQ(rows, 4);
    EXPECT_EQ(cols, 4);
    EXPECT_EQ(Cell(0, 0), "S");
    EXPECT_EQ(Cell(0, 3), "note");
    EXPECT_EQ(Cell(1, 2), "Pump1");
    EXPECT_EQ(Cell(1, 3), "...");
    EXPECT_EQ(Cell(3, 1), "X");
}

TEST_F(ProfileExports, SelectionFillsTheRequestTablesHandle)
{
    const std::string file = Write("p.ini", "[Dev1]\nName = a\nPort = 1\n[Other]\nName = b\n");
    uint16_t r = 2;
    uint16_t c = 3;
    ASSERT_EQ(IntpOpenWrite(&handle, &r, &c), -1);
    Set(0, 1, "name");
    Set(0, 2, "PORT");
    Set(1, 0, "dev?");
    const uint32_t request = handle;
    Flags("0");
    EXPECT_EQ(IntpOpenReadProfileFile(file.c_str(), &handle, &rows, &cols, err), 5);
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
    Flags("1024");
    const std::string missing = (dir_ / "absent.ini").string();
    EXPECT_EQ(IntpOpenReadProfileFile(missing.c_str(), &handle, &rows, &cols, err), 0);
    EXPECT_EQ(std::string(err), "4" + kSub + missing + kSub + kSub + kSub + kSub);
    EXPECT_EQ(handle, 0u);

    const std::string bad = Write("bad.ini", "[S]\nName value\n");
    uint16_t r = 2;
    uint16_t c = 2;
    ASSERT_EQ(IntpOpenWrite(&handle, &r, &c), -1);
    const uint32_t request = handle;
    Flags("1024");
    EXPECT_EQ(IntpOpenReadProfileFile(bad.c_str(), &handle, &rows, &cols, err), 0);
    EXPECT_EQ(std::string(err), "2" + kSub + bad + kSub + "=" + kSub + "value" + kSub + "2" + kSub +
                                    kSub + kSub + kSub + kSub);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(rows, 0);
    EXPECT_EQ(cols, 0);
    uint32_t stale = request;
    EXPECT_EQ(IntpCloseRead(&stale), 0);
}

TEST_F(ProfileExports, CloseWithoutHandleWritesNothing)
{
    const std::string file = Write("p.ini", "[S]\nA = 1\n");
    Flags("1024");
    EXPECT_EQ(IntpCloseWriteProfileFile(file.c_str(), &handle, err), -1);
    EXPECT_EQ(std::string(err), "0" + kSub + kSub + kSub + kSub + kSub);
    EXPECT_EQ(Read("p.ini"), "[S]\nA = 1\n");
}

TEST_F(ProfileExports, CloseOnAMissingFileFailsAndConsumesTheHandle)
{
    uint16_t r = 1;
    uint16_t c = 4;
    ASSERT_EQ(IntpOpenWrite(&handle, &r, &c), -1);
    const std::string missing = (dir_ / "absent.ini").string();
    Flags("1024");
    EXPECT_EQ(IntpCloseWriteProfileFile(missing.c_str(), &handle, err), 0);
    EXPECT_EQ(std::string(err), "4" + kSub + missing + kSub + kSub + kSub + kSub);
    EXPECT_EQ(handle, 0u);
    EXPECT_FALSE(std::filesystem::exists(dir_ / "absent.ini"));
}

TEST_F(ProfileExports, ReadChangeWriteKeepsTheRestOfTheFile)
{
    const std::string file =
        Write("p.ini", "; header\n[Main]\nName = Pump1 ; first\n; own line\nSpeed = 3\n");
    Flags("1024");
    ASSERT_NE(IntpOpenReadProfileFile(file.c_str(), &handle, &rows, &cols, err), 0);
    Set(1, 2, "Pump 2");
    Set(2, 3, "in rpm");
    Flags("1024");
    EXPECT_EQ(IntpCloseWriteProfileFile(file.c_str(), &handle, err), -1);
    EXPECT_EQ(std::string(err), "0" + kSub + kSub + kSub + kSub + kSub);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(Read("p.ini"),
              "; header\n[Main]\nName = \"Pump 2\" ; first\n; own line\nSpeed = \"3\" ; in rpm\n");

    Flags("1024");
    ASSERT_NE(IntpOpenReadProfileFile(file.c_str(), &handle, &rows, &cols, err), 0);
    EXPECT_EQ(Cell(1, 2), "Pump 2");
    EXPECT_EQ(Cell(2, 3), "in rpm");
}

}  // namespace
