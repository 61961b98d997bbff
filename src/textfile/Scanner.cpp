#include "Scanner.h"

#include <algorithm>

namespace tolvik {

CScanner::CScanner(std::string_view source, bool inMemory, int mode_, bool binary_)
    : CSourceFile(source, inMemory, mode_, binary_)
{
    charClass.fill(kWordChar);
    SetClass("\t\v\f\r ", kSpaceChar);
    SetClass("\n", kPunctuatorChar);
}

void CScanner::SetClass(std::string_view chars, CharClass cls)
{
    for (char c : chars)
        charClass[static_cast<unsigned char>(c)] = cls;
}

const std::string& CScanner::GetToken(int maxLength, char stop1, char stop2)
{
    if (maxLength == kDelimited) {
        ScanDelimited(stop1, stop2);
        return tokenText;
    }
    const std::size_t limit = maxLength > 0 ? static_cast<std::size_t>(maxLength) : 1;

    // The end of the line buffer (end of the input, or a last line without a
    // line end) is the end of the file for the scanner.
    if (CurrentChar() == '\0') {
        tokenText.clear();
        tokenKind = kEndOfFile;
        return tokenText;
    }
    while (ClassOf(CurrentChar()) == kSpaceChar && CurrentChar() != '\0') {
        if (mode == kUpdate || mode == kWrite)
            skippedSpace += lineBuffer[cursor];
        if (lineBuffer[cursor] == '\n')
            GetChar();  // reads the next line
        else
            ++cursor;
    }
    const char first = CurrentChar();
    if (first == '\0') {
        tokenText.clear();
        tokenKind = kEndOfFile;
        return tokenText;
    }

    switch (ClassOf(first)) {
        case kWordChar: {
            std::size_t end = cursor + 1;
            while (end < lineBuffer.size() && end - cursor < limit && lineBuffer[end] != '\0' &&
                   ClassOf(lineBuffer[end]) == kWordChar)
                ++end;
            tokenText.assign(lineBuffer, cursor, end - cursor);
            cursor = end;
            tokenKind = kWord;
            break;
        }
        case kPunctuatorChar:
            tokenText.assign(1, first);
            GetChar();  // at '\n' this reads the next line
            tokenKind = kPunctuator;
            break;
        case kCommentChar:
            tokenText = RestOfLine();
            tokenKind = kComment;
            break;
        case kQuoteChar: {
            ++cursor;
            std::size_t end = cursor;
            while (end < lineBuffer.size() && end - cursor < limit && lineBuffer[end] != first &&
                   lineBuffer[end] != '\n' && lineBuffer[end] != '\0')
                ++end;
            tokenText.assign(lineBuffer, cursor, end - cursor);
            cursor = end;
            // Drops the closing quote. When the length limit ended the word,
            // this takes whatever character stands there: it is lost, as hosts
            // have always seen it.
            if (CurrentChar() != '\n')
                GetChar();
            tokenKind = kWord;
            break;
        }
        default:
            // Classes 2 and 4 are used by no file kind: the token stays as it was.
            break;
    }
    return tokenText;
}

void CScanner::ScanDelimited(char stop1, char stop2)
{
    std::string& value = delimited_;
    value.clear();
    for (;;) {
        // The plain part of the current line in one step.
        const std::size_t room = static_cast<std::size_t>(kMaxToken) - value.size();
        const std::size_t limit = std::min(lineBuffer.size(), cursor + room);
        std::size_t end = cursor;
        while (end < limit) {
            const char c = lineBuffer[end];
            if (c == stop1 || c == stop2 || c == '\0' || c == '\n')
                break;
            ++end;
        }
        value.append(lineBuffer, cursor, end - cursor);
        cursor = end;
        const char c = CurrentChar();
        if (c == stop1 || c == stop2 || c == '\0' ||
            value.size() >= static_cast<std::size_t>(kMaxToken))
            break;
        value += GetChar();  // a line end that does not stop the value: the next line
    }
    if (CurrentChar() == '\0')
        ReadLine();

    tokenText = TrimDelimited(value);
    tokenKind = static_cast<int>(ClassOf(tokenText.empty() ? '\0' : tokenText[0]));
}

}  // namespace tolvik
