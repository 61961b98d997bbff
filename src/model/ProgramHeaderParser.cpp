#include "ProgramHeaderParser.h"

#include <cctype>

#include "textfile/Charset.h"

namespace tolvik {

namespace {

// Header bytes of a compiled module.
constexpr std::uint64_t kPlaOffset = 12;
constexpr std::uint64_t kElaOffset = 14;
constexpr std::uint64_t kLineNumberOffset = 16;
constexpr std::uint64_t kPagesOffset = 18;
constexpr std::uint64_t kTypeOffset = 20;
constexpr std::uint64_t kPriorityOffset = 32;
constexpr std::uint64_t kCycleOffset = 33;
// A bad header is reported at the type byte's offset.
constexpr int kTypeReportLine = 20;
constexpr int kTaskModuleType = 8;

bool IsDataModuleType(int type)
{
    return type == 1 || type == 4 || type == 5;
}

// "[sign]digits" with at most nine digits.
bool ParseWhole(std::string_view text, long& value)
{
    bool negative = false;
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
        negative = text[0] == '-';
        text.remove_prefix(1);
    }
    if (text.empty() || text.size() > 9)
        return false;
    value = 0;
    for (char c : text) {
        if (!std::isdigit(static_cast<unsigned char>(c)))
            return false;
        value = value * 10 + (c - '0');
    }
    if (negative)
        value = -value;
    return true;
}

std::string_view Trim(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

bool EndsWithNoCase(std::string_view text, std::string_view suffix)
{
    return text.size() >= suffix.size() &&
           EqualsNoCase(text.substr(text.size() - suffix.size()), suffix);
}

}  // namespace

CProgramHeaderParser::CProgramHeaderParser(std::string_view source, bool inMemory, int mode_,
                                           bool binary_)
    : CDeclarationHeaderParser(source, inMemory, mode_, binary_)
{
    if (mode == kRead && attributes) {
        attributes->columns = kAttributeColumns;
        attributes->AddAttributes(kAttributeColumns, nullptr);
        attributes->rows = 1;
    }
}

bool CProgramHeaderParser::Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found)
{
    BeginRun(list);
    if (fileOpened) {
        if (mode != kRead) {
            // A cell the caller's table lacks keeps the file's value.
            if (!attributes) {
                keepAll_ = std::make_unique<CAttributeList>(kAttributeColumns);
                keepAll_->columns = kAttributeColumns;
                attributes = keepAll_.get();
            }
            if (attributes->Count() < static_cast<std::uint32_t>(kAttributeColumns))
                attributes->AddAttributes(kAttributeColumns - static_cast<int>(attributes->Count()),
                                          nullptr);
        }
        if (!binary)
            ParseSource();
        else if (mode == kRead)
            ReadCompiledHeader();
        else
            UpdateCompiledHeader();
        if (!parseOk)
            ReportFailureLocation();
        if (mode != kRead)
            Finish();
    }
    return EndRun(list, found);
}

void CProgramHeaderParser::PassLeadingLines()
{
    // Every line before the one that holds the "{" (comment lines, empty lines)
    // is copied once as it stands. A line longer than one read arrives in
    // pieces; the pieces after the first belong to the same line.
    bool continued = false;
    while (!endOfInput) {
        std::size_t i = 0;
        while (i < lineBuffer.size() && ClassOf(lineBuffer[i]) == kSpaceChar)
            ++i;
        const char first = i < lineBuffer.size() ? lineBuffer[i] : '\0';
        if (!continued && first != '\n' && (first == '\0' || ClassOf(first) != kCommentChar))
            return;
        CopyCurrentLine();
        const bool ended = !lineBuffer.empty() && lineBuffer.back() == '\n';
        ReadLine();
        if (endOfInput && !ended) {
            // The end of a last line without a line end is found on that line.
            // Only a comment line gets here, and a comment must be followed by
            // a line end: that is reported before the missing "{".
            --lineNumber;
            ReportExpected(kExpectNewline);
            return;
        }
        continued = !ended;
    }
}

bool CProgramHeaderParser::ParseSource()
{
    PassLeadingLines();
    GetToken();
    if (!(tokenKind == kPunctuator && tokenText == "{")) {
        ReportExpected("{");
        return false;
    }
    GetToken();
    keyword_ = tokenText;
    if (tokenKind == kWord && EqualsNoCase(tokenText, "TASK"))
        ParseTask();
    else if (tokenKind == kWord &&
             (EqualsNoCase(tokenText, "VPAC") || EqualsNoCase(tokenText, "QPAC")))
        ParseValuePackage();
    else if (tokenKind == kWord && EqualsNoCase(tokenText, "BPAC"))
        ParseBlockPackage();
    else if (tokenKind == kWord && EqualsNoCase(tokenText, "TEXT"))
        ParseTextPackage();
    else
        ReportExpected("TASK, VPAC, QPAC, BPAC, TEXT");
    if (!parseOk)
        return false;
    if (!(tokenKind == kPunctuator && tokenText == "}")) {
        ReportExpected("}");
        return false;
    }
    if (mode == kRead) {
        StoreAttribute(kKindColumn, std::to_string(declarationKind));
        return true;
    }
    FlushRemaining();
    // Whatever follows the "}" on its line stays behind it.
    std::string closing = "}";
    closing += cursor < lineBuffer.size() ? lineBuffer.substr(cursor) : std::string("\n");
    WriteAtColumn(closing, 0);
    CopyRest();
    return true;
}

