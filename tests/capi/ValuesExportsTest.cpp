// BPAC value files through the C interface, as a host uses them.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "tolvik32.h"

namespace {

const std::string kSub(1, '\x1a');

class ValuesExports : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::random_device random;
        dir_ = std::filesystem::temp_directory_path() /
               ("tolvik-values-" + std::to_string(random()) + std::to_string(random()));
        std::filesystem::create_directories(dir_);
        file_ = (dir_ / "PUMP.BPE").string();
    }
    void TearDown() override
    {
        if (handle)
            IntpCloseRead(&handle);
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }

    void WriteFile(const std::string& content)
    {
        std::ofstream out(file_, std::ios::binary);
        out << content;
    }
    std::string ReadFile() const
    {
        std::ifstream in(file_, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }
    std::pair<int32_t, std::string> Get(uint16_t row, uint16_t col)
    {
        char value[256] = "";
        uint16_t length = 0;
        const int32_t result = IntpGetAttrValue(&handle, &row, &col, value, &length);
        return {result, value};
    }
    int32_t Set(uint16_t row, uint16_t col, std::string value)
    {
        return IntpSetAttrValue(&handle, &row, &col, value.data());
    }

    std::filesystem::path dir_;
    std::string file_;
    uint32_t handle = 0;
    char err[2100] = "";
};

TEST_F(ValuesExports, ReadEditAndUpdateKeepsTheLinesAroundTheBlock)
{
    WriteFile(
        "; pump\n{ Values\n( No :L Speed :X Limit ) ; rated\n  #1    1200   300 ; first\n}\n"
        "; after\n");
    uint16_t rows = 0;
    uint16_t cols = 0;
    ASSERT_EQ(IntpOpenReadBPACValues(file_.c_str(), &handle, &rows, &cols, err), -1);
    EXPECT_EQ(std::string(err), "0" + kSub + kSub + kSub + kSub + kSub);
    ASSERT_NE(handle, 0u);
    EXPECT_EQ(rows, 3);
    EXPECT_EQ(cols, 4);
    EXPECT_EQ(Get(0, 1), std::make_pair(-1, std::string("L")));
    EXPECT_EQ(Get(1, 2), std::make_pair(-1, std::string("Limit")));
    EXPECT_EQ(Get(1, 3), std::make_pair(-1, std::string("rated")));
    EXPECT_EQ(Get(2, 0), std::make_pair(-1, std::string("1")));
    EXPECT_EQ(Get(2, 1), std::make_pair(-1, std::string("1200")));
    EXPECT_EQ(Get(2, 3), std::make_pair(-1, std::string("first")));

    EXPECT_EQ(Set(2, 2, "350"), -1);
    EXPECT_EQ(Set(3, 0, "2"), -1);  // a new row
    EXPECT_EQ(Set(3, 1, "900"), -1);
    ASSERT_EQ(IntpCloseUpdateBPACValues(file_.c_str(), &handle, err), -1);
    EXPECT_EQ(std::string(err), "0" + kSub + kSub + kSub + kSub + kSub);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(ReadFile(),
              "; pump\n{ Values \n\n( No     :L Speed:X Limit) ; rated\n\n"
              "  #1         1200     350  ; first\n  #2          900        \n\n}\n; after\n");

    ASSERT_EQ(IntpOpenReadBPACValues(file_.c_str(), &handle, &rows, &cols, err), -1);
    EXPECT_EQ(rows, 4);
    EXPECT_EQ(Get(3, 1), std::make_pair(-1, std::string("900")));
    EXPECT_EQ(Get(3, 2), std::make_pair(0, std::string("...")));
}

TEST_F(ValuesExports, NewTableFillsAnEmptyBlock)
{
    WriteFile("{ Values\n}\n");
    uint16_t rows = 3;
    uint16_t cols = 3;
    ASSERT_EQ(IntpOpenWrite(&handle, &rows, &cols), -1);
    for (uint16_t row = 0; row < 2; ++row)
        EXPECT_EQ(Set(row, 0, "No"), -1);
    EXPECT_EQ(Set(0, 1, "R"), -1);
    EXPECT_EQ(Set(1, 1, "Gain"), -1);
    EXPECT_EQ(Set(2, 0, "7"), -1);
    EXPECT_EQ(Set(2, 1, "0.25"), -1);
    ASSERT_EQ(IntpCloseUpdateBPACValues(file_.c_str(), &handle, err), -1);
    EXPECT_EQ(ReadFile(), "{ Values \n\n( No     :R Gain) \n\n  #7        0.25\n\n}\n");
}

TEST_F(ValuesExports, MissingFileAndBadHeaderAreReported)
{
    uint16_t rows = 9;
    uint16_t cols = 9;
    const std::string missing = (dir_ / "NONE.BPE").string();
    EXPECT_EQ(IntpOpenReadBPACValues(missing.c_str(), &handle, &rows, &cols, err), 0);
    EXPECT_EQ(std::string(err), "4" + kSub + missing + kSub + kSub + kSub + kSub);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(rows, 0);
    EXPECT_EQ(cols, 0);

    WriteFile("{ Values\n( No :L A :Q B )\n}\n");
    EXPECT_EQ(IntpOpenReadBPACValues(file_.c_str(), &handle, &rows, &cols, err), 0);
    EXPECT_EQ(std::string(err), "2" + kSub + file_ + kSub + "L, X, I, R " + kSub + "Q" + kSub +
                                    "2" + kSub + kSub + kSub + kSub + kSub);
    EXPECT_EQ(handle, 0u);
}

TEST_F(ValuesExports, UpdateWithoutHandleOrBlockLeavesTheFile)
{
    const std::string content = "; no values here\n";
    WriteFile(content);
    EXPECT_EQ(IntpCloseUpdateBPACValues(file_.c_str(), &handle, err), -1);
    EXPECT_EQ(std::string(err), "0" + kSub + kSub + kSub + kSub + kSub);

    uint16_t rows = 3;
    uint16_t cols = 3;
    ASSERT_EQ(IntpOpenWrite(&handle, &rows, &cols), -1);
    EXPECT_EQ(IntpCloseUpdateBPACValues(file_.c_str(), &handle, err), 0);
    EXPECT_EQ(std::string(err), "2" + kSub + file_ + kSub + "{ Values" + kSub + kSub + "2" + kSub +
                                    kSub + kSub + kSub + kSub);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(ReadFile(), content);
}

}  // namespace
