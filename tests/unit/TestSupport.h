// Test helpers: the temporary folder and file reads the host tests use, a
// temporary folder that is the current directory while it lives (temporary
// output files are made there), test data, and messages made readable.
#pragma once

#include <cctype>
#include <string>
#include <vector>

#include "../capi/CapiSupport.h"
#include "core/AttributeList.h"
#include "textfile/SourceParser.h"

namespace tolvik::test {

class TempDir : public TempFolder {
public:
    TempDir() : TempFolder(kCurrent) {}
};

// Runs a handler; `message` receives its message as a record carries it.
inline bool RunParser(CSourceParser& parser, std::unique_ptr<CAttributeList>& list,
                      std::string& message)
{
    Diagnostic found;
    const bool ok = parser.Run(list, found);
    message = found.MessageText();
    return ok;
}

// A file below tests/data, e.g. TestData("embedded/a.src").
inline std::string TestData(const std::string& name)
{
    return ReadBytes(fs::path(TOLVIK_TEST_DATA) / name);
}

// A table as text: one row a line, its cells joined by "|", each cell as
// `show` gives it (nullptr for a cell the table does not hold).
template <class Show>
std::string DumpTable(const CAttributeList* table, Show show)
{
    if (!table)
        return "<no table>";
    std::string text;
    for (std::uint32_t row = 0; row < table->rows; ++row) {
        for (std::uint32_t column = 0; column < table->columns; ++column)
            text += (column ? "|" : "") +
                    show(table->GetAttribute(static_cast<int>(row), static_cast<int>(column)));
        text += '\n';
    }
    return text;
}

// A message with each separator shown as "|".
inline std::string Visible(std::string text)
{
    std::replace(text.begin(), text.end(), '\x1a', '|');
    return text;
}

// As Visible, and each line end shown as a backslash and "n".
inline std::string Shown(const std::string& text)
{
    std::string shown;
    for (char c : text)
        shown += c == '\x1a' ? std::string("|")
                 : c == '\n' ? std::string("\\n")
                             : std::string(1, c);
    return shown;
}

// The message with the file name it starts with replaced by "FILE".
inline std::string FileAsFILE(std::string message, const std::string& file)
{
    if (message.compare(0, file.size(), file) == 0)
        message.replace(0, file.size(), "FILE");
    return message;
}

// The cases below tests/data/<folder>, sorted: its folders, or with
// `extension` its files that have it, named without the extension.
inline std::vector<std::string> CaseNames(const std::string& folder,
                                          const std::string& extension = "")
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(fs::path(TOLVIK_TEST_DATA) / folder)) {
        if (extension.empty() ? entry.is_directory() : entry.path().extension() == extension)
            names.push_back(
                (extension.empty() ? entry.path().filename() : entry.path().stem()).string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// A test name from a case name: each character a test name cannot hold ("-")
// becomes "_".
inline std::string CaseTestName(const ::testing::TestParamInfo<std::string>& info)
{
    std::string name;
    for (char c : info.param)
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

}  // namespace tolvik::test
