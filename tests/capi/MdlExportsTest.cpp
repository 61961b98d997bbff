// Model files end to end, as a host uses them: read, edit cells, write back.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "tolvik32.h"

namespace {

namespace fs = std::filesystem;

const std::string kSep(1, '\x1a');

class MdlExports : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::random_device random;
        dir_ = fs::temp_directory_path() /
               ("tolvik-mdl-" + std::to_string(random()) + std::to_string(random()));
        fs::create_directories(dir_);
    }
    void TearDown() override
    {
        if (handle)
            IntpCloseRead(&handle);
        std::error_code ignored;
        fs::remove_all(dir_, ignored);
    }

    std::string WriteFile(const std::string& name, const std::string& text)
    {
        std::ofstream out(dir_ / name, std::ios::binary);
        out << text;
        return (dir_ / name).string();
    }
    std::string ReadFile(const std::string& name)
    {
        std::ifstream in(dir_ / name, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }
    std::string Get(uint16_t row, uint16_t col)
    {
        char value[1100] = "";
        uint16_t length = 0;
        IntpGetAttrValue(&handle, &row, &col, value, &length);
        return value;
    }
    int32_t Set(uint16_t row, uint16_t col, std::string value)
    {
        return IntpSetAttrValue(&handle, &row, &col, value.data());
    }

    fs::path dir_;
    uint32_t handle = 0;
    uint16_t rows = 0;
    uint16_t cols = 0;
    char err[4096] = "";
};

TEST_F(MdlExports, ReadEditAndUpdateKeepTheRestOfTheFile)
{
    const std::string file = WriteFile("PLANT.MDL",
                                       "; plant model\r\n"
                                       "{ TASK ; tasks\r\n"
                                       "MAIN /A                  ; main task\r\n"
                                       "OLD.tse\r\n"
                                       "}\r\n"
                                       "{ DPAC\r\n"
                                       "}\r\n");
    ASSERT_EQ(IntpOpenReadMDLFile(file.c_str(), &handle, &rows, &cols, err), -1);
    EXPECT_EQ(std::string(err), "0" + kSep + kSep + kSep + kSep + kSep);
    ASSERT_NE(handle, 0u);
    EXPECT_EQ(rows, 2);
    EXPECT_EQ(cols, 4);
    EXPECT_EQ(Get(0, 0), "MAIN.tse");
    EXPECT_EQ(Get(0, 1), "1");
    EXPECT_EQ(Get(0, 2), "/A ");
    EXPECT_EQ(Get(0, 3), "main task");
    EXPECT_EQ(Get(1, 0), "OLD.tse");

    EXPECT_EQ(Set(0, 3, "the main task"), -1);
    EXPECT_EQ(Set(1, 2, "\x08"), -1);        // remove OLD.tse
    EXPECT_EQ(Set(2, 0, "PARAMS.dpe"), -1);  // a new row
    EXPECT_EQ(Set(2, 1, "2"), -1);
    EXPECT_EQ(Set(2, 2, ""), -1);
    EXPECT_EQ(Set(2, 3, "..."), -1);

    ASSERT_EQ(IntpCloseUpdateMDLFile(file.c_str(), &handle, err), -1);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(std::string(err), "0" + kSep + kSep + kSep + kSep + kSep);
    EXPECT_EQ(ReadFile("PLANT.MDL"),
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
    const std::string file = WriteFile("NEW.MDL", "old text\n");
    uint16_t two = 2;
    uint16_t four = 4;
    ASSERT_EQ(IntpOpenWrite(&handle, &two, &four), -1);
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
    EXPECT_EQ(ReadFile("NEW.MDL"),
              "{ TASK\nC.tsc/X \n}\n{ DPAC\n}\n{ TEXT\nT.txe                    ; texts\n}\n");

    // What was written reads back.
    ASSERT_EQ(IntpOpenReadMDLFile(file.c_str(), &handle, &rows, &cols, err), -1);
    EXPECT_EQ(rows, 2);
    EXPECT_EQ(Get(0, 0), "C.tsc");
    EXPECT_EQ(Get(0, 1), "7");
    EXPECT_EQ(Get(1, 3), "texts");
}

TEST_F(MdlExports, MissingFileIsReportedWithItsName)
{
    const std::string file = (dir_ / "NONE.MDL").string();
    handle = 5;
    rows = 7;
    cols = 7;
    EXPECT_EQ(IntpOpenReadMDLFile(file.c_str(), &handle, &rows, &cols, err), 0);
    EXPECT_EQ(std::string(err), "4" + kSep + file + kSep + kSep + kSep + kSep);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(rows, 0);
    EXPECT_EQ(cols, 0);

    // Writing needs the file to exist too; the table is gone either way.
    uint16_t one = 1;
    uint16_t four = 4;
    ASSERT_EQ(IntpOpenWrite(&handle, &one, &four), -1);
    EXPECT_EQ(IntpCloseWriteMDLFile(file.c_str(), &handle, err), 0);
    EXPECT_EQ(std::string(err), "4" + kSep + file + kSep + kSep + kSep + kSep);
    EXPECT_EQ(handle, 0u);
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(MdlExports, ClosingWithoutAHandleChangesNothing)
{
    const std::string text = "{ TASK\nA\n}\n";
    const std::string file = WriteFile("A.MDL", text);
    EXPECT_EQ(IntpCloseUpdateMDLFile(file.c_str(), &handle, err), -1);
    EXPECT_EQ(std::string(err), "0" + kSep + kSep + kSep + kSep + kSep);
    EXPECT_EQ(IntpCloseWriteMDLFile(file.c_str(), &handle, err), -1);
    EXPECT_EQ(ReadFile("A.MDL"), text);
}

TEST_F(MdlExports, SyntaxErrorGivesFileExpectedTokenAndLine)
{
    const std::string text = "; model\n{ TASK\nMAIN /A /\n}\n";
    const std::string file = WriteFile("BAD.MDL", text);
    EXPECT_EQ(IntpOpenReadMDLFile(file.c_str(), &handle, &rows, &cols, err), 0);
    // The "/" is followed by the line end; the line after it is being read.
    EXPECT_EQ(std::string(err), "2" + kSep + file + kSep + "IDENTIFIER" + kSep + "\n" + kSep + "4" +
                                    kSep + kSep + kSep + kSep + kSep);
    EXPECT_EQ(handle, 0u);

    uint16_t one = 1;
    uint16_t four = 4;
    ASSERT_EQ(IntpOpenWrite(&handle, &one, &four), -1);
    EXPECT_EQ(IntpCloseUpdateMDLFile(file.c_str(), &handle, err), 0);
    EXPECT_EQ(err[0], '2');
    EXPECT_EQ(ReadFile("BAD.MDL"), text);
}

}  // namespace
