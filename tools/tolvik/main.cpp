// tolvik: reads and edits the source files of a controller project from the
// command line, through the library's C interface (tolvik32.hpp).
//
// Exit status: 0 success, 1 a file missing or not accessible, 2 a file's
// content is wrong (or the library refused to write it back), 64 usage.
#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>
#include <sstream>

#include "Kinds.h"
#include "TableFormat.h"
#include "tolvik32.hpp"

namespace {

constexpr int kExitMissing = 1;
constexpr int kExitContent = 2;
constexpr int kExitUsage = 64;

// A command line that parses but asks for something impossible.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};
// A file the tool itself reads (a table) is missing.
struct MissingFile : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string ReadWholeFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw MissingFile(path + ": file not found or not readable");
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The column of a program header attribute, by the name it has in a header
// ("PRI", "Cycle", "Name", ...; case ignored), or -1.
int HeaderColumn(std::string name, const tool::Kind& header)
{
    auto upper = [](std::string text) {
        for (char& ch : text)
            ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
        return text;
    };
    name = upper(name);
    if (name == "/" || name == "OPTION")
        name = "OPTIONS";
    for (std::size_t c = 1; c < header.columns.size(); ++c) {
        if (upper(header.columns[c]) == name)
            return static_cast<int>(c);
    }
    return -1;
}

struct Format {
    bool json = false;
    bool csv = false;
};

void Print(const tool::Grid& grid, const tool::Kind& kind, const Format& format)
{
    if (format.json) {
        tool::PrintJson(std::cout, grid);
    } else if (format.csv) {
        tool::PrintCsv(std::cout, grid);
    } else if (kind.oneRecord && grid.rows.size() == 1) {
        // One record: a name and a value per line reads better than a wide row.
        tool::Grid pairs;
        pairs.columns = 2;
        for (std::size_t c = 0; c < grid.columns; ++c)
            pairs.rows.push_back(
                {c < kind.columns.size() ? kind.columns[c] : std::to_string(c), grid.rows[0][c]});
        tool::PrintText(std::cout, pairs, {"Attribute", "Value"});
    } else {
        tool::PrintText(std::cout, grid, kind.columns);
    }
}

const tool::Kind& KindOf(const std::string& name)
{
    const tool::Kind* kind = tool::FindKind(name);
    if (!kind)
        throw UsageError("unknown kind " + name);
    return *kind;
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App app{"Reads and edits the source files of a controller project."};
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 success, 1 file missing or not accessible, 2 file content error, "
        "64 usage error.");
    std::string kinds;
    for (const tool::Kind& kind : tool::Kinds())
        kinds += "\n  " + kind.name +
                 std::string(10 - std::min<std::size_t>(kind.name.size(), 9), ' ') + kind.summary;

    // tolvik read KIND FILE
    std::string kindName;
    std::string file;
    tool::KindOptions options;
    Format format;
    CLI::App* read = app.add_subcommand("read", "Print a file's table");
    read->footer("KIND is one of:" + kinds);
    read->add_option("KIND", kindName, "File kind")
        ->required()
        ->check(CLI::IsMember(tool::KindNames()));
    read->add_option("FILE", file, "The file to read")->required();
    CLI::Option* json = read->add_flag("--json", format.json, "Print JSON (what apply reads)");
    read->add_flag("--csv", format.csv, "Print CSV")->excludes(json);

    // tolvik apply KIND FILE TABLE.json
    std::string tablePath;
    CLI::App* apply = app.add_subcommand("apply", "Write a table (JSON from read --json) back");
    apply->footer("KIND is one of:" + kinds);
    apply->add_option("KIND", kindName, "File kind")
        ->required()
        ->check(CLI::IsMember(tool::KindNames()));
    apply->add_option("FILE", file, "The file to write back into")->required();
    apply->add_option("TABLE", tablePath, "The table as JSON; - reads standard input")->required();
    apply->add_flag("--write", options.write, "mdl: write the file anew from the table alone");

    // tolvik header set FILE NAME=VALUE...
    std::vector<std::string> assignments;
    CLI::App* header = app.add_subcommand("header", "Edit a program header");
    header->require_subcommand(1);
    CLI::App* headerSet = header->add_subcommand("set", "Set attributes of a module's header");
    headerSet->add_option("FILE", file, "The module's source file")->required();
    headerSet
        ->add_option("ASSIGNMENT", assignments,
                     "NAME=VALUE (PRI=7, Cycle=20 MS, Name=Pump2, Options=/NOLOAD); NAME= "
                     "removes the attribute")
        ->required();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int status = app.exit(error);
        return status == 0 ? 0 : kExitUsage;
    }

    try {
        if (*read) {
            const tool::Kind& kind = KindOf(kindName);
            Print(tool::CopyOut(kind.read(file, options)), kind, format);
        } else if (*apply) {
            const tool::Kind& kind = KindOf(kindName);
            tool::Grid grid;
            try {
                if (tablePath == "-") {
                    std::ostringstream text;
                    text << std::cin.rdbuf();
                    grid = tool::ParseJson(text.str());
                } else {
                    grid = tool::ParseJson(ReadWholeFile(tablePath));
                }
            } catch (const tool::BadTable& bad) {
                std::cerr << "tolvik: " << tablePath << ": " << bad.what() << '\n';
                return kExitContent;
            }
            kind.apply(file, tool::CopyIn(grid), options);
        } else if (*headerSet) {
            const tool::Kind& kind = KindOf("header");
            // Column 0 names the module's kind (a compiled module checks it);
            // every other cell stays empty, keeping the file's value.
            const tolvik32::Table current = kind.read(file, options);
            tolvik32::Table table(1, kind.columns.size());
            table.Set(0, 0, current.Get(0, 0));
            for (const std::string& assignment : assignments) {
                const std::size_t equals = assignment.find('=');
                const int column = equals == std::string::npos
                                       ? -1
                                       : HeaderColumn(assignment.substr(0, equals), kind);
                if (column < 0)
                    throw UsageError("not NAME=VALUE with a header attribute's name: " +
                                     assignment);
                const std::string value = assignment.substr(equals + 1);
                table.Set(0, static_cast<std::size_t>(column),
                          value.empty() ? std::string(tolvik32::kDeleteMark) : value);
            }
            kind.apply(file, std::move(table), options);
        }
    } catch (const tolvik32::Error& error) {
        std::cerr << "tolvik: " << error.what() << '\n';
        switch (error.Code()) {
            case tolvik32::ErrorCode::kMissing:
            case tolvik32::ErrorCode::kNotAccessible:
                return error.Expected().empty() ? kExitMissing : kExitContent;
            case tolvik32::ErrorCode::kNoRequest:
                return kExitUsage;
            default:
                return kExitContent;
        }
    } catch (const MissingFile& error) {
        std::cerr << "tolvik: " << error.what() << '\n';
        return kExitMissing;
    } catch (const UsageError& error) {
        std::cerr << "tolvik: " << error.what() << '\n';
        return kExitUsage;
    } catch (const std::exception& error) {
        std::cerr << "tolvik: " << error.what() << '\n';
        return kExitContent;
    }
    return 0;
}
