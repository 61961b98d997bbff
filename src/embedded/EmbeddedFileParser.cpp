#include "EmbeddedFileParser.h"

#include <limits>
#include <vector>

#include "../sections/LineTokens.h"
#include "../textfile/Charset.h"

namespace tolvik {

namespace {

// What a name may not hold: it stands between quotes on a line of its own.
constexpr char kNotInName[] = {'"', '\r', '\n', kEndOfText};
constexpr std::string_view kStartWord = "EmbeddedFileStart";
constexpr std::string_view kEndWord = "EmbeddedFileEnd";
constexpr std::string_view kPointWord = "EmbeddPoint";
constexpr std::size_t kAllTokens = std::numeric_limits<std::size_t>::max();
}  // namespace

std::size_t TextLength(const CAttributeList& list)
{
    return list.FirstText().size() + list.SecondText().size();
}

CEmbeddedFileParser::CEmbeddedFileParser(std::string_view fileName, std::string_view embeddedName,
                                         std::optional<std::string> pointName,
                                         std::optional<std::string> content, int mode_,
                                         bool inMemory)
    : CSourceParser(fileName, inMemory, mode_, false),
      embeddedName_(embeddedName),
      pointName_(std::move(pointName)),
      content_(std::move(content))
{
    // ";" stands alone so that a marker line scans as tokens; a quoted name is
    // one word.
    SetClass(";", kPunctuatorChar);
    SetClass("\"", kQuoteChar);
}

void CEmbeddedFileParser::SetAction(Action action, int startLine_)
{
    action_ = action;
    insertAt_ = startLine_;
}

void CEmbeddedFileParser::NextLine()
{
    previousLineEnded_ = !lineBuffer.empty() && lineBuffer.back() == '\n';
    ReadLine();
}

bool CEmbeddedFileParser::IsMarkerLine(std::string_view word, const std::string& name)
{
    if (!LineContains(word, name))
        return false;
    // The marker may follow other text: what counts are the two tokens after
    // the line's first ";".
    const std::vector<std::string> tokens = LineTokens(lineBuffer, charClass, kAllTokens);
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        if (tokens[i] == ";") {
            const std::string next = i + 1 < tokens.size() ? tokens[i + 1] : std::string();
            const std::string after = i + 2 < tokens.size() ? tokens[i + 2] : std::string();
            return EqualsNoCase(next, word) && EqualsNoCase(after, name);
        }
    }
    return false;
}

bool CEmbeddedFileParser::IsEndMarkerLine()
{
    if (!LineContains(kEndWord, embeddedName_))
        return false;
    const std::vector<std::string> tokens = LineTokens(lineBuffer, charClass, 1);
    return !tokens.empty() && tokens[0] == ";";
}

bool CEmbeddedFileParser::FindMarker(std::string_view word, const std::string& name)
{
    for (;;) {
        if (endOfInput)
            return false;
        if (IsMarkerLine(word, name))
            return true;
        CopyCurrentLine();
        if (searchBytes_ && SkipLinesWithout(word))
            continue;
        NextLine();
    }
}

bool CEmbeddedFileParser::Exists()
{
    if (!fileOpened || mode != kRead)
        return false;
    searchBytes_ = true;
    const bool found = FindMarker(kStartWord, embeddedName_);
    if (attributes)
        attributes->RemoveAll();
    return found;
}

void CEmbeddedFileParser::Fail(std::string_view marker, const std::string& name, std::string token)
{
    std::string expected(marker);
    expected += " \"";
    expected += name;
    expected += '"';
    ReportExpected(expected);
    tokenText = std::move(token);
    // At the end of the input the failure lies on the last line when that line
    // has no line end of its own.
    if (endOfInput && !previousLineEnded_ && lineNumber > 1)
        --lineNumber;
    ReportFailureLocation();
}

bool CEmbeddedFileParser::PassBody()
{
    NextLine();
    while (!endOfInput && !IsEndMarkerLine()) {
        // A line beyond both blocks is dropped.
        if (mode == kRead && attributes->AddText(lineBuffer) == 0 && firstDroppedLine == 0)
            firstDroppedLine = lineNumber;
        NextLine();
    }
    if (endOfInput) {
        Fail(kEndWord, embeddedName_, std::string());
        return false;
    }
    const std::vector<std::string> tokens = LineTokens(lineBuffer, charClass, 3);
    const std::string word = tokens.size() > 1 ? tokens[1] : std::string();
    const std::string name = tokens.size() > 2 ? tokens[2] : std::string();
    if (!EqualsNoCase(word, kEndWord)) {
        Fail(kEndWord, embeddedName_, word);
        return false;
    }
    if (!EqualsNoCase(name, embeddedName_)) {
        Fail(kEndWord, embeddedName_, name);
        return false;
    }
    return true;
}

