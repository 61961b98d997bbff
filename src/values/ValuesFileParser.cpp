#include "ValuesFileParser.h"

namespace tolvik {

namespace {
bool EndsWord(char c)
{
    switch (c) {
        case ' ':
        case '\t':
        case '\v':
        case '\f':
        case '\r':
        case '\n':
        case '{':
        case '}':
        case ';':
        case '\0':
            return true;
        default:
            return false;
    }
}
}  // namespace

CValuesFileParser::CValuesFileParser(std::string_view source, bool inMemory, int mode_)
    : CSourceParser(source, inMemory, mode_, false)
{
}

std::string CValuesFileParser::WordInStretch(std::string_view line, std::size_t begin,
                                             std::size_t end)
{
    if (end > line.size())
        end = line.size();
    std::size_t first = begin;
    // The rest of a word that started further left belongs to that word.
    if (first > 0 && first < end && !EndsWord(line[first - 1])) {
        while (first < end && !EndsWord(line[first]))
            ++first;
    }
    while (first < end && EndsWord(line[first]))
        ++first;
    std::size_t last = first;
    while (last < end && !EndsWord(line[last]))
        ++last;
    return first < end ? std::string(line.substr(first, last - first)) : std::string();
}

}  // namespace tolvik
