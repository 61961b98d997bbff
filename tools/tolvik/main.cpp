// tolvik: reads and edits the source files of a controller project from the
// command line, through the library's C interface (tolvik32.hpp).
//
// Exit status: 0 success, 1 a file missing or not accessible (or changed since
// the table that apply would write into it was read), 2 a file's content is
// wrong (or the library refused to write it back), 64 usage.
#include <CLI/CLI.hpp>
#include <cctype>
#include <fstream>
#include <iostream>
#include <sstream>

#include "Check.h"
#include "Kinds.h"
#include "TableFormat.h"
#include "Terminal.h"
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

std::string Upper(std::string text)
{
    for (char& ch : text)
        ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
    return text;
}

// The column of a program header attribute, by the name it has in a header
// ("PRI", "Cycle", "Name", "TLN", ...; case ignored), or -1.
int HeaderColumn(std::string name, const tool::Kind& header)
{
    name = Upper(name);
    if (name == "/" || name == "OPTION")
        name = "OPTIONS";
    if (name == "TLN" || name == "VLN")  // one column for the three line-number names
        name = "LN";
    for (std::size_t c = 1; c < header.columns.size(); ++c) {
        if (Upper(header.columns[c]) == name)
            return static_cast<int>(c);
    }
    return -1;
}

// Whether `file` holds the embedded file `name`.
bool Exists(const std::string& file, const std::string& name)
{
    try {
        tolvik32::ReadEmbedded(file, name);
        return true;
    } catch (const tolvik32::Error&) {
        return false;
    }
}

struct Format {
    bool json = false;
    bool csv = false;
};

// The text body with the line ends of the platform's text output.
std::string PlainText(std::string text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')
            continue;
        plain += text[i];
    }
    return plain;
}

void Print(const tool::Grid& grid, const tool::Kind& kind, const tool::KindOptions& options,
           const Format& format)
{
    // A profile selection's names stand in its row 0.
    const std::vector<std::string> names =
        kind.name == "profile" && options.select ? std::vector<std::string>() : kind.columns;
    if (kind.textBody && !format.json && !format.csv) {
        for (const auto& row : grid.rows) {
            for (const tool::Cell& cell : row)
                std::cout << PlainText(cell.value_or(""));
        }
    } else if (format.json) {
        tool::PrintJson(std::cout, grid);
    } else if (format.csv) {
        tool::PrintCsv(std::cout, grid);
    } else if (kind.oneRecord && grid.rows.size() == 1) {
        // One record: a name and a value per line reads better than a wide row;
        // the attributes it does not have are left out.
        tool::Grid pairs;
        pairs.columns = 2;
        for (std::size_t c = 0; c < grid.columns; ++c) {
            if (grid.rows[0][c])
                pairs.rows.push_back({c < kind.columns.size() ? kind.columns[c] : std::to_string(c),
                                      grid.rows[0][c]});
        }
        tool::PrintText(std::cout, pairs, {"Attribute", "Value"});
    } else {
        tool::PrintText(std::cout, grid, names);
    }
}

const tool::Kind& KindOf(const std::string& name, const tool::KindOptions& options)
{
    const tool::Kind* kind = tool::FindKind(name);
    if (!kind)
        throw UsageError("unknown kind " + name);
    if (kind->needsStub && options.stub.empty())
        throw UsageError(name + " needs --stub NAME");
    if (kind->name == "profile" && options.select && options.names.empty())
        throw UsageError("profile --select needs --want NAME");
    return *kind;
}

// The options a kind may need, on `read` and `apply` alike.
void AddKindOptions(CLI::App& command, tool::KindOptions& options, const std::string& kinds)
{
    command.footer("KIND is one of:" + kinds);
    command.add_option("--stub,--name", options.stub,
                       "task-stub, text-stub, vpac-stub, embedded: the embedded file's name");
    command.add_option("--start", options.start,
                       "strings, vars: the name whose line starts the region (default: the "
                       "section's first line)");
    command.add_option("--end", options.end,
                       "strings, vars: the last name, a pattern (* matches all), of the region "
                       "(default: the section's end)");
    command.add_flag("--select", options.select,
                     "profile: a row per matching section, a column per --want name (without: "
                     "the listing)");
    command.add_option("--want", options.names,
                       "profile: a wanted parameter name (a pattern in the listing)");
    command.add_option("--section", options.sections,
                       "profile: a section pattern (* + ? wildcards)");
    command.add_flag("--strict-sections", options.strictSections,
                     "profile: a section that matches no pattern is an error");
    command.add_flag("--strict-params", options.strictParameters,
                     "profile: a parameter that is not wanted is an error");
}

