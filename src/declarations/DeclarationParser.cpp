#include "DeclarationParser.h"

#include "../textfile/Charset.h"

namespace tolvik {

namespace {

constexpr std::string_view kBlanks = " \t\v\f\r";

bool IsBlank(char c)
{
    return c != '\0' && kBlanks.find(c) != std::string_view::npos;
}

std::string TrimTrailingBlanks(std::string text)
{
    while (!text.empty() && (IsBlank(text.back()) || text.back() == '\n'))
        text.pop_back();
    return text;
}

// The indentation of a declaration added to a block that holds none yet.
constexpr std::string_view kDefaultIndent = "  ";

}  // namespace

CDeclarationParser::CDeclarationParser(std::string_view source, bool inMemory, int mode_,
                                       DeclarationAction action)
    : CSourceParser(source, inMemory, mode_, false), action_(action)
{
    SetClass("{}", kPunctuatorChar);
    SetClass(";", kCommentChar);
    // The first line was read by the source layer already, as it stands.
    expandTabs = true;
    if (attributes)
        attributes->columns = kDeclColumns;
}

std::string CDeclarationParser::KeyOf(std::string_view declaration)
{
    std::string key;
    bool blankPending = false;
    for (char c : declaration) {
        if (c == '=')
            break;
        if (IsBlank(c)) {
            blankPending = !key.empty();
            continue;
        }
        if (blankPending)
            key += ' ';
        blankPending = false;
        key += c;
    }
    MakeUpper(key);
    return key;
}

bool CDeclarationParser::Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found)
{
    BeginRun(list);
    if (fileOpened) {
        if (mode == kRead)
            ReadDeclaration();
        else
            RewriteFile();
        if (!parseOk)
            ReportFailureLocation();
        if (mode != kRead)
            Finish();
    }
    return EndRun(list, found);
}

// "{" keyword declaration-words [Comment] NEWLINE "}" and nothing after it.
void CDeclarationParser::ReadDeclaration()
{
    GetToken();
    if (!(tokenKind == kPunctuator && tokenText == "{")) {
        ReportExpected("{");
        return;
    }
    GetToken();
    if (tokenKind != kWord) {
        ReportExpected("IDENTIFIER");
        return;
    }
    const std::string keyword = tokenText;

    GetToken();
    // A declaration has a name: it neither is missing nor starts with "=".
    if (tokenKind != kWord || tokenText.empty() || tokenText[0] == '=') {
        ReportExpected("IDENTIFIER");
        return;
    }
    // Words are taken straight from the line, so the declaration is the line's
    // text from its first word to the end of its last one, as the user wrote it.
    const std::size_t start = cursor - tokenText.size();
    std::string declaration;
    while (tokenKind == kWord) {
        declaration.assign(lineBuffer, start, cursor - start);
        GetToken();
    }

    std::string comment;
    if (tokenKind == kComment) {
        if (!ExpectEndOfLine(&comment, 0))
            return;
        comment = TrimTrailingBlanks(comment);
    } else if (AtNewline()) {
        GetToken();
    } else {
        ReportExpected("NEWLINE");
        return;
    }
    if (!(tokenKind == kPunctuator && tokenText == "}")) {
        ReportExpected("}");
        return;
    }
    GetToken();
    if (tokenKind != kEndOfFile) {
        ReportExpected("EndOfFile");
        return;
    }

    attributes->AddAttribute(keyword);
    attributes->AddAttribute(declaration);
    attributes->AddAttribute(comment.empty() ? std::string(kEmptyCell) : comment);
}

std::string CDeclarationParser::TokenAt(const std::string& line, std::size_t& pos) const
{
    while (pos < line.size() && line[pos] != '\0' && ClassOf(line[pos]) == kSpaceChar)
        ++pos;
    if (pos >= line.size() || line[pos] == '\0' || line[pos] == '\n')
        return {};
    const char first = line[pos];
    switch (ClassOf(first)) {
        case kCommentChar:
            return {};
        case kWordChar: {
            const std::size_t begin = pos;
            while (pos < line.size() && line[pos] != '\0' && ClassOf(line[pos]) == kWordChar)
                ++pos;
            return line.substr(begin, pos - begin);
        }
        default:
            ++pos;
            return std::string(1, first);
    }
}

