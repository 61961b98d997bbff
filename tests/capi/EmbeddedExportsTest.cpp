// The embedded-file exports as a host calls them.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "tolvik32.h"

namespace {

namespace fs = std::filesystem;

std::string Record(const std::string& code, const std::string& a1 = {}, const std::string& a2 = {})
{
    return code + '\x1a' + a1 + '\x1a' + a2 + '\x1a' + '\x1a' + '\x1a';
}

class EmbeddedExports : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::random_device random;
        dir = fs::temp_directory_path() / ("tolvik-capi-" + std::to_string(random()));
        fs::create_directories(dir);
        file = (dir / "task.tse").string();
    }
    void TearDown() override
    {
        if (handle)
            IntpCloseRead(&handle);
        std::error_code ignored;
        fs::remove_all(dir, ignored);
    }
    void WriteFile(const std::string& content) { std::ofstream(file, std::ios::binary) << content; }
    std::string ReadFile() const
    {
        std::ifstream in(file, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }
    int32_t Insert(const char* name, const char* text, const char* flags)
    {
        std::strcpy(err, flags);
        return IntpInsertEmbeddedFile(file.c_str(), "STUBS", name, text, err);
    }
    // The text of an embedded file as the host reads it.
    std::string ReadOut(const char* name, int32_t* result)
    {
        std::strcpy(err, "untouched");
        *result = IntpOpenReadEmbeddedFile(file.c_str(), &handle, name, err);
        if (!*result)
            return {};
        std::string value(70000, '\0');
        uint16_t row = 0, col = 0, length = 0;
        EXPECT_EQ(IntpGetAttrValue(&handle, &row, &col, value.data(), &length), -1);
        IntpCloseRead(&handle);
        value.resize(length);
        return value;
    }

    fs::path dir;
    std::string file;
    uint32_t handle = 0;
    char err[4096] = {};
};

TEST_F(EmbeddedExports, InsertedTextReadsBackWithCrLfAndItsLengthPlusOne)
{
    WriteFile("TASK T\n; EmbeddPoint STUBS\nBEGIN\n");
    EXPECT_EQ(Insert("DOC", "first\nsecond", "0"), -1);
    EXPECT_EQ(std::string(err), Record("0"));
    int32_t result = 0;
    EXPECT_EQ(ReadOut("doc", &result), "first\r\nsecond\r\n");
    EXPECT_EQ(result, 16);
    EXPECT_STREQ(err, "untouched");  // success writes no record
}

TEST_F(EmbeddedExports, ReplaceRequestPutsTheNewTextWhereTheOldWas)
{
    WriteFile(
        "TASK T\n; EmbeddPoint STUBS\nA\n; EmbeddedFileStart \"DOC\"\nold\n"
        "; EmbeddedFileEnd \"DOC\"\nB\n");
    EXPECT_EQ(Insert("DOC", "new\r\n", "2"), -1);
    EXPECT_EQ(std::string(err), Record("0"));
    EXPECT_EQ(ReadFile(),
              "TASK T\n; EmbeddPoint STUBS\nA\n; EmbeddedFileStart  \"DOC\"\nnew\n"
              "; EmbeddedFileEnd  \"DOC\"\nB\n");
    int32_t result = 0;
    EXPECT_EQ(ReadOut("DOC", &result), "new\r\n");
}

TEST_F(EmbeddedExports, InsertOfAnExistingNameWithoutReplaceChangesNothing)
{
    const std::string original =
        "; EmbeddPoint STUBS\n; EmbeddedFileStart \"DOC\"\nold\n"
        "; EmbeddedFileEnd \"DOC\"\n";
    WriteFile(original);
    EXPECT_EQ(Insert("DOC", "new", "1"), -1);
    EXPECT_EQ(std::string(err), Record("0"));
    EXPECT_EQ(ReadFile(), original);
}

TEST_F(EmbeddedExports, InsertWithoutEmbeddingPointFails)
{
    WriteFile("TASK T\nBEGIN\n");
    EXPECT_EQ(Insert("DOC", "x", "0"), 0);
    EXPECT_EQ(std::string(err), Record("2", file + "\x1a"
                                                   "EmbeddPoint \"STUBS\"\x1a\x1a"
                                                   "3\x1a"));
    EXPECT_EQ(ReadFile(), "TASK T\nBEGIN\n");
}

TEST_F(EmbeddedExports, ReadFailuresNameTheFileOrTheMissingMarker)
{
    int32_t result = 1;
    ReadOut("DOC", &result);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(std::string(err), Record("4", file));

    WriteFile("one\n; EmbeddedFileStart \"DOC\"\ntext\n");
    ReadOut("DOC", &result);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(std::string(err), Record("2", file + "\x1a"
                                                   "EmbeddedFileEnd \"DOC\"\x1a\x1a"
                                                   "4\x1a"));
}

TEST_F(EmbeddedExports, RemoveTakesTheBlockOutAndIsLenientAboutMissingFiles)
{
    WriteFile("A\n; EmbeddedFileStart \"DOC\"\nx\n; EmbeddedFileEnd \"DOC\"\nB\n");
    EXPECT_EQ(IntpRemoveEmbeddedFile(file.c_str(), "DOC", err), -1);
    EXPECT_EQ(std::string(err), Record("0"));
    EXPECT_EQ(ReadFile(), "A\nB\n");

    EXPECT_EQ(IntpRemoveEmbeddedFile(file.c_str(), "DOC", err), 0);
    EXPECT_EQ(std::string(err), Record("2", file + "\x1a"
                                                   "EmbeddedFileStart \"DOC\"\x1a\x1a"
                                                   "3\x1a"));
    EXPECT_EQ(ReadFile(), "A\nB\n");

    const std::string missing = (dir / "none.tse").string();
    EXPECT_EQ(IntpRemoveEmbeddedFile(missing.c_str(), "DOC", err), -1);
    EXPECT_EQ(std::string(err), Record("0"));
    EXPECT_FALSE(fs::exists(missing));
}

}  // namespace
