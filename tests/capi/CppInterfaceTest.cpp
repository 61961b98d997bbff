// tolvik32.hpp as a C++ host uses it: tables that close their handles, empty
// cells as std::optional, and error records decoded into their parts.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tolvik32.hpp"

namespace {

using tolvik32::Error;
using tolvik32::ErrorCode;
using tolvik32::Table;

const std::string kSep(1, '\x1a');

TEST(CppTable, EmptyCellsAreNothingAndSettingThePastTheEndRowAddsIt)
{
    Table table(1, 2);
    table.Set(0, 1, "Pump");
    EXPECT_EQ(table.Get(0, 0), std::nullopt);
    EXPECT_EQ(table.Get(0, 1), "Pump");
    EXPECT_EQ(table.AddRow(), 1u);
    table.Set(1, 0, std::string(tolvik32::kDeleteMark));
    EXPECT_EQ(table.Rows(), 2u);
    EXPECT_EQ(table.Get(1, 0), "\b");
    table.Set(0, 1, std::nullopt);
    EXPECT_EQ(table.Get(0, 1), std::nullopt);
    EXPECT_THROW(table.Get(2, 0), std::out_of_range);
    EXPECT_THROW(table.Get(0, 2), std::out_of_range);
    EXPECT_THROW(table.Set(3, 0, "x"), std::out_of_range);
}

TEST(CppTable, AMovedTableOwnsTheHandleAndClosesItOnce)
{
    uint32_t token = 0;
    {
        Table first(1, 1);
        token = first.Handle();
        Table second = std::move(first);
        EXPECT_FALSE(first);
        EXPECT_EQ(second.Handle(), token);
        EXPECT_EQ(second.Rows(), 1u);
    }
    // The handle was discarded: the library refuses it now.
    uint16_t zero = 0;
    char value[16];
    uint16_t length = 0;
    EXPECT_EQ(IntpGetAttrValue(&token, &zero, &zero, value, &length), 0);
}

TEST(CppError, RecordsAreDecodedIntoTheirParts)
{
    struct Case {
        std::string record;
        ErrorCode code;
        std::string file;
        std::vector<std::string> expected;
        std::string token;
        long line;
        std::string message;
    };
    const std::vector<Case> cases = {
        {"4" + kSep + "A.MDL" + kSep + kSep + kSep + kSep,
         ErrorCode::kMissing,
         "A.MDL",
         {},
         "",
         0,
         "A.MDL: file not found"},
        {"3" + kSep + "A.MDL" + kSep + kSep + kSep + kSep,
         ErrorCode::kNotAccessible,
         "A.MDL",
         {},
         "",
         0,
         "A.MDL: file not accessible"},
        {"2" + kSep + "A.MDL" + kSep + "IDENTIFIER" + kSep + "\n" + kSep + "4" + kSep + kSep +
             kSep + kSep + kSep,
         ErrorCode::kContent,
         "A.MDL",
         {"IDENTIFIER"},
         "\n",
         4,
         "A.MDL:4: expected IDENTIFIER, found end of line"},
        {"5" + kSep + "M.TSC" + kSep + "1, 4, 5, 8" + kSep + "2" + kSep + "20" + kSep + kSep +
             kSep + kSep + kSep,
         ErrorCode::kWrongKind,
         "M.TSC",
         {"1, 4, 5, 8"},
         "2",
         20,
         "M.TSC:20: wrong kind of module: expected 1, 4, 5, 8, found \"2\""},
        // A stub parsed in memory: its message names no file.
        {"2" + kSep + "S in T.tse" + kSep + kSep + "=" + kSep + "10" + kSep + "3" + kSep + kSep +
             kSep + kSep,
         ErrorCode::kContent,
         "S in T.tse",
         {"="},
         "10",
         3,
         "S in T.tse:3: expected =, found \"10\""},
        // A declaration parsed in memory before the file is opened.
        {"2" + kSep + kSep + "NEWLINE" + kSep + "{" + kSep + "1" + kSep + kSep + kSep + kSep + kSep,
         ErrorCode::kContent,
         "",
         {"NEWLINE"},
         "{",
         1,
         "line 1: expected NEWLINE, found \"{\""},
        // A stub that could not be stored: the inner record follows.
        {"2" + kSep + "S in T.tse" + kSep + "2" + kSep + "T.tse" + kSep + "EmbeddPoint \"\"" +
             kSep + kSep + "9" + kSep + kSep + kSep + kSep + kSep + kSep,
         ErrorCode::kContent,
         "S in T.tse",
         {"EmbeddPoint \"\""},
         "",
         9,
         "S in T.tse:9: expected EmbeddPoint \"\", found end of file"},
    };
    for (const Case& c : cases) {
        const Error error = Error::FromRecord(c.record);
        EXPECT_EQ(error.Code(), c.code) << c.message;
        EXPECT_EQ(error.File(), c.file) << c.message;
        EXPECT_EQ(error.Expected(), c.expected) << c.message;
        EXPECT_EQ(error.Token(), c.token) << c.message;
        EXPECT_EQ(error.Line(), c.line) << c.message;
        EXPECT_EQ(std::string(error.what()), c.message);
        EXPECT_EQ(error.Record(), c.record);
    }
}

TEST(CppError, AFailedCallThrowsTheDecodedRecordAndAWriteBackConsumesTheTable)
{
    const std::filesystem::path file =
        std::filesystem::temp_directory_path() / "tolvik-cpp-interface-missing.MDL";
    std::filesystem::remove(file);
    try {
        tolvik32::ReadModel(file.string());
        FAIL() << "a missing file was read";
    } catch (const Error& error) {
        EXPECT_EQ(error.Code(), ErrorCode::kMissing);
        EXPECT_EQ(error.File(), file.string());
    }

    Table table(1, 4);
    const uint32_t token = table.Handle();
    EXPECT_THROW(tolvik32::UpdateModel(file.string(), std::move(table)), Error);
    EXPECT_FALSE(table);
    uint32_t stale = token;
    EXPECT_EQ(IntpCloseRead(&stale), 0);  // already released by the close
}

TEST(CppModel, ReadEditAndUpdateAModelFile)
{
    const std::filesystem::path file =
        std::filesystem::temp_directory_path() / "tolvik-cpp-interface.MDL";
    std::ofstream(file, std::ios::binary) << "{ TASK\nPUMP.tse\n}\n";
    Table model = tolvik32::ReadModel(file.string());
    ASSERT_EQ(model.Rows(), 1u);
    EXPECT_EQ(model.Get(0, 0), "PUMP.tse");
    EXPECT_EQ(model.Get(0, 3), "");
    model.Set(0, 3, "feed pump");
    tolvik32::UpdateModel(file.string(), std::move(model));
    EXPECT_EQ(tolvik32::ReadModel(file.string()).Get(0, 3), "feed pump");
    std::filesystem::remove(file);
    std::filesystem::path backup = file;
    std::filesystem::remove(backup.replace_extension(".BAK"));
}

}  // namespace