// The value of NAME in the first section that matches SECTION, with the
// lines of a block value ended by "\n"; nothing when there is none.
std::optional<std::string> ProfileValue(const std::string& file, const std::string& section,
                                        const std::string& name)
{
    const tolvik32::Table table =
        tolvik32::ReadProfile(file, tolvik32::kSelection, {name}, {section});
    for (std::size_t r = 1; r < table.Rows(); ++r) {
        if (auto value = table.Get(r, 1))
            return PlainText(*value);
    }
    return std::nullopt;
}

// Sets NAME in the first section named SECTION (case ignored) to VALUE, so
// that it is the one value of NAME there. The file is read as a listing, the
// rows changed (a new parameter goes after the section's last row, a new
// section at the end), and the listing written back: the file is made anew
// from it, so what a listing does not hold (comment lines of their own) is not
// kept.
void SetProfileValue(const std::string& file, const std::string& section, const std::string& name,
                     const std::string& value)
{
    tool::Grid grid = tool::CopyOut(tolvik32::ReadProfile(file, tolvik32::kListing));
    grid.columns = 4;
    auto kindIs = [](const tool::Cell& cell, char kind) {
        return cell && !cell->empty() && Upper(cell->substr(0, 1))[0] == kind;
    };
    auto named = [](const tool::Cell& cell, const std::string& text) {
        return cell && Upper(*cell) == Upper(text);
    };
    auto& rows = grid.rows;
    std::size_t row = 0;
    while (row < rows.size() && !(kindIs(rows[row][0], 'S') && named(rows[row][1], section)))
        ++row;
    if (row == rows.size())
        rows.push_back({"S", section, std::nullopt, std::nullopt});
    bool set = false;
    for (++row; row < rows.size() && !kindIs(rows[row][0], 'S');) {
        if (!(kindIs(rows[row][0], 'P') && named(rows[row][1], name))) {
            ++row;
        } else if (!set) {
            rows[row++][2] = value;
            set = true;
        } else {
            rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(row));  // a later occurrence
        }
    }
    if (!set)
        rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(row),
                    {"P", name, value, std::nullopt});
    tolvik32::WriteProfile(file, tool::CopyIn(grid), tolvik32::kListing);
}

std::string ReadInput(const std::string& path)
{
    if (path != "-")
        return ReadWholeFile(path);
    std::ostringstream text;
    text << std::cin.rdbuf();
    return text.str();
}