CDeclarationParser::LineView CDeclarationParser::ViewOfCurrentLine() const
{
    // The first line of a file comes unconverted; look at it as the others.
    const bool convertFirst = !sourceInMemory && lineNumber == 1 && !noConversion;
    std::string converted;
    if (convertFirst) {
        converted = lineBuffer;
        OemToAnsi(converted);
    }
    const std::string& line = convertFirst ? converted : lineBuffer;

    LineView view;
    view.complete = (!line.empty() && line.back() == '\n') || line.size() < kMaxLinePiece;

    std::size_t pos = 0;
    while (pos < line.size() && ClassOf(line[pos]) == kSpaceChar && line[pos] != '\0')
        ++pos;
    // The indentation as the file has it: tabs stay tabs.
    const std::string& raw = RawLine();
    std::size_t rawEnd = 0;
    while (rawEnd < raw.size() && ClassOf(raw[rawEnd]) == kSpaceChar && raw[rawEnd] != '\0')
        ++rawEnd;
    view.indent = raw.substr(0, rawEnd);
    const std::size_t textStart = pos;
    view.firstToken = TokenAt(line, pos);
    const std::size_t afterFirst = pos;
    view.secondToken = TokenAt(line, pos);

    std::size_t end = textStart;
    while (end < line.size() && line[end] != '\n' && line[end] != '\0' &&
           ClassOf(line[end]) != kCommentChar)
        ++end;
    view.text = TrimTrailingBlanks(line.substr(textStart, end - textStart));
    for (std::size_t i = afterFirst; i < end; ++i) {
        if (line[i] == '{' || line[i] == '}') {
            view.braceToken.assign(1, line[i]);
            break;
        }
    }
    return view;
}

std::string CDeclarationParser::RenderDeclaration(const std::string& indent) const
{
    std::string line = indent + declaration_;
    if (!comment_.empty())
        line += " ; " + comment_;
    line += '\n';
    return line;
}

void CDeclarationParser::FailAt(std::string_view expected, std::string_view token, int line)
{
    ReportExpected(expected);
    tokenText = token;
    lineNumber = line;
}

void CDeclarationParser::RewriteFile()
{
    CellView keyword = nullptr;
    CellView declaration = nullptr;
    CellView comment = nullptr;
    if (attributes && attributes->columns == kDeclColumns) {
        keyword = attributes->GetAttribute(0, kDeclKeywordColumn);
        declaration = attributes->GetAttribute(0, kDeclTextColumn);
        comment = attributes->GetAttribute(0, kDeclCommentColumn);
    }
    if (!keyword || !declaration || !comment || KeyOf(*declaration).empty()) {
        FailAt("IDENTIFIER", "", lineNumber);
        return;
    }
    keyword_ = *keyword;
    declaration_ = *declaration;
    comment_ = *comment == kEmptyCell ? std::string() : *comment;
    const std::string key = KeyOf(declaration_);

    bool inBlock = false;
    bool replaced = false;
    bool lineContinues = false;  // the last piece read did not end its line
    bool lastLineEnded = true;   // the last line read had a line end
    std::string lastIndent(kDefaultIndent);

    for (; !endOfInput; ReadLine()) {
        lastLineEnded = !lineBuffer.empty() && lineBuffer.back() == '\n';
        const LineView view = ViewOfCurrentLine();
        const bool continuation = lineContinues;
        lineContinues = !view.complete;
        if (continuation) {
            // The rest of an over-long line is never a line of its own.
            CopyCurrentLine();
            continue;
        }

        if (!inBlock) {
            if (view.firstToken == "{" && EqualsNoCase(view.secondToken, keyword_)) {
                if (!view.braceToken.empty()) {
                    // "{ KEYWORD }" on one line: where the block ends is not clear.
                    FailAt("NEWLINE", view.braceToken, lineNumber);
                    return;
                }
                inBlock = true;
            }
            CopyCurrentLine();
            continue;
        }

        if (view.firstToken == "}") {
            if (action_ == DeclarationAction::kInsert && !replaced)
                WriteAtColumn(RenderDeclaration(lastIndent), 0);
            CopyCurrentLine();
            CopyRest();
            return;
        }
        if (view.firstToken == "{" || !view.braceToken.empty()) {
            // Another block opens, or a brace stands inside a line: the block is
            // not closed where a line could safely be changed.
            FailAt("}", view.firstToken == "{" ? view.firstToken : view.braceToken, lineNumber);
            return;
        }
        if (view.text.empty()) {
            CopyCurrentLine();  // an empty line or a comment line
            continue;
        }
        lastIndent = view.indent;
        if (view.complete && KeyOf(view.text) == key) {
            if (action_ == DeclarationAction::kRemove)
                continue;
            if (!replaced) {
                WriteAtColumn(RenderDeclaration(view.indent), 0);
                replaced = true;
                continue;
            }
        }
        CopyCurrentLine();
    }

    // The end of the file came first. Past a final line end it counts as one
    // line more; after a last line without one it is on that line.
    const int endLine = lastLineEnded || lineNumber <= 1 ? lineNumber : lineNumber - 1;
    FailAt(inBlock ? std::string("}") : "{ " + keyword_, "", endLine);
}

}  // namespace tolvik
