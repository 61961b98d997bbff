#include "Check.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

#include "TableFormat.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

const char* const kMissing = "missing";
const char* const kNotAccessible = "not-accessible";

std::string Upper(std::string text)
{
    for (char& ch : text)
        ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
    return text;
}

// The path as findings show it: "./a/../B.tse" is "B.tse".
std::string Shown(const fs::path& path)
{
    return path.lexically_normal().string();
}

// A module's path: a model file's entries are relative to its directory, and
// name directories with "\" wherever the model file was written.
std::string ModulePath(const std::string& model, std::string name)
{
    if constexpr (fs::path::preferred_separator == '/')
        std::replace(name.begin(), name.end(), '\\', '/');
    const fs::path entry(name);
    return Shown(entry.is_absolute() ? entry : fs::path(model).parent_path() / entry);
}

bool IsModuleExtension(const std::string& upper)
{
    for (const char* extension : {".TSE", ".DPE", ".TXE", ".TSC", ".DPC", ".TXC"}) {
        if (upper == extension)
            return true;
    }
    return false;
}

// A model file line that begins with a name, inside a section.
struct EntryLine {
    std::string word;
    long line;
};

// The lines of a model file that begin with a name inside a "{ ... }"
// section, in file order. They serve only to point a finding at the line that
// lists a module; the reader alone decides what the entries are.
std::vector<EntryLine> EntryLines(const std::string& model)
{
    std::vector<EntryLine> entries;
    std::ifstream in(model, std::ios::binary);
    std::string text;
    bool inSection = false;
    for (long number = 1; std::getline(in, text); ++number) {
        const std::size_t start = text.find_first_not_of(" \t\v\f\r");
        if (start == std::string::npos || text[start] == ';')
            continue;
        if (text[start] == '{' || text[start] == '}') {
            inSection = text[start] == '{';
            continue;
        }
        if (inSection) {
            const std::size_t end = text.find_first_of(" \t\v\f\r/;{}", start);
            entries.push_back({text.substr(start, end - start), number});
        }
    }
    return entries;
}

// The line, at or after entries[next], that lists `name` (the reader appends
// the section's default extension to a name without one); 0 when none does.
long LineOf(const std::vector<EntryLine>& entries, std::size_t& next, const std::string& name)
{
    for (std::size_t i = next; i < entries.size(); ++i) {
        const std::string& word = entries[i].word;
        const bool extended = name.size() == word.size() + 4 &&
                              name.compare(0, word.size(), word) == 0 && name[word.size()] == '.';
        if (name == word || extended) {
            next = i + 1;
            return entries[i].line;
        }
    }
    return 0;
}

// The name of a program header's kind code.
std::string HeaderKindName(int kind)
{
    switch (kind) {
        case 1:
            return "TASK";
        case 3:
            return "VPAC";
        case 4:
            return "BPAC";
        case 5:
            return "QPAC";
        case 6:
            return "TEXT";
        case 7:
            return "compiled task module";
        case 8:
            return "compiled data module";
        default:
            return "module kind " + std::to_string(kind);
    }
}

// The header kinds a model file entry of `entryKind` may name, and their
// names; no kinds when the header can not tell (a compiled text module's
// header reads like a task's or a data module's).
std::pair<std::vector<int>, std::string> HeaderKindsFor(int entryKind)
{
    switch (entryKind) {
        case 1:
            return {{1}, "TASK"};
        case 2:
        case 3:
        case 4:
        case 5:
            return {{3, 4, 5}, "VPAC, QPAC, BPAC"};
        case 6:
            return {{6}, "TEXT"};
        case 7:
            return {{7}, "compiled task module"};
        case 8:
            return {{8}, "compiled data module"};
        default:
            return {{}, ""};
    }
}

// Missing or not accessible, when that is all the error says.
std::optional<tolvik32::ErrorCode> Unreadable(const tolvik32::Error& error)
{
    if (error.Code() == tolvik32::ErrorCode::kMissing)
        return error.Code();
    if (error.Code() == tolvik32::ErrorCode::kNotAccessible && error.Expected().empty())
        return error.Code();
    return std::nullopt;
}

// Whether a section reader failed only because the module has none: it
// searched to the end of the file for the section's first line, and had no
// name to look for but the "{ Values" of a values block. A module without its
// section is not wrong; there is just nothing more to read.
bool NoSection(const tolvik32::Error& error)
{
    if (error.Code() != tolvik32::ErrorCode::kContent || !error.Token().empty())
        return false;
    return std::all_of(error.Expected().begin(), error.Expected().end(),
                       [](const std::string& item) { return item.empty() || item == "{ Values"; });
}

