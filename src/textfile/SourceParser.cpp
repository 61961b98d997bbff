#include "SourceParser.h"

#include "Charset.h"
#include "Platform.h"

namespace tolvik {

namespace {

bool IsPathSeparator(char c)
{
#if defined(_WIN32)
    return c == '\\' || c == '/' || c == ':';
#else
    return c == '\\' || c == '/';
#endif
}

// The position of the "." that starts the name's extension, or npos.
std::size_t ExtensionStart(std::string_view name)
{
    std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos)
        return dot;
    for (std::size_t i = dot + 1; i < name.size(); ++i)
        if (IsPathSeparator(name[i]))
            return std::string_view::npos;
    return dot;
}

}  // namespace

CSourceParser::CSourceParser(std::string_view source, bool inMemory, int mode_, bool binary_)
    : CScanner(source, inMemory, mode_, binary_)
{
    if (mode == kRead) {
        ownList_ = std::make_unique<CAttributeList>(kTableCapacity);
        attributes = ownList_.get();
    }
}

std::string CSourceParser::BackupName(const std::string& fileName)
{
    std::size_t dot = ExtensionStart(fileName);
    return (dot == std::string::npos ? fileName : fileName.substr(0, dot)) + ".BAK";
}

void CSourceParser::ReportExpected(std::string_view expected)
{
    parseOk = false;
    diagnostic.expected.emplace_back(expected);
}

void CSourceParser::ReportFailureLocation()
{
    diagnostic.located = true;
    diagnostic.token = tokenText;
    diagnostic.line = lineNumber;
    if (attributes)
        attributes->RemoveAll();
}

bool CSourceParser::ExpectEndOfLine(std::string* out, int commentMode)
{
    if (out && commentMode == 0)
        *out = !tokenText.empty() && tokenText[0] == ' ' ? tokenText.substr(1) : tokenText;
    else if (out && commentMode == 1)
        *out = " ;" + tokenText + "\n";
    GetToken();
    if (AtNewline()) {
        GetToken();
        return true;
    }
    ReportExpected(kExpectNewline);
    return false;
}

bool CSourceParser::ExpectSlashWord(std::string& out)
{
    if (!(tokenKind == kPunctuator && tokenText == "/")) {
        ReportExpected("/");
        return false;
    }
    GetToken();
    if (tokenKind != kWord) {
        ReportExpected("IDENTIFIER");
        return false;
    }
    out = "/" + tokenText;
    GetToken();
    return true;
}

CellView CSourceParser::Cell(int column) const
{
    if (!attributes || column < 0)
        return nullptr;
    return attributes->GetAttribute(static_cast<int>(currentRow), column);
}

void CSourceParser::SetCell(int column, std::string_view text)
{
    if (!attributes || column < 0)
        return;
    const std::uint64_t index = std::uint64_t{attributes->columns} * currentRow + column;
    if (index <= 0xFFFFFFFFu)
        attributes->SetAttribute(static_cast<std::uint32_t>(index), text);
}

void CSourceParser::BeginRun(std::unique_ptr<CAttributeList>& list)
{
    if (mode != kRead)
        attributes = list.get();
}

bool CSourceParser::EndRun(std::unique_ptr<CAttributeList>& list, Diagnostic& found)
{
    if (fileOpened && InputFailed())
        FailFinish(fileName);  // a table of part of the file is no table of it
    const bool ok = fileOpened && parseOk;
    if (mode == kRead) {
        if (ok && ownList_) {
            if (ownList_->columns > 0)
                ownList_->rows = ownList_->Count() / ownList_->columns;
            list = std::move(ownList_);
        } else {
            list.reset();
        }
    }
    // Moved, not copied: after a file was replaced nothing may fail any more.
    found = std::move(diagnostic);
    return ok;
}

void CSourceParser::FailFinish(const std::string& concerned)
{
    CloseInput();
    fileOpened = false;
    status = kNoAccess;
    std::string name = concerned;
    OemToAnsi(name);
    diagnostic = Diagnostic::Finding(std::move(name));
    DiscardTemp();
}

