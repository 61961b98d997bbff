// The first tokens of one line, scanned with a handler's character classes
// without moving the handler's own position: the line searches look at a
// candidate line's leading tokens before deciding whether to take the line.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "../textfile/Scanner.h"

namespace tolvik {

// Up to `maxTokens` tokens of `line` from its start; the line end stops the
// scan. A quoted text is one token without its quotes, a comment is one token
// holding the rest of the line (without its introducer).
inline std::vector<std::string> LineTokens(std::string_view line,
                                           const std::array<std::uint32_t, 256>& classes,
                                           std::size_t maxTokens)
{
    auto classOf = [&classes](char c) { return classes[static_cast<unsigned char>(c)]; };
    std::vector<std::string> tokens;
    std::size_t i = 0;
    while (tokens.size() < maxTokens) {
        while (i < line.size() && classOf(line[i]) == kSpaceChar)
            ++i;
        if (i >= line.size() || line[i] == '\n' || line[i] == '\0')
            break;
        const char first = line[i];
        std::size_t end = i + 1;
        switch (classOf(first)) {
            case kWordChar:
                while (end < line.size() && line[end] != '\0' && classOf(line[end]) == kWordChar)
                    ++end;
                tokens.emplace_back(line.substr(i, end - i));
                i = end;
                break;
            case kQuoteChar:
                while (end < line.size() && line[end] != first && line[end] != '\n' &&
                       line[end] != '\0')
                    ++end;
                tokens.emplace_back(line.substr(i + 1, end - i - 1));
                i = end < line.size() && line[end] == first ? end + 1 : end;
                break;
            case kCommentChar:
                end = line.find('\n', i);
                tokens.emplace_back(
                    line.substr(i + 1, end == std::string_view::npos ? end : end - i - 1));
                i = line.size();
                break;
            default:
                tokens.emplace_back(1, first);
                i = end;
                break;
        }
    }
    return tokens;
}

}  // namespace tolvik