// The expected items as one text; items end with a blank in some readers.
std::string Expected(const std::vector<std::string>& items)
{
    std::string text;
    for (std::string item : items) {
        item.erase(item.find_last_not_of(' ') + 1);
        text += (text.empty() ? "" : " | ") + item;
    }
    return text;
}

std::string DescribeFound(const Finding& finding)
{
    const std::string& found = *finding.found;
    if (!finding.foundIsToken)
        return found;
    if (found.empty())
        return "end of file";
    if (found == "\n" || found == "\r\n")
        return "end of line";
    return '"' + found + '"';
}

}  // namespace

std::string FormatFinding(const Finding& finding)
{
    std::string text = finding.file;
    if (finding.line > 0)
        text += ':' + std::to_string(finding.line);
    text += ": error: ";
    if (finding.code == kMissing || finding.code == kNotAccessible) {
        text += finding.code == kMissing ? "file not found" : "file not accessible";
        if (!finding.expected.empty())
            text += ": " + finding.expected;
        return text;
    }
    if (!finding.expected.empty())
        text += "expected " + finding.expected + (finding.found ? ", " : "");
    if (finding.found)
        text += "found " + DescribeFound(finding);
    else if (finding.expected.empty())
        text += "does not read";
    return text;
}

std::string FindingsJson(const std::vector<Finding>& findings)
{
    std::string text = "[";
    for (std::size_t i = 0; i < findings.size(); ++i) {
        const Finding& finding = findings[i];
        text += i ? ",\n  " : "\n  ";
        text += "{\"file\": " + JsonString(finding.file);
        text += ", \"line\": " + (finding.line > 0 ? std::to_string(finding.line) : "null");
        text += ", \"code\": " + JsonString(finding.code);
        text += ", \"expected\": " +
                (finding.expected.empty() ? std::string("null") : JsonString(finding.expected));
        text += ", \"found\": " + (finding.found ? JsonString(*finding.found) : "null") + "}";
    }
    return text + (findings.empty() ? "]\n" : "\n]\n");
}

ProjectCheck::ProjectCheck(FindingListener onFinding, ProgressListener onFile)
    : onFinding_(std::move(onFinding)), onFile_(std::move(onFile))
{
}

int ProjectCheck::ExitStatus() const
{
    if (findings_.empty())
        return 0;
    const bool unreadable = std::any_of(findings_.begin(), findings_.end(), [](const Finding& f) {
        return f.code == kMissing || f.code == kNotAccessible;
    });
    return unreadable ? 1 : 2;
}

void ProjectCheck::Run(const std::vector<std::string>& paths)
{
    const std::vector<Target> targets = Plan(paths);
    for (const Target& target : targets)
        known_.insert(target.path);
    for (const Target& target : targets) {
        switch (target.kind) {
            case PathKind::kModel:
                CheckModel(target.path);
                break;
            case PathKind::kProfile:
                CheckProfile(target.path);
                break;
            case PathKind::kModule:
                CheckModule(target.path, std::nullopt);
                break;
            case PathKind::kMissing:
            case PathKind::kNotAccessible:
                if (Start(target.path)) {
                    Finding finding;
                    finding.file = target.path;
                    finding.code = target.kind == PathKind::kMissing ? kMissing : kNotAccessible;
                    Report(std::move(finding));
                }
                break;
        }
    }
}

std::vector<ProjectCheck::Target> ProjectCheck::Plan(const std::vector<std::string>& paths) const
{
    std::vector<Target> targets;
    for (const std::string& path : paths) {
        const fs::path given(path);
        std::error_code error;
        if (fs::is_directory(given, error)) {
            std::vector<std::string> models;
            fs::directory_iterator entries(given, error);
            if (error) {
                targets.push_back({PathKind::kNotAccessible, Shown(given)});
                continue;
            }
            for (const fs::directory_entry& entry : entries) {
                std::error_code ignored;
                if (entry.is_regular_file(ignored) &&
                    Upper(entry.path().extension().string()) == ".MDL")
                    models.push_back(Shown(entry.path()));
            }
            if (models.empty())
                throw BadPath(path + ": no model file (.MDL) in this directory");
            std::sort(models.begin(), models.end());
            for (std::string& model : models)
                targets.push_back({PathKind::kModel, std::move(model)});
            continue;
        }
        const std::string extension = Upper(given.extension().string());
        if (extension == ".MDL")
            targets.push_back({PathKind::kModel, Shown(given)});
        else if (extension == ".INI")
            targets.push_back({PathKind::kProfile, Shown(given)});
        else if (IsModuleExtension(extension))
            targets.push_back({PathKind::kModule, Shown(given)});
        else if (!fs::exists(given, error))
            targets.push_back({PathKind::kMissing, Shown(given)});
        else
            throw BadPath(path +
                          ": not a model file (.MDL), profile (.INI), module (.tse, .dpe, .txe, "
                          ".TSC, .DPC, .TXC) or directory");
    }
    return targets;
}

