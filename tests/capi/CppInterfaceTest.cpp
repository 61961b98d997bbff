// tolvik32.hpp as a C++ host uses it: tables that close their handles, empty
// cells as std::optional, and error records decoded into their parts.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "CapiSupport.h"
#include "tolvik32.hpp"

namespace {

using tolvik32::Error;
using tolvik32::ErrorCode;
using tolvik32::Table;

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

// The error a call throws, with its parts, taken from the library's own
// diagnostic rather than guessed from the record's text.
template <class Call>
Error Thrown(Call call)
{
    try {
        call();
    } catch (const Error& error) {
        return error;
    }
    ADD_FAILURE() << "the call did not fail";
    return Error::Invalid("no error");
}

TEST(CppError, FailedCallsThrowTheirDiagnosticsParts)
{
    tolvik::test::TempFolder dir;
    // File names that hold " in ", as a stub's place does.
    const std::string model = dir.Write("plant in hall.MDL", "{ TASK\nA.tse B.tse\n}\n");
    const std::string task = dir.Write(
        "pump in hall.tse", "; EmbeddedFileStart \"S\"\nR A 1\n; EmbeddedFileEnd \"S\"\n");
    const std::string missing = dir.Path("none in hall.MDL");
    const std::string stub = "S in " + task;
    struct Case {
        Error error;
        ErrorCode code;
        std::string file;
        std::vector<std::string> expected;
        std::string token;
        long line;
        std::string message;
    };
    const std::vector<Case> cases = {
        {Thrown([&] { tolvik32::ReadModel(missing); }),
         ErrorCode::kMissing,
         missing,
         {},
         "",
         0,
         missing + ": file not found"},
        {Thrown([&] { tolvik32::ReadModel(model); }),
         ErrorCode::kContent,
         model,
         {"Comment, Newline"},
         "B.tse",
         2,
         model + ":2: expected Comment, Newline, found \"B.tse\""},
        // The stub's section is parsed in memory, framed by its "{ Code" line:
        // the place names the file, the line counts the section's lines.
        {Thrown([&] { tolvik32::ReadTaskStub(task, "S"); }),
         ErrorCode::kContent,
         stub,
         {"="},
         "1",
         2,
         stub + ":2: expected =, found \"1\""},
        // A stub that could not be stored: the record of storing it is nested.
        {Thrown([&] { tolvik32::UpdateTaskStub(task, Table(1, 4), "T"); }),
         ErrorCode::kContent,
         "T in " + task,
         {"EmbeddPoint \"\""},
         "",
         4,
         "T in " + task + ":4: expected EmbeddPoint \"\", found end of file"},
        // A declaration is parsed in memory before the file is opened.
        {Thrown([&] { tolvik32::InsertDeclaration(task, "Code", "{"); }),
         ErrorCode::kContent,
         "",
         {"IDENTIFIER"},
         "{",
         1,
         "line 1: expected IDENTIFIER, found \"{\""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        EXPECT_EQ(c.error.Code(), c.code);
        EXPECT_EQ(c.error.File(), c.file);
        EXPECT_EQ(c.error.Expected(), c.expected);
        EXPECT_EQ(c.error.Token(), c.token);
        EXPECT_EQ(c.error.Line(), c.line);
        EXPECT_EQ(std::string(c.error.what()), c.message);
        EXPECT_FALSE(c.error.Record().empty());
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

}  // namespace