bool CSourceParser::Finish()
{
    if (fileOpened && parseOk)
        CopyTailAfterEndOfText();
    // The new text is complete and on the disk before the source is let go, so
    // that no other writer takes the source while this one still has to
    // replace it.
    const bool written = CloseOutput();
    if (fileOpened && InputFailed()) {
        // Writing from part of the source would lose the rest.
        FailFinish(fileName);
        return false;
    }
    if (mode == kRead || sourceInMemory) {
        CloseInput();
        return fileOpened;
    }
    if (!fileOpened || !parseOk) {
        CloseInput();
        DiscardTemp();  // the source stays exactly as it was
        return fileOpened;
    }
    if (!written) {
        FailFinish(fileName);
        return false;
    }

    Platform& platform = CurrentPlatform();
    // Where a file may be replaced while it is open, the source stays held
    // until the new file has its name: a writer that opened the old file waits
    // for it, and one that comes later opens the new one. Windows replaces
    // only a closed file.
    if (!kReplacesOpenFiles)
        CloseInput();
    platform.CopyPermissions(fileName, tempFileName);
    if (keepBackup) {
        // The backup is a second name for the old file (or a copy of it), made
        // before the new file takes the name: the name never stands empty.
        const std::string backup = BackupName(fileName);
        if (backup != fileName) {
            if (platform.Exists(backup) && !platform.Remove(backup)) {
                FailFinish(backup);
                return false;
            }
            if (!platform.HardLink(fileName, backup)) {
                CloseInput();  // the copy reads the source, which must not be held
                if (!CopyFile(fileName, backup)) {
                    FailFinish(backup);
                    return false;
                }
            }
        }
    }
    if (!platform.Rename(tempFileName, fileName)) {
        // The temporary file is on another file system: copy it next to the
        // source first, then rename that copy over the source in one step.
        std::string directory;
        std::size_t slash = fileName.find_last_of("/\\");
        if (slash != std::string::npos)
            directory = fileName.substr(0, slash);
        std::string sibling;
        bool moved = false;
        if (auto out = platform.CreateTemp(directory.empty() ? "." : directory, "TVK", sibling)) {
            out.reset();
            moved = CopyFile(tempFileName, sibling) && platform.Rename(sibling, fileName);
            if (!moved)
                platform.Remove(sibling);
        }
        if (!moved) {
            FailFinish(fileName);
            return false;
        }
        platform.Remove(tempFileName);
    }
    CloseInput();
    tempFileName.clear();
    return fileOpened;
}

std::string RemoveChars(std::string_view text, char c1, char c2)
{
    std::string result;
    result.reserve(text.size());
    for (char c : text)
        if (c != c1 && c != c2)
            result += c;
    return result;
}

std::string ReplaceChars(std::string_view text, char replacement, char c1, char c2)
{
    std::string result(text);
    for (char& c : result)
        if (c == c1 || c == c2)
            c = replacement;
    return result;
}

std::string_view TrimCommentEnd(std::string_view comment)
{
    const std::size_t end = comment.find_last_not_of(" \r\n");
    return end == std::string_view::npos ? std::string_view() : comment.substr(0, end + 1);
}

std::string ToCrLf(std::string_view text)
{
    std::string result;
    result.reserve(text.size() + text.size() / 16);
    for (char c : text) {
        if (c == '\n')
            result += '\r';
        result += c;
    }
    return result;
}

bool WildcardMatches(std::string_view pattern, std::string_view name)
{
    if (pattern == "*")
        return true;
    // A "[" can never be matched, so the pattern as a whole cannot either.
    if (pattern.find('[') != std::string_view::npos)
        return false;
    // "+" is one character of any kind followed by any run.
    std::string expanded;
    expanded.reserve(pattern.size() + 4);
    for (char c : pattern) {
        if (c == '+')
            expanded += "?*";
        else
            expanded += UpperChar(c);
    }
    // Linear backtracking over the last "*": it tries the rest of the pattern
    // at each following position, shortest run first.
    std::size_t p = 0;
    std::size_t t = 0;
    std::size_t star = std::string::npos;
    std::size_t starText = 0;
    while (t < name.size()) {
        if (p < expanded.size() && expanded[p] == '*') {
            star = p++;
            starText = t;
        } else if (p < expanded.size() &&
                   (expanded[p] == '?' || expanded[p] == UpperChar(name[t]))) {
            ++p;
            ++t;
        } else if (star != std::string::npos) {
            p = star + 1;
            t = ++starText;
        } else {
            return false;
        }
    }
    while (p < expanded.size() && expanded[p] == '*')
        ++p;
    return p == expanded.size();
}

int CompiledKindOf(std::string_view fileName)
{
    std::size_t dot = fileName.rfind('.');
    if (dot == std::string_view::npos)
        return 0;
    std::size_t separator = fileName.find_last_of("\\/");
    if (separator != std::string_view::npos && separator > dot)
        return 0;
    std::string_view extension = fileName.substr(dot);
    if (EqualsNoCase(extension, ".TSC"))
        return 7;
    if (EqualsNoCase(extension, ".DPC"))
        return 8;
    if (EqualsNoCase(extension, ".TXC"))
        return 9;
    return 0;
}

bool CompiledKindOf(std::string_view fileName, std::string& out)
{
    int kind = CompiledKindOf(fileName);
    if (kind == 0)
        return false;
    out = std::to_string(kind);
    return true;
}

}  // namespace tolvik
