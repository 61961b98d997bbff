// The tool's one piece of platform code: whether a stream is a terminal, and a
// progress line that is shown only there.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace tool {

// Whether `stream` (stdout, stderr) is an interactive terminal.
bool IsTerminal(std::FILE* stream);

// One line of progress on standard error, rewritten in place. Disabled, it
// writes nothing, so that redirected output and CI logs stay clean.
class ProgressLine {
public:
    explicit ProgressLine(bool enabled) : enabled_(enabled) {}
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine() { Clear(); }

    void Show(std::string text);
    // Blanks the line, before other output goes to the same terminal.
    void Clear();

private:
    bool enabled_;
    std::size_t shown_ = 0;  // characters on the line now
};

}  // namespace tool
