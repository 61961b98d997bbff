// CScanner: the table-driven lexical scanner. Each file kind fills the
// 256-entry character-class table in its constructor; the class of a token's
// first character decides what the token is.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "SourceFile.h"

namespace tolvik {

// Character classes.
enum CharClass : std::uint32_t {
    kWordChar = 1,
    kPunctuatorChar = 3,
    kCommentChar = 5,
    kSpaceChar = 6,
    kQuoteChar = 7,
};

// Token kinds.
enum TokenKind : int {
    kWord = 1,
    kPunctuator = 3,
    kComment = 5,
    kEndOfFile = 8,
};

// The longest token; a longer word is split and its rest becomes the next token.
inline constexpr int kMaxToken = 1023;
// GetToken's maxLength for a delimited value.
inline constexpr int kDelimited = -1;

class CScanner : public CSourceFile {
public:
    // Every byte a word character except TAB, VT, FF, CR and blank (white
    // space) and '\n' (a punctuator).
    CScanner(std::string_view source, bool sourceInMemory, int mode, bool binary);

    // Gives each character of `chars` the class `cls`.
    void SetClass(std::string_view chars, CharClass cls);

    // Scans the next token into tokenText/tokenKind. With kDelimited it takes
    // everything up to `stop1`, `stop2` or the end of the line, trimmed of
    // white space and one quote character at either end.
    const std::string& GetToken(int maxLength = kMaxToken, char stop1 = '\0', char stop2 = '\0');

    bool TokenIs(std::string_view text) const { return tokenText == text; }
    bool AtNewline() const { return tokenKind == kPunctuator && tokenText == "\n"; }

    std::array<std::uint32_t, 256> charClass;
    std::string tokenText;
    int tokenKind = kEndOfFile;
    // Update and write mode: the white space skipped before tokens.
    std::string skippedSpace;

protected:
    std::uint32_t ClassOf(char c) const { return charClass[static_cast<unsigned char>(c)]; }
    // `text` as a delimited scan gives it: blanks, then one quote, cut at each
    // end.
    std::string_view TrimDelimited(std::string_view text) const
    {
        std::size_t begin = 0;
        std::size_t end = text.size();
        while (begin < end && ClassOf(text[begin]) == kSpaceChar)
            ++begin;
        if (begin < end && ClassOf(text[begin]) == kQuoteChar)
            ++begin;
        while (end > begin && ClassOf(text[end - 1]) == kSpaceChar)
            --end;
        if (end > begin && ClassOf(text[end - 1]) == kQuoteChar)
            --end;
        return text.substr(begin, end - begin);
    }

private:
    void ScanDelimited(char stop1, char stop2);
    // The value a delimited scan collects, kept for the next one.
    std::string delimited_;
};

}  // namespace tolvik
