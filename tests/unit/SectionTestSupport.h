// Helpers for the section handler tests: tables written as text (one row a
// line, cells split by "|", "..." for the empty cell, "<DEL>" for the deletion
// mark, a backslash and "n" for a line end in a cell), messages with the
// separator shown as "|", and the driver of the golden cases.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "core/AttributeList.h"
#include "sections/SectionRowsParser.h"

namespace tolvik::test {

inline std::string Dump(const CAttributeList* table)
{
    return DumpTable(table, [](const std::string* cell) {
        return !cell                  ? "<none>"
               : *cell == kEmptyCell  ? "..."
               : *cell == kDeleteMark ? "<DEL>"
                                      : *cell;
    });
}

inline std::unique_ptr<CAttributeList> TableFrom(const std::string& dump)
{
    auto table = std::make_unique<CAttributeList>();
    table->columns = kSectionColumns;
    std::istringstream lines(dump);
    for (std::string line; std::getline(lines, line); ++table->rows) {
        std::istringstream cells(line + "|||||");
        std::string cell;
        for (int column = 0; column < kSectionColumns && std::getline(cells, cell, '|'); ++column) {
            for (std::size_t at = cell.find("\\n"); at != std::string::npos; at = cell.find("\\n"))
                cell.replace(at, 2, "\n");
            table->AddAttribute(cell == "..." ? kEmptyCell : cell == "<DEL>" ? kDeleteMark : cell);
        }
    }
    return table;
}

struct RunResult {
    bool ok = false;
    std::unique_ptr<CAttributeList> table;
    std::string message;  // separators shown as "|"
};

// Runs a handler over `source`; in write mode with the table `dump`.
template <class Parser>
RunResult Run(const std::string& source, bool inMemory, const std::string& start = "",
              const std::string& end = "", const std::string* dump = nullptr)
{
    RunResult result;
    if (dump)
        result.table = TableFrom(*dump);
    Parser parser(source, inMemory, start, end, dump ? kWrite : kRead);
    result.ok = RunParser(parser, result.table, result.message);
    result.message = Visible(result.message);
    return result;
}

// The cases below tests/data/<kind>, one folder each, named after what the
// user sees:
//   input     the file
//   names     start and end name, one a line (both empty without it)
//   table     the rows to write; without it the case reads the file
//   expected  the rewritten file (write) or the table read (read), which
//             must also survive being written back and read again
//   error     the message instead, the file name shown as FILE; the file
//             must then stay as it was
//   readback  a written file read with empty names gives this table; without
//             it, reading with the case's names gives back `table`
template <class Parser>
void RunCase(const std::string& kind, const std::string& name)
{
    const std::filesystem::path folder = std::filesystem::path(TOLVIK_TEST_DATA) / kind / name;
    auto has = [&folder](const char* file) { return std::filesystem::exists(folder / file); };
    std::string start;
    std::string end;
    std::istringstream names(ReadBytes(folder / "names"));
    std::getline(names, start);
    std::getline(names, end);

    TempDir dir;
    const std::string input = ReadBytes(folder / "input");
    const std::string file = dir.Write("SECTION.TXT", input);
    const std::string table = ReadBytes(folder / "table");
    RunResult result = Run<Parser>(file, false, start, end, has("table") ? &table : nullptr);
    if (has("error")) {
        std::string expected = ReadBytes(folder / "error");
        expected.erase(expected.find_last_not_of('\n') + 1);
        EXPECT_FALSE(result.ok);
        EXPECT_EQ(result.message, expected.replace(0, 4, file));
        EXPECT_EQ(dir.Read("SECTION.TXT"), input);
    } else if (!has("table")) {
        ASSERT_TRUE(result.ok) << result.message;
        const std::string dump = Dump(result.table.get());
        EXPECT_EQ(dump, ReadBytes(folder / "expected"));
        // Written back and read again, the table stays the same, and a second
        // write changes nothing.
        ASSERT_TRUE((Run<Parser>(file, false, start, end, &dump).ok));
        const std::string written = dir.Read("SECTION.TXT");
        EXPECT_EQ(Dump(Run<Parser>(file, false, start, end).table.get()), dump);
        ASSERT_TRUE((Run<Parser>(file, false, start, end, &dump).ok));
        EXPECT_EQ(dir.Read("SECTION.TXT"), written);
    } else {
        ASSERT_TRUE(result.ok) << result.message;
        EXPECT_EQ(dir.Read("SECTION.TXT"), ReadBytes(folder / "expected"));
        const bool whole = has("readback");
        RunResult again = Run<Parser>(file, false, whole ? "" : start, whole ? "" : end);
        ASSERT_TRUE(again.ok) << again.message;
        EXPECT_EQ(Dump(again.table.get()), whole ? ReadBytes(folder / "readback") : table);
    }
    for (const std::string& left : dir.Files())
        EXPECT_EQ(left.rfind("TVK", 0), std::string::npos) << "temporary file left: " << left;
}

// A stub rendered from the table `rows` gives `stored`; read and rendered
// again, three times over, it gives the same rows and text. An empty table
// renders as `emptyStored`.
template <class Render, class Read>
void ExpectStubCycle(Render render, Read read, const std::string& rows, const std::string& stored,
                     const std::string& emptyStored)
{
    std::unique_ptr<CAttributeList> table = TableFrom(rows);
    std::string text;
    std::string message;
    ASSERT_TRUE(render(table, text, message)) << Visible(message);
    EXPECT_EQ(text, stored);
    for (int cycle = 0; cycle < 3; ++cycle) {
        std::unique_ptr<CAttributeList> back;
        ASSERT_TRUE(read(text, back, message)) << Visible(message);
        EXPECT_EQ(Dump(back.get()), rows);
        std::string again;
        ASSERT_TRUE(render(back, again, message));
        EXPECT_EQ(again, text) << "cycle " << cycle;
    }
    auto empty = TableFrom("");
    ASSERT_TRUE(render(empty, text, message));
    EXPECT_EQ(text, emptyStored);
}

}  // namespace tolvik::test
