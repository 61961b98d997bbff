// The text strings and VPAC variables exports as a host calls them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "tolvik32.h"

namespace {

class SectionExports : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::random_device random;
        file_ = std::filesystem::temp_directory_path() /
                ("tolvik-sections-" + std::to_string(random()) + std::to_string(random()) + ".txt");
    }
    void TearDown() override
    {
        if (handle)
            IntpCloseRead(&handle);
        std::error_code ignored;
        std::filesystem::remove(file_, ignored);
        std::filesystem::remove(std::filesystem::path(file_).replace_extension(".BAK"), ignored);
    }

    std::string File(const std::string& text)
    {
        std::ofstream(file_, std::ios::binary) << text;
        return file_.string();
    }
    std::string FileText()
    {
        std::ostringstream text;
        text << std::ifstream(file_, std::ios::binary).rdbuf();
        return text.str();
    }
    std::string Cell(uint16_t row, uint16_t col)
    {
        char value[256] = "";
        uint16_t length = 0;
        IntpGetAttrValue(&handle, &row, &col, value, &length);
        return value;
    }
    std::string Record() const
    {
        std::string text(err);
        std::replace(text.begin(), text.end(), '\x1a', '|');
        return text;
    }

    std::filesystem::path file_;
    uint32_t handle = 0;
    uint16_t rows = 0;
    uint16_t cols = 0;
    char err[2100] = "0";
    char none[1] = "";
};

TEST_F(SectionExports, TextStringsReadEditedAndWrittenBack)
{
    std::string file = File("; strings\n{Strings\n  $ A = \"on\"\n  $ B[2]\n}\n; end\n");
    ASSERT_EQ(IntpOpenReadTextStrings(file.data(), &handle, &rows, &cols, none, none, err), -1);
    EXPECT_EQ(Record(), "0|||||");
    EXPECT_EQ(rows * 100 + cols, 205);
    EXPECT_EQ(Cell(1, 0) + "," + Cell(1, 1) + "," + Cell(0, 3), "B( 2 ),1,on");

    char value[] = "off";
    uint16_t row = 0;
    uint16_t col = 3;
    EXPECT_EQ(IntpSetAttrValue(&handle, &row, &col, value), -1);
    EXPECT_EQ(IntpCloseWriteTextStrings(file.data(), &handle, none, none, err), -1);
    EXPECT_EQ(Record(), "0|||||");
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(FileText(),
              "; strings\n{Strings\n  $ A               = \"off\"\n  $ B( 2 )\n}\n; end\n");
}

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
    EXPECT_EQ(Record(), "2||Comment, Newline|B|2|||||");

    std::string file = File("{ Variables\n  R A\n  I B\n  X C\n}\n");
    char start[] = "B";
    char end[] = "nope";
    EXPECT_EQ(IntpOpenReadVpacVariables(file.data(), &handle, &rows, &cols, start, end, err), 0);
    EXPECT_EQ(Record(), "2|" + file + "|nope||6|||||");
    std::strcpy(end, "C");
    ASSERT_EQ(IntpOpenReadVpacVariables(file.data(), &handle, &rows, &cols, start, end, err), -1);
    EXPECT_EQ(rows, 2);
    EXPECT_EQ(IntpCloseWriteVpacVariables(file.data(), &handle, start, end, err), -1);
    EXPECT_EQ(FileText(), "{ Variables\n  R A\n  I B\n  X C\n}\n");

    std::string missing = file + ".none";
    EXPECT_EQ(IntpOpenReadTextStrings(missing.data(), &handle, &rows, &cols, none, none, err), 0);
    EXPECT_EQ(Record(), "4|" + missing + "||||");
    // A write needs the file it writes into.
    uint16_t one = 1;
    uint16_t five = 5;
    ASSERT_EQ(IntpOpenWrite(&handle, &one, &five), -1);
    EXPECT_EQ(IntpCloseWriteTextStrings(missing.data(), &handle, none, none, err), 0);
    EXPECT_EQ(Record(), "4|" + missing + "||||");
    EXPECT_EQ(handle, 0u);
    EXPECT_FALSE(std::filesystem::exists(missing));
}

}  // namespace