bool ProjectCheck::Start(const std::string& path)
{
    if (!done_.insert(path).second)
        return false;
    known_.insert(path);
    if (onFile_)
        onFile_(done_.size(), known_.size(), path);
    return true;
}

void ProjectCheck::Report(Finding finding)
{
    findings_.push_back(std::move(finding));
    if (onFinding_)
        onFinding_(findings_.back());
}

void ProjectCheck::ReportError(const tolvik32::Error& error, const std::string& path)
{
    Finding finding;
    if (const auto unreadable = Unreadable(error)) {
        finding.file = path;
        finding.code = *unreadable == tolvik32::ErrorCode::kMissing ? kMissing : kNotAccessible;
        Report(std::move(finding));
        return;
    }
    finding.file = error.File().empty() ? path : error.File();
    finding.line = error.Line();
    finding.code = error.Code() == tolvik32::ErrorCode::kWrongKind ? "wrong-kind" : "content";
    finding.expected = Expected(error.Expected());
    if (error.Line() > 0)
        finding.found = error.Token();
    Report(std::move(finding));
}

void ProjectCheck::CheckModel(const std::string& path)
{
    if (!Start(path))
        return;
    tolvik32::Table model;
    try {
        model = tolvik32::ReadModel(path);
    } catch (const tolvik32::Error& error) {
        ReportError(error, path);
        return;
    }
    const std::vector<EntryLine> entries = EntryLines(path);
    std::size_t next = 0;
    std::vector<std::pair<std::string, Listing>> modules;
    for (std::size_t r = 0; r < model.Rows(); ++r) {
        const std::string name = model.Get(r, 0).value_or("");
        if (name.empty())
            continue;
        const int kind = std::atoi(model.Get(r, 1).value_or("0").c_str());
        std::string module = ModulePath(path, name);
        known_.insert(module);
        modules.emplace_back(std::move(module), Listing{path, LineOf(entries, next, name), kind});
    }
    for (const auto& [module, listing] : modules)
        CheckModule(module, listing);
}

void ProjectCheck::CheckProfile(const std::string& path)
{
    if (!Start(path))
        return;
    try {
        tolvik32::ReadProfile(path, tolvik32::kListing);
    } catch (const tolvik32::Error& error) {
        ReportError(error, path);
    }
}

void ProjectCheck::CheckModule(const std::string& path, const std::optional<Listing>& listing)
{
    auto found = modules_.find(path);
    if (found == modules_.end()) {
        Start(path);
        found = modules_.emplace(path, ReadModule(path)).first;
    }
    const Module& module = found->second;
    if (module.unreadable) {
        // Where the project names the file is where it is to be fixed.
        Finding finding;
        finding.file = listing ? listing->model : path;
        finding.line = listing ? listing->line : 0;
        finding.code =
            *module.unreadable == tolvik32::ErrorCode::kMissing ? kMissing : kNotAccessible;
        finding.expected = listing ? path : std::string();
        Report(std::move(finding));
        return;
    }
    if (!listing || module.kind == 0)
        return;
    const auto [kinds, names] = HeaderKindsFor(listing->kind);
    if (kinds.empty() || std::find(kinds.begin(), kinds.end(), module.kind) != kinds.end())
        return;
    Finding finding;
    finding.file = listing->model;
    finding.line = listing->line;
    finding.code = "wrong-kind";
    finding.expected = names;
    finding.found = HeaderKindName(module.kind) + " in " + path;
    finding.foundIsToken = false;
    Report(std::move(finding));
}

ProjectCheck::Module ProjectCheck::ReadModule(const std::string& path)
{
    Module module;
    try {
        const tolvik32::Table header = tolvik32::ReadHeader(path);
        module.kind = std::atoi(header.Get(0, 0).value_or("0").c_str());
    } catch (const tolvik32::Error& error) {
        module.unreadable = Unreadable(error);
        if (!module.unreadable)
            ReportError(error, path);
        return module;
    }
    ReadSection(path, module.kind);
    return module;
}

// A data or text package keeps its content in a section after the header:
// variables, a values block or strings. A task's declarations are embedded
// files that only its program names, and a compiled module has no text.
void ProjectCheck::ReadSection(const std::string& path, int headerKind)
{
    try {
        switch (headerKind) {
            case 3:  // VPAC
            case 5:  // QPAC
                tolvik32::ReadVariables(path);
                break;
            case 4:  // BPAC
                tolvik32::ReadValues(path);
                break;
            case 6:  // TEXT
                tolvik32::ReadTextStrings(path);
                break;
            default:
                break;
        }
    } catch (const tolvik32::Error& error) {
        if (!NoSection(error))
            ReportError(error, path);
    }
}

}  // namespace tool