void CEmbeddedFileParser::WriteBlock()
{
    // A copied last line without a line end must not run into the marker.
    if (outputColumn != -1)
        WriteText("\n");
    WriteText("; EmbeddedFileStart  \"" + embeddedName_ + "\"\n");
    // The content's own line ends are LF; the file layer writes the file's
    // convention. An end-of-text byte would cut the file short for every
    // reader, so it does not go in either.
    std::string body = content_ ? RemoveChars(*content_, '\r', kEndOfText) : std::string();
    if (!body.empty() && body.back() != '\n')
        body += '\n';
    WriteText(body);
    WriteText("; EmbeddedFileEnd  \"" + embeddedName_ + "\"\n");
}

void CEmbeddedFileParser::ReadOut()
{
    if (!FindMarker(kStartWord, embeddedName_)) {
        Fail(kStartWord, embeddedName_, std::string());
        return;
    }
    startLine = lineNumber;
    PassBody();
}

void CEmbeddedFileParser::KeepTextBeforeMarker()
{
    // The marker begins at the line's first ";" outside a quoted text.
    std::size_t at = 0;
    char quote = 0;
    for (; at < lineBuffer.size() && lineBuffer[at] != '\n'; ++at) {
        const char c = lineBuffer[at];
        if (quote != 0) {
            if (c == quote)
                quote = 0;
        } else if (ClassOf(c) == kQuoteChar) {
            quote = c;
        } else if (c == ';') {
            break;
        }
    }
    const std::string before = lineBuffer.substr(0, at);
    if (before.find_first_not_of(" \t\v\f\r") == std::string::npos)
        return;
    // The first line of a file is read as it stands, every other one converted.
    if (lineStartPosition == 0)
        WriteRaw(before);
    else
        WriteText(before);
    WriteText("\n");
}

void CEmbeddedFileParser::Remove(bool writeNew)
{
    if (!FindMarker(kStartWord, embeddedName_)) {
        Fail(kStartWord, embeddedName_, std::string());
        return;
    }
    startLine = lineNumber;
    // What stands before the marker on its line is not the embedded file's.
    KeepTextBeforeMarker();
    // The start marker, the body and the end marker are not copied.
    if (!PassBody())
        return;
    if (writeNew)
        WriteBlock();
    CopyRest();
}

void CEmbeddedFileParser::Insert()
{
    if (insertAt_ > 0) {
        while (lineNumber < insertAt_ && !endOfInput) {
            CopyCurrentLine();
            NextLine();
        }
        WriteBlock();
        CopyCurrentLine();
        CopyRest();
        return;
    }
    const std::string point = pointName_.value_or(std::string());
    if (!FindMarker(kPointWord, point)) {
        Fail(kPointWord, point, std::string());
        return;
    }
    CopyCurrentLine();
    WriteBlock();
    CopyRest();
}

bool CEmbeddedFileParser::WritableBlock()
{
    // The name stands between double quotes on a line of its own; an
    // end-of-text byte would end the file there for every reader.
    const std::size_t bad =
        embeddedName_.find_first_of(std::string_view(kNotInName, sizeof kNotInName));
    if (bad != std::string::npos) {
        Fail(kStartWord, embeddedName_, std::string(1, embeddedName_[bad]));
        return false;
    }
    // A content line that a read takes for the end marker would cut the block
    // short, and a later replacement would leave the rest behind.
    const std::string upperEnd = ToUpper(kEndWord);
    const std::string upperName = ToUpper(embeddedName_);
    const std::string body = content_ ? RemoveChars(*content_, '\r', kEndOfText) : std::string();
    for (std::size_t begin = 0; begin < body.size();) {
        const std::size_t end = body.find('\n', begin);
        const std::string line =
            body.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
        const std::string upper = ToUpper(line);
        if (upper.find(upperEnd) != std::string::npos &&
            upper.find(upperName) != std::string::npos) {
            const std::vector<std::string> tokens = LineTokens(line, charClass, 1);
            if (!tokens.empty() && tokens[0] == ";") {
                Fail(kEndWord, embeddedName_, line);
                return false;
            }
        }
        if (end == std::string::npos)
            break;
        begin = end + 1;
    }
    return true;
}

void CEmbeddedFileParser::RunAction()
{
    switch (action_) {
        case Action::kReadOut:
            ReadOut();
            break;
        case Action::kRemove:
            Remove(false);
            break;
        case Action::kReplace:
            Remove(true);
            break;
        case Action::kInsert:
            Insert();
            break;
    }
}

bool CEmbeddedFileParser::Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found)
{
    BeginRun(list);
    if (fileOpened) {
        const bool reading = mode == kRead;
        if (reading != (action_ == Action::kReadOut)) {
            ReportExpected("MODE");  // an action the handler's mode cannot serve
            ReportFailureLocation();
        } else if (reading || action_ == Action::kRemove || WritableBlock()) {
            // An update searches the bytes for its marker; a failure is then
            // found again line by line, so that it names its line.
            const Diagnostic before = diagnostic;
            searchBytes_ = !reading;
            RunAction();
            if (!parseOk && linesUncounted && RestartInput()) {
                diagnostic = before;
                parseOk = true;
                startLine = 0;
                previousLineEnded_ = true;
                searchBytes_ = false;
                RestartOutput();
                RunAction();
            }
        }
        if (!reading)
            Finish();
    }
    return EndRun(list, found);
}

}  // namespace tolvik
