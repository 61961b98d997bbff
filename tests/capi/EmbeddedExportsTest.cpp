// The embedded-file exports as a host calls them.
#include <cstring>

#include "CapiSupport.h"

namespace {

using namespace tolvik::test;

class EmbeddedExports : public HostTable {
protected:
    void WriteFile(const std::string& content) { folder.Write("task.tse", content); }
    std::string ReadFile() const { return folder.Read("task.tse"); }
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

    const std::string file = folder.Path("task.tse");
};

TEST_F(EmbeddedExports, InsertedTextReadsBackWithCrLfAndItsLengthPlusOne)
{
    WriteFile("TASK T\n; EmbeddPoint STUBS\nBEGIN\n");
    EXPECT_EQ(Insert("DOC", "first\nsecond", "0"), -1);
    EXPECT_EQ(Error(), Record("0|||||"));
    int32_t result = 0;
    EXPECT_EQ(ReadOut("doc", &result), "first\r\nsecond\r\n");
    EXPECT_EQ(result, 16);
    EXPECT_STREQ(err, "untouched");  // success writes no record
}

TEST_F(EmbeddedExports, InsertWithoutEmbeddingPointFails)
{
    WriteFile("TASK T\nBEGIN\n");
    EXPECT_EQ(Insert("DOC", "x", "0"), 0);
    EXPECT_EQ(Error(), Record("2|" + file + "|EmbeddPoint \"STUBS\"||3|||||"));
    EXPECT_EQ(ReadFile(), "TASK T\nBEGIN\n");
}

TEST_F(EmbeddedExports, ReadFailuresNameTheFileOrTheMissingMarker)
{
    int32_t result = 1;
    ReadOut("DOC", &result);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(Error(), Record("4|" + file + "||||"));

    WriteFile("one\n; EmbeddedFileStart \"DOC\"\ntext\n");
    ReadOut("DOC", &result);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(Error(), Record("2|" + file + "|EmbeddedFileEnd \"DOC\"||4|||||"));
}

TEST_F(EmbeddedExports, RemoveTakesTheBlockOutAndIsLenientAboutMissingFiles)
{
    WriteFile("A\n; EmbeddedFileStart \"DOC\"\nx\n; EmbeddedFileEnd \"DOC\"\nB\n");
    EXPECT_EQ(IntpRemoveEmbeddedFile(file.c_str(), "DOC", err), -1);
    EXPECT_EQ(Error(), Record("0|||||"));
    EXPECT_EQ(ReadFile(), "A\nB\n");

    EXPECT_EQ(IntpRemoveEmbeddedFile(file.c_str(), "DOC", err), 0);
    EXPECT_EQ(Error(), Record("2|" + file + "|EmbeddedFileStart \"DOC\"||3|||||"));
    EXPECT_EQ(ReadFile(), "A\nB\n");

    const std::string missing = folder.Path("none.tse");
    EXPECT_EQ(IntpRemoveEmbeddedFile(missing.c_str(), "DOC", err), -1);
    EXPECT_EQ(Error(), Record("0|||||"));
    EXPECT_FALSE(folder.Exists("none.tse"));
}

}  // namespace