void CProgramHeaderParser::BeginBody()
{
    if (mode != kUpdate)
        return;
    // The keyword line is rebuilt; a comment that ends it stays on it, while
    // attributes that stood there come out on the lines that follow.
    WriteAtColumn("{ " + keyword_, 0);
    if (tokenKind != kComment)
        WriteAtColumn("\n", 0);
}

int CProgramHeaderParser::ReadModuleType(std::string& typeText)
{
    typeText.clear();
    const int type = ReadByteAt(kTypeOffset, &typeText);
    if (typeText.empty() || !(IsDataModuleType(type) || type == kTaskModuleType)) {
        ReportWrongModule("1, 4, 5, 8", typeText);
        return -1;
    }
    return type;
}

void CProgramHeaderParser::ReportWrongModule(std::string_view expected, const std::string& typeText)
{
    status = kWrongKind;
    ReportExpected(expected);
    tokenText = typeText;
    lineNumber = kTypeReportLine;
}

void CProgramHeaderParser::StoreHeaderByte(std::uint64_t offset, int column)
{
    std::string text;
    ReadByteAt(offset, &text);
    if (!text.empty())  // a module too short for it leaves the cell empty
        StoreAttribute(column, text);
}

bool CProgramHeaderParser::ReadCompiledHeader()
{
    std::string typeText;
    const int type = ReadModuleType(typeText);
    if (type < 0)
        return false;
    StoreHeaderByte(kPlaOffset, kPlaColumn);
    StoreHeaderByte(kElaOffset, kElaColumn);
    StoreHeaderByte(kLineNumberOffset, kLineNumberColumn);
    if (type == kTaskModuleType) {
        StoreHeaderByte(kPriorityOffset, kPriorityColumn);
        std::string cycle;
        const int cycleByte = ReadByteAt(kCycleOffset, &cycle);
        if (!cycle.empty())
            StoreAttribute(kCycleColumn, CycleText(cycleByte));
        StoreAttribute(kKindColumn, std::to_string(kCompiledTaskModule));
    } else {
        StoreHeaderByte(kPagesOffset, kPagesColumn);
        StoreAttribute(kKindColumn, std::to_string(kCompiledDataModule));
    }
    return true;
}

void CProgramHeaderParser::PatchHeaderByte(std::uint64_t offset, int column)
{
    CellView cell = Cell(column);
    if (!cell || *cell == kEmptyCell)
        return;
    std::string current;
    ReadByteAt(offset, &current);
    if (current.empty())
        return;  // never past the end of the module
    WriteByteAt(offset, std::string(*cell).c_str());
}

void CProgramHeaderParser::PatchCycleByte()
{
    CellView cell = Cell(kCycleColumn);
    if (!cell || *cell == kEmptyCell)
        return;
    std::string current;
    const int cycleByte = ReadByteAt(kCycleOffset, &current);
    if (current.empty())
        return;
    // The text reading gave stands for the byte as it is (it may be rounded).
    if (*cell == CycleText(cycleByte))
        return;
    WriteByteAt(kCycleOffset, CycleByteText(*cell).c_str());
}

bool CProgramHeaderParser::UpdateCompiledHeader()
{
    // The module is copied whole first; the header bytes are patched in the
    // copy.
    CopyRest();
    std::string typeText;
    const int type = ReadModuleType(typeText);
    if (type < 0)
        return false;
    const int expected = type == kTaskModuleType ? kCompiledTaskModule : kCompiledDataModule;
    CellView kind = Cell(kKindColumn);
    if (!kind || *kind != std::to_string(expected)) {
        ReportWrongModule(!kind || *kind == kEmptyCell ? std::string("...") : *kind, typeText);
        return false;
    }
    PatchHeaderByte(kPlaOffset, kPlaColumn);
    PatchHeaderByte(kElaOffset, kElaColumn);
    PatchHeaderByte(kLineNumberOffset, kLineNumberColumn);
    if (type == kTaskModuleType) {
        PatchHeaderByte(kPriorityOffset, kPriorityColumn);
        PatchCycleByte();
    } else {
        PatchHeaderByte(kPagesOffset, kPagesColumn);
    }
    return true;
}

std::string CProgramHeaderParser::CycleByteText(std::string_view cell)
{
    const std::string_view text = Trim(cell);
    long value = 0;
    if (EndsWithNoCase(text, "ms")) {
        if (ParseWhole(Trim(text.substr(0, text.size() - 2)), value))
            return std::to_string(value / 100);
    } else if (EndsWithNoCase(text, "s")) {
        const std::string_view number = Trim(text.substr(0, text.size() - 1));
        const std::size_t point = number.find('.');
        const std::string_view whole = number.substr(0, point);
        std::string_view fraction =
            point == std::string_view::npos ? std::string_view() : number.substr(point + 1);
        long tenths = 0;
        bool ok = ParseWhole(whole, value);
        if (ok && fraction.size() > 1)
            ok = false;
        if (ok && fraction.size() == 1)
            ok = ParseWhole(fraction, tenths);
        if (ok && point != std::string_view::npos && fraction.empty())
            ok = false;
        if (ok) {
            const bool negative = !whole.empty() && whole[0] == '-';
            return std::to_string(value * 10 + (negative ? -tenths : tenths));
        }
    }
    return std::string(cell);
}

}  // namespace tolvik