// tolvik check: findings one a line as they come (or a JSON array at the end),
// then a summary; progress on stderr only when it is a terminal.
int Check(const std::vector<std::string>& paths, bool json)
{
    tool::ProgressLine progress(tool::IsTerminal(stderr));
    tool::ProjectCheck check(
        [&](const tool::Finding& finding) {
            if (json)
                return;
            progress.Clear();
            std::cout << tool::FormatFinding(finding) << '\n' << std::flush;
        },
        [&](std::size_t done, std::size_t known, const std::string& file) {
            progress.Show("checking " + std::to_string(done) + "/" + std::to_string(known) + " " +
                          file);
        });
    check.Run(paths);
    progress.Clear();
    const std::size_t files = check.FilesChecked();
    const std::size_t errors = check.Findings().size();
    const std::string summary = "checked " + std::to_string(files) +
                                (files == 1 ? " file: " : " files: ") + std::to_string(errors) +
                                (errors == 1 ? " error" : " errors");
    if (json) {
        std::cout << tool::FindingsJson(check.Findings());
        std::cerr << summary << '\n';
    } else {
        std::cout << summary << '\n';
    }
    return check.ExitStatus();
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App app{"Reads and edits the source files of a controller project."};
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 success, 1 file missing, not accessible or changed since its table was "
        "read, 2 file content error, 64 usage error.");
    std::string kinds;
    for (const tool::Kind& kind : tool::Kinds())
        kinds += "\n  " + kind.name +
                 std::string(11 - std::min<std::size_t>(kind.name.size(), 10), ' ') + kind.summary;

    // tolvik read KIND FILE
    std::string kindName;
    std::string file;
    tool::KindOptions options;
    Format format;
    CLI::App* read = app.add_subcommand("read", "Print a file's table");
    read->add_option("KIND", kindName, "File kind")
        ->required()
        ->check(CLI::IsMember(tool::KindNames()));
    read->add_option("FILE", file, "The file to read")->required();
    CLI::Option* json = read->add_flag("--json", format.json, "Print JSON (what apply reads)");
    read->add_flag("--csv", format.csv, "Print CSV")->excludes(json);
    AddKindOptions(*read, options, kinds);

    // tolvik apply KIND FILE TABLE.json
    std::string tablePath;
    CLI::App* apply = app.add_subcommand(
        "apply",
        "Write a table (JSON from read --json) back; refused when the file changed since the read");
    apply->add_option("KIND", kindName, "File kind")
        ->required()
        ->check(CLI::IsMember(tool::KindNames()));
    apply->add_option("FILE", file, "The file to write back into")->required();
    apply->add_option("TABLE", tablePath, "The table as JSON; - reads standard input")->required();
    apply->add_flag("--write", options.write, "mdl: write the file anew from the table alone");
    apply->add_option("--point", options.point,
                      "embedded: the embedding point a new embedded file goes after");
    AddKindOptions(*apply, options, kinds);

    // tolvik embedded insert|show|remove
    std::string textPath = "-";
    bool replace = false;
    CLI::App* embedded = app.add_subcommand("embedded", "Insert, show or remove embedded files");
    embedded->require_subcommand(1);
    CLI::App* embeddedInsert = embedded->add_subcommand(
        "insert", "Insert a text as an embedded file after \"; EmbeddPoint POINT\"");
    embeddedInsert->add_option("FILE", file, "The file to insert into")->required();
    embeddedInsert->add_option("NAME", options.stub, "The embedded file's name")->required();
    embeddedInsert->add_option("TEXT", textPath, "The file holding the text; - or none: stdin");
    embeddedInsert->add_option("--point", options.point, "The embedding point's name");
    embeddedInsert->add_flag("--replace", replace,
                             "Replace an embedded file of that name where it stands (without: "
                             "an existing one is kept)");
    CLI::App* embeddedShow = embedded->add_subcommand("show", "Print an embedded file's text");
    embeddedShow->add_option("FILE", file, "The file holding it")->required();
    embeddedShow->add_option("NAME", options.stub, "The embedded file's name")->required();
    CLI::App* embeddedRemove = embedded->add_subcommand("remove", "Remove an embedded file");
    embeddedRemove->add_option("FILE", file, "The file holding it")->required();
    embeddedRemove->add_option("NAME", options.stub, "The embedded file's name")->required();

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

    // tolvik profile get|set
    std::string section;
    std::string parameter;
    std::string value;
    CLI::App* profile = app.add_subcommand("profile", "Read or set one parameter of a profile");
    profile->require_subcommand(1);
    CLI::App* profileGet = profile->add_subcommand(
        "get", "Print the value of NAME in SECTION (the first section that matches)");
    profileGet->add_option("FILE", file, "The profile file")->required();
    profileGet->add_option("SECTION", section, "The section (a pattern: * + ?)")->required();
    profileGet->add_option("NAME", parameter, "The parameter")->required();
    CLI::App* profileSet = profile->add_subcommand(
        "set", "Set NAME in SECTION to VALUE (added when the file lacks it)");
    profileSet->add_option("FILE", file, "The profile file")->required();
    profileSet->add_option("SECTION", section, "The section")->required();
    profileSet->add_option("NAME", parameter, "The parameter")->required();
    profileSet->add_option("VALUE", value, "The new value")->required();

    // tolvik decl insert|remove FILE KEYWORD DECLARATION
    std::string keyword;
    std::string declaration;
    CLI::App* decl = app.add_subcommand("decl", "Insert or remove a declaration in a block");
    decl->require_subcommand(1);
    CLI::App* declInsert = decl->add_subcommand(
        "insert", "Put a declaration into the \"{ KEYWORD\" block, replacing one of its name");
    CLI::App* declRemove =
        decl->add_subcommand("remove", "Remove the declarations of that name from the block");
    for (CLI::App* command : {declInsert, declRemove}) {
        command->add_option("FILE", file, "The file holding the block")->required();
        command->add_option("KEYWORD", keyword, "The block's keyword (Variables, ...)")->required();
        command
            ->add_option("DECLARATION", declaration,
                         "One line, with an optional \"; comment\" (\"R COUNT = 0 ; counter\")")
            ->required();
    }

    // tolvik check PATH...
    std::vector<std::string> checkPaths;
    bool checkJson = false;
    CLI::App* check = app.add_subcommand(
        "check", "Check that every file of a project reads, with the reader of its kind");
    check
        ->add_option("PATH", checkPaths,
                     "A model file (.MDL) and the modules it lists, a profile (.INI), a module, or "
                     "a directory whose model files are checked")
        ->required();
    check->add_flag("--json", checkJson,
                    "Print the findings as a JSON array (the summary goes to stderr)");
    check->footer(
        "Prints one line per problem, FILE:LINE: error: expected X, found Y, then a summary.\n"
        "Exit status: 0 every file reads, 1 a file is missing or not accessible (also when "
        "others have content errors), 2 a file's content is wrong, 64 usage error.");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int status = app.exit(error);
        return status == 0 ? 0 : kExitUsage;
    }

    try {
        if (*check) {
            return Check(checkPaths, checkJson);
        } else if (*read) {
            const tool::Kind& kind = KindOf(kindName, options);
            // Taken before the read: a change that lands in between makes apply
            // refuse, never the other way round.
            std::optional<tool::Fingerprint> state;
            if (format.json)
                state = tool::TakeFingerprint(file);
            tool::Grid grid = tool::CopyOut(kind.read(file, options));
            grid.fingerprint = std::move(state);
            Print(grid, kind, options, format);
        } else if (*apply) {
            const tool::Kind& kind = KindOf(kindName, options);
            tool::Grid grid;
            try {
                grid = tool::ParseJson(ReadInput(tablePath));
            } catch (const tool::BadTable& bad) {
                std::cerr << "tolvik: " << tablePath << ": " << bad.what() << '\n';
                return kExitContent;
            }
            // A table read from this file must find it as it was read: writing
            // it over a newer file would undo what was changed since.
            if (grid.fingerprint && tool::IsOf(*grid.fingerprint, file) &&
                !tool::StillMatches(*grid.fingerprint, file)) {
                std::cerr << "tolvik: " << file
                          << ": changed since the table was read; nothing written (read it "
                             "again)\n";
                return kExitMissing;
            }
            kind.apply(file, tool::CopyIn(grid), options);
        } else if (*headerSet) {
            const tool::Kind& kind = KindOf("header", options);
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
        } else if (*embeddedInsert) {
            const std::string text = ReadInput(textPath);
            if (!replace && Exists(file, options.stub)) {
                std::cerr << "tolvik: " << file << ": " << options.stub
                          << " is there already and was kept (--replace replaces it)\n";
            }
            tolvik32::InsertEmbedded(file, options.point, options.stub, text, replace);
        } else if (*embeddedShow) {
            std::cout << PlainText(tolvik32::ReadEmbedded(file, options.stub));
        } else if (*embeddedRemove) {
            tolvik32::RemoveEmbedded(file, options.stub);
        } else if (*declInsert) {
            tolvik32::InsertDeclaration(file, keyword, declaration);
        } else if (*declRemove) {
            tolvik32::RemoveDeclaration(file, keyword, declaration);
        } else if (*profileGet) {
            const std::optional<std::string> found = ProfileValue(file, section, parameter);
            if (!found) {
                std::cerr << "tolvik: " << file << ": no " << parameter << " in [" << section
                          << "]\n";
                return kExitContent;
            }
            std::cout << *found << (found->empty() || found->back() != '\n' ? "\n" : "");
        } else if (*profileSet) {
            SetProfileValue(file, section, parameter, value);
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
    } catch (const tool::BadPath& error) {
        std::cerr << "tolvik: " << error.what() << '\n';
        return kExitUsage;
    } catch (const std::exception& error) {
        std::cerr << "tolvik: " << error.what() << '\n';
        return kExitContent;
    }
    return 0;
}
