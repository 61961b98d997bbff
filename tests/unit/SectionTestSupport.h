// Helpers for the section handler tests: tables written as text (one row a
// line, cells split by "|", "..." for the empty cell, "<DEL>" for the deletion
// mark), messages with the separator shown as "|", and the driver of the
// golden write cases.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "TestSupport.h"
#include "api/AttributeList.h"
#include "sections/SectionRowsParser.h"

namespace tolvik::test {

inline std::string Visible(std::string text)
{
    for (char& c : text)
        if (c == '\x1a')
            c = '|';
    return text;
}

inline std::string Dump(const CAttributeList* table)
{
    if (!table)
        return "<no table>";
    std::string text;
    for (std::uint32_t row = 0; row < table->rows; ++row) {
        for (std::uint32_t column = 0; column < table->columns; ++column) {
            const std::string* cell =
                table->GetAttribute(static_cast<int>(row), static_cast<int>(column));
            text += column ? "|" : "";
            text += !cell                  ? "<none>"
                    : *cell == kEmptyCell  ? "..."
                    : *cell == kDeleteMark ? "<DEL>"
                                           : *cell;
        }
        text += '\n';
    }
    return text;
}

inline std::unique_ptr<CAttributeList> TableFrom(const std::string& dump)
{
    auto table = std::make_unique<CAttributeList>();
    table->columns = kSectionColumns;
    std::istringstream lines(dump);
    for (std::string line; std::getline(lines, line);) {
        std::uint32_t cells = 0;
        for (std::size_t begin = 0;; ++cells) {
            const std::size_t bar = line.find('|', begin);
            std::string cell = line.substr(begin, bar == std::string::npos ? bar : bar - begin);
            table->AddAttribute(cell == "..." ? kEmptyCell : cell == "<DEL>" ? kDeleteMark : cell);
            if (bar == std::string::npos)
                break;
            begin = bar + 1;
        }
        for (++cells; cells < kSectionColumns; ++cells)
            table->AddAttribute(kEmptyCell);
        ++table->rows;
    }
    return table;
}

struct RunResult {
    bool ok = false;
    std::unique_ptr<CAttributeList> table;
    std::string message;  // separators shown as "|"
};

template <class Parser>
RunResult Read(const std::string& source, bool inMemory, const std::string& start = "",
               const std::string& end = "")
{
    RunResult result;
    Parser parser(source, inMemory, start, end, kRead);
    result.ok = parser.Run(result.table, result.message);
    result.message = Visible(result.message);
    return result;
}

template <class Parser>
RunResult Write(const std::string& file, const std::string& dump, const std::string& start = "",
                const std::string& end = "")
{
    RunResult result;
    result.table = TableFrom(dump);
    Parser parser(file, false, start, end, kWrite);
    result.ok = parser.Run(result.table, result.message);
    result.message = Visible(result.message);
    return result;
}

inline std::string ReadText(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Each folder below `kind` is one case: "input" (the file), "table" (the rows
// written), "names" (start and end name, one a line; both empty without it),
// and either "expected" (the rewritten file) or "error" (the message, the
// file name shown as FILE). A written file must also read back into the
// table the case wrote: with the same names, or, when the case has a
// "readback" table, that table with empty names (the whole section).
template <class Parser>
void RunWriteCases(const std::string& kind)
{
    const std::filesystem::path root = std::filesystem::path(TOLVIK_TEST_DATA) / kind;
    int cases = 0;
    for (const auto& entry : std::filesystem::directory_iterator(root)) {
        if (!entry.is_directory())
            continue;
        const std::filesystem::path folder = entry.path();
        SCOPED_TRACE(folder.filename().string());
        ++cases;
        std::string start;
        std::string end;
        std::istringstream names(ReadText(folder / "names"));
        std::getline(names, start);
        std::getline(names, end);

        TempDir dir;
        const std::string file = dir.Write("SECTION.TXT", ReadText(folder / "input"));
        RunResult written = Write<Parser>(file, ReadText(folder / "table"), start, end);
        if (std::filesystem::exists(folder / "error")) {
            EXPECT_FALSE(written.ok);
            std::string expected = ReadText(folder / "error");
            expected = expected.substr(0, expected.find_last_not_of('\n') + 1);
            EXPECT_EQ(written.message, expected.replace(0, 4, file));
            EXPECT_EQ(dir.Read("SECTION.TXT"), ReadText(folder / "input"));
        } else {
            ASSERT_TRUE(written.ok) << written.message;
            EXPECT_EQ(dir.Read("SECTION.TXT"), ReadText(folder / "expected"));
            const std::filesystem::path readback = folder / "readback";
            const bool whole = std::filesystem::exists(readback);
            RunResult again = Read<Parser>(file, false, whole ? "" : start, whole ? "" : end);
            ASSERT_TRUE(again.ok) << again.message;
            EXPECT_EQ(Dump(again.table.get()), ReadText(whole ? readback : folder / "table"));
        }
        for (const std::string& name : dir.Files())
            EXPECT_EQ(name.rfind("TVK", 0), std::string::npos) << "temporary file left: " << name;
    }
    EXPECT_GT(cases, 0);
}

}  // namespace tolvik::test
