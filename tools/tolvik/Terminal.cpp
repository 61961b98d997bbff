#include "Terminal.h"

#include <iostream>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tool {

namespace {

// Longer lines would wrap, and a wrapped line can not be rewritten with "\r".
constexpr std::size_t kWidth = 78;

}  // namespace

bool IsTerminal(std::FILE* stream)
{
#ifdef _WIN32
    return _isatty(_fileno(stream)) != 0;
#else
    return isatty(fileno(stream)) != 0;
#endif
}

void ProgressLine::Show(std::string text)
{
    if (!enabled_)
        return;
    if (text.size() > kWidth)
        text = "..." + text.substr(text.size() - (kWidth - 3));
    const std::size_t length = text.size();
    if (length < shown_)
        text.append(shown_ - length, ' ');
    std::cerr << '\r' << text << std::flush;
    shown_ = length;
}

void ProgressLine::Clear()
{
    if (!enabled_ || shown_ == 0)
        return;
    std::cerr << '\r' << std::string(shown_, ' ') << '\r' << std::flush;
    shown_ = 0;
}

}  // namespace tool
