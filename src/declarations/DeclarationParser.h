// CDeclarationParser: inserts one declaration into, or removes it from, the
// block of a source file that opens with "{" and the declaration's keyword.
//
// Read mode parses the declaration as the exports wrap it, in memory:
//   "{ " keyword " " declaration [; comment] "\n}"
// and gives a table of one row: keyword, declaration text, comment (the empty
// cell when there is none).
//
// Update mode takes that table and rewrites the file: the block is the first
// line whose first token is "{" and whose second token is the keyword (case
// ignored), up to the first following line whose first token is "}". A block
// line whose key (its text up to the first "=", blanks folded, case ignored)
// equals the declaration's key is replaced (insert) or dropped (remove); an
// insert that replaces nothing goes in just before the "}" line. Every other
// line of the file is copied byte for byte.
#pragma once

#include <string>
#include <string_view>

#include "../textfile/SourceParser.h"

namespace tolvik {

enum class DeclarationAction { kInsert, kRemove };

// Columns of the parsed declaration's row.
inline constexpr int kDeclKeywordColumn = 0;
inline constexpr int kDeclTextColumn = 1;
inline constexpr int kDeclCommentColumn = 2;
inline constexpr int kDeclColumns = 3;

class CDeclarationParser : public CSourceParser {
public:
    CDeclarationParser(std::string_view source, bool sourceInMemory, int mode,
                       DeclarationAction action);

    bool Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found) override;

    // The text up to the first "=" (all of it without one), white space runs
    // folded to one blank, trimmed and upper-cased: "r  count=5" gives
    // "R COUNT".
    static std::string KeyOf(std::string_view declaration);

private:
    // What one source line holds, by the character classes of this kind.
    struct LineView {
        std::string indent;       // the white space before the first token
        std::string text;         // from the first token to the comment or line end, trimmed
        std::string firstToken;   // "" for an empty or comment-only line
        std::string secondToken;  // the token after it, if any
        std::string braceToken;   // the first "{" or "}" after the first token, if any
        bool complete = true;     // the line ends here (not a piece of an over-long line)
    };

    void ReadDeclaration();
    void RewriteFile();
    LineView ViewOfCurrentLine() const;
    // Scans one token of `line` from `pos` (white space skipped first); ""
    // at a comment or the line end.
    std::string TokenAt(const std::string& line, std::size_t& pos) const;
    std::string RenderDeclaration(const std::string& indent) const;
    // Fails the run at `token` of the current line with `expected`.
    void FailAt(std::string_view expected, std::string_view token, int line);

    DeclarationAction action_;
    std::string keyword_;
    std::string declaration_;
    std::string comment_;
};

}  // namespace tolvik
