// tolvik check: reads every file of a controller project with the reader of
// its kind and collects what does not read, one finding per problem.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "tolvik32.hpp"

namespace tool {

struct Finding {
    std::string file;
    long line = 0;  // 0: the finding names no line
    // "content", "wrong-kind" (a module of another kind than its place asks
    // for), "missing" or "not-accessible"
    std::string code;
    // What the reader expected. For a missing or inaccessible module listed by
    // a model file, `file` and `line` are that listing and this is the module.
    std::string expected;
    // What was found instead: the token ("\n" a line end, "" the end of the
    // file) or, when `foundIsToken` is clear, a description; nothing for a
    // missing or inaccessible file.
    std::optional<std::string> found;
    bool foundIsToken = true;
};

// "FILE:LINE: error: expected X, found Y", or "FILE: error: file not found".
std::string FormatFinding(const Finding& finding);
// A JSON array of {"file", "line", "code", "expected", "found"} objects, one a
// line; null for no line and for nothing found.
std::string FindingsJson(const std::vector<Finding>& findings);

// A path the check can not take: of no kind it knows, or a directory without a
// model file.
struct BadPath : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class ProjectCheck {
public:
    using FindingListener = std::function<void(const Finding&)>;
    // Called before each file is read: files read so far, files known so far.
    using ProgressListener =
        std::function<void(std::size_t done, std::size_t known, const std::string& file)>;

    explicit ProjectCheck(FindingListener onFinding, ProgressListener onFile = {});

    // Checks each path: a model file (.MDL) and the modules it lists, a profile
    // (.INI), a module (.tse, .dpe, .txe, .TSC, .DPC, .TXC), or a directory's
    // model files. Throws BadPath before reading anything when a path is none
    // of these.
    void Run(const std::vector<std::string>& paths);

    std::size_t FilesChecked() const noexcept { return done_.size(); }
    const std::vector<Finding>& Findings() const noexcept { return findings_; }
    // 0 everything read; 1 a file missing or not accessible (this wins: the
    // check could not see the whole project); else 2 a content error.
    int ExitStatus() const;

private:
    enum class PathKind { kModel, kProfile, kModule, kMissing, kNotAccessible };
    struct Target {
        PathKind kind;
        std::string path;
    };
    // What reading a module gave, kept so that a module listed twice is read once.
    struct Module {
        std::optional<tolvik32::ErrorCode> unreadable;  // missing or not accessible
        int kind = 0;                                   // the header's kind code; 0 unknown
    };
    // A model file line that lists a module.
    struct Listing {
        std::string model;
        long line = 0;
        int kind = 0;  // the entry's kind code
    };

    std::vector<Target> Plan(const std::vector<std::string>& paths) const;
    void CheckModel(const std::string& path);
    void CheckProfile(const std::string& path);
    void CheckModule(const std::string& path, const std::optional<Listing>& listing);
    Module ReadModule(const std::string& path);
    void ReadSection(const std::string& path, int headerKind);
    // Counts the file as read and shows it; false when it was read before.
    bool Start(const std::string& path);
    void Report(Finding finding);
    void ReportError(const tolvik32::Error& error, const std::string& path);

    FindingListener onFinding_;
    ProgressListener onFile_;
    std::vector<Finding> findings_;
    std::set<std::string> known_;  // files seen, read or not yet
    std::set<std::string> done_;   // files read (or found missing)
    std::map<std::string, Module> modules_;
};

}  // namespace tool
