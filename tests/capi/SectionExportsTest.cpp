// The text strings and VPAC variables exports as a host calls them.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "tolvik32.h"

namespace {

std::string Visible(const char* record)
{
    std::string text(record);
    for (char& c : text)
        if (c == '\x1a')
            c = '|';
    return text;
}

class SectionExports : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::random_device random;
        dir_ = std::filesystem::temp_directory_path() /
               ("tolvik-sections-" + std::to_string(random()) + std::to_string(random()));
        std::filesystem::create_directories(dir_);
    }
    void TearDown() override
    {
        if (handle)
            IntpCloseRead(&handle);
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }

    std::string WriteFile(const std::string& name, const std::string& text)
    {
        std::ofstream(dir_ / name, std::ios::binary) << text;
        return (dir_ / name).string();
    }
    std::string ReadFile(const std::string& name)
    {
        std::ifstream in(dir_ / name, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }
    std::string Cell(uint16_t row, uint16_t col)
    {
        char value[256] = "";
        uint16_t length = 0;
        IntpGetAttrValue(&handle, &row, &col, value, &length);
        return value;
    }
    int32_t SetCell(uint16_t row, uint16_t col, std::string value)
    {
        return IntpSetAttrValue(&handle, &row, &col, value.data());
    }

    std::filesystem::path dir_;
    uint32_t handle = 0;
    uint16_t rows = 0;
    uint16_t cols = 0;
    char err[2100] = "0";
    char none[1] = "";
};

TEST_F(SectionExports, TextStringsReadEditedAndWrittenBack)
{
    std::string file =
        WriteFile("PUMP.TXT", "; strings\n{Strings\n  $ A = \"on\"\n  $ B[2]\n}\n; end\n");
    ASSERT_EQ(IntpOpenReadTextStrings(file.data(), &handle, &rows, &cols, none, none, err), -1);
    EXPECT_EQ(Visible(err), "0|||||");
    EXPECT_EQ(rows, 2);
    EXPECT_EQ(cols, 5);
    EXPECT_EQ(Cell(1, 0), "B( 2 )");
    EXPECT_EQ(Cell(1, 1), "1");
    EXPECT_EQ(Cell(0, 3), "on");
    EXPECT_EQ(Cell(1, 3), "...");

    EXPECT_EQ(SetCell(0, 3, "off"), -1);
    EXPECT_EQ(SetCell(2, 0, "C"), -1);  // a new row
    EXPECT_EQ(IntpCloseWriteTextStrings(file.data(), &handle, none, none, err), -1);
    EXPECT_EQ(Visible(err), "0|||||");
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(ReadFile("PUMP.TXT"),
              "; strings\n{Strings\n  $ A               = \"off\"\n  $ B( 2 )\n  $ C\n}\n; end\n");
}

TEST_F(SectionExports, BitOf128InTheErrorBufferReadsTheTextItself)
{
    std::string text = "{ Variables\n  R A\n  I B = 1,2\n}\n";
    std::strcpy(err, "128");
    ASSERT_EQ(IntpOpenReadVpacVariables(text.data(), &handle, &rows, &cols, none, none, err), -1);
    EXPECT_EQ(Visible(err), "0|||||");
    EXPECT_EQ(rows, 2);
    EXPECT_EQ(Cell(1, 2), "3");
    EXPECT_EQ(Cell(1, 3), "1, 2");

    // In memory, the message has no file name in front.
    std::string bad = "{Strings\n  $ A B\n}\n";
    std::strcpy(err, "130");
    uint32_t other = 0;
    EXPECT_EQ(IntpOpenReadTextStrings(bad.data(), &other, &rows, &cols, none, none, err), 0);
    EXPECT_EQ(Visible(err), "2||Comment, Newline|B|2|||||");
    EXPECT_EQ(other, 0u);
    EXPECT_EQ(rows, 0);
}

TEST_F(SectionExports, RegionNamesAndFailures)
{
    std::string file = WriteFile("V.TXT", "{ Variables\n  R A\n  I B\n  X C\n}\n");
    char start[] = "B";
    char end[] = "nope";
    EXPECT_EQ(IntpOpenReadVpacVariables(file.data(), &handle, &rows, &cols, start, end, err), 0);
    EXPECT_EQ(Visible(err), "2|" + file + "|nope||6|||||");

    char endC[] = "C";
    ASSERT_EQ(IntpOpenReadVpacVariables(file.data(), &handle, &rows, &cols, start, endC, err), -1);
    EXPECT_EQ(rows, 2);
    EXPECT_EQ(SetCell(0, 0, "L"), -1);
    EXPECT_EQ(IntpCloseWriteVpacVariables(file.data(), &handle, start, endC, err), -1);
    EXPECT_EQ(ReadFile("V.TXT"), "{ Variables\n  R A\n  L B\n  X C\n}\n");

    std::string missing = (dir_ / "MISSING.TXT").string();
    EXPECT_EQ(IntpOpenReadTextStrings(missing.data(), &handle, &rows, &cols, none, none, err), 0);
    EXPECT_EQ(Visible(err), "4|" + missing + "||||");
    EXPECT_EQ(IntpCloseWriteTextStrings(missing.data(), &handle, none, none, err), -1)
        << "closing no table is a success";
    EXPECT_EQ(Visible(err), "0|||||");
}

}  // namespace
