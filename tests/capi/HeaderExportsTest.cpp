// The program-header exports as a host calls them: only tolvik32.h and the
// library.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "tolvik32.h"

namespace {

const std::string kSep(1, '\x1a');

class HeaderExports : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::random_device random;
        dir_ = std::filesystem::temp_directory_path() /
               ("tolvik-header-" + std::to_string(random()) + std::to_string(random()));
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
    int32_t Open(const std::string& file)
    {
        return IntpOpenReadVORLHead(file.c_str(), &handle, &rows, &cols, err);
    }
    std::string Cell(uint16_t row, uint16_t col)
    {
        char value[256] = "";
        uint16_t length = 0;
        IntpGetAttrValue(&handle, &row, &col, value, &length);
        return value;
    }
    void Set(uint16_t row, uint16_t col, std::string value)
    {
        ASSERT_EQ(IntpSetAttrValue(&handle, &row, &col, value.data()), -1);
    }
    std::string Record() const { return err; }

    std::filesystem::path dir_;
    uint32_t handle = 0;
    uint16_t rows = 99;
    uint16_t cols = 99;
    char err[4096] = "untouched";
};

TEST_F(HeaderExports, ReadAndUpdateADeclaration)
{
    const std::string file = Write("PUMP.TSE",
                                   "; pump control\n; second line\n{ TASK  NAME = Pump1\n"
                                   "  PRI = 5  CYCLE = 20 MS\n  LN = 12 /NOLOAD\n}\nbody\n");
    ASSERT_EQ(Open(file), -1);
    EXPECT_EQ(Record(), "0" + kSep + kSep + kSep + kSep + kSep);
    EXPECT_EQ(rows, 1);
    EXPECT_EQ(cols, 15);
    EXPECT_EQ(Cell(0, 0), "1");
    EXPECT_EQ(Cell(0, 1), "Pump1");
    EXPECT_EQ(Cell(0, 2), "/NOLOAD");
    EXPECT_EQ(Cell(0, 7), "20 MS");
    EXPECT_EQ(Cell(0, 8), "5");
    EXPECT_EQ(Cell(0, 6), "...");

    for (uint16_t col = 1; col < 15; ++col)
        Set(0, col, "...");
    Set(0, 8, "7");
    Set(0, 5, "\x08");
    Set(0, 6, "3");  // a task has no pages: refused, the file stays
    EXPECT_EQ(IntpCloseUpdateVORLHead(file.c_str(), &handle, err), 0);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(Record(), "2" + kSep + file + kSep +
                            "NAME, LN, TLN, PRI, CYCLE, PLA, ELA, $BUF, /, Comment" + kSep +
                            "Pages" + kSep + "3" + kSep + kSep + kSep + kSep + kSep);

    ASSERT_EQ(Open(file), -1);
    for (uint16_t col = 1; col < 15; ++col)
        Set(0, col, "...");
    Set(0, 8, "7");
    Set(0, 5, "\x08");
    ASSERT_EQ(IntpCloseUpdateVORLHead(file.c_str(), &handle, err), -1);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(Record(), "0" + kSep + kSep + kSep + kSep + kSep);
    EXPECT_EQ(Read("PUMP.TSE"),
              "; pump control\n; second line\n{ TASK\n  Name = Pump1\n"
              "  PRI = 7  Cycle = 20 MS\n  /NOLOAD\n}\nbody\n");
}

TEST_F(HeaderExports, SyntaxErrorGivesTokenAndLine)
{
    const std::string file = Write("BAD.TSE", "{ TASK\n  PRI 5\n}\n");
    EXPECT_EQ(Open(file), 0);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(rows, 0);
    EXPECT_EQ(cols, 0);
    EXPECT_EQ(Record(), "2" + kSep + file + kSep + "=" + kSep + "5" + kSep + "2" + kSep + kSep +
                            kSep + kSep + kSep);
}

TEST_F(HeaderExports, CompiledModuleOfUnknownTypeGivesCode5)
{
    std::string bytes(40, '\0');
    bytes[20] = 2;
    const std::string file = Write("MOD.TSC", bytes);
    EXPECT_EQ(Open(file), 0);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(Record(), "5" + kSep + file + kSep + "1, 4, 5, 8" + kSep + "2" + kSep + "20" + kSep +
                            kSep + kSep + kSep + kSep);
}

TEST_F(HeaderExports, CompiledModuleReadAndPatch)
{
    std::string bytes(40, '\x55');
    bytes[12] = 1;
    bytes[20] = 8;
    bytes[32] = 4;
    bytes[33] = 5;
    const std::string file = Write("MOD.tsc", bytes);
    ASSERT_EQ(Open(file), -1);
    EXPECT_EQ(Cell(0, 0), "7");
    EXPECT_EQ(Cell(0, 7), "500 ms");
    Set(0, 7, "2 s");
    Set(0, 3, "6");
    ASSERT_EQ(IntpCloseUpdateVORLHead(file.c_str(), &handle, err), -1);
    bytes[12] = 6;
    bytes[33] = 20;
    EXPECT_EQ(Read("MOD.tsc"), bytes);

    // A table of a data module does not fit a task module.
    ASSERT_EQ(Open(file), -1);
    Set(0, 0, "8");
    EXPECT_EQ(IntpCloseUpdateVORLHead(file.c_str(), &handle, err), 0);
    EXPECT_EQ(Record(), "5" + kSep + file + kSep + "8" + kSep + "8" + kSep + "20" + kSep + kSep +
                            kSep + kSep + kSep);
    EXPECT_EQ(Read("MOD.tsc"), bytes);
}

TEST_F(HeaderExports, MissingFileAndNullHandle)
{
    const std::string file = (dir_ / "NONE.TSE").string();
    EXPECT_EQ(Open(file), 0);
    EXPECT_EQ(Record(), "4" + kSep + file + kSep + kSep + kSep + kSep);
    handle = 0;
    EXPECT_EQ(IntpCloseUpdateVORLHead(file.c_str(), &handle, err), -1);
    EXPECT_EQ(Record(), "0" + kSep + kSep + kSep + kSep + kSep);
}

}  // namespace
