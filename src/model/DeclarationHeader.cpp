#include "DeclarationHeader.h"

#include <array>
#include <vector>

#include "textfile/Charset.h"

namespace tolvik {

namespace {

constexpr std::array<std::string_view, kAttributeColumns> kColumnNames = {
    "",    "Name", "",        "PLA",   "ELA",   "LN",    "Pages", "Cycle",
    "PRI", "$BUF", "BlkSize", "Def_L", "Def_X", "Def_I", "Def_R"};

enum Attribute : int {
    kNoAttribute = -1,
    kName,
    kLineNumber,
    kPla,
    kEla,
    kPriority,
    kCycle,
    kBuffer,
    kPages,
    kBlockSize,
    kDefaults,
};

// The kinds an attribute keyword belongs to.
enum KindBit : unsigned {
    kTaskBit = 1,
    kValueBit = 2,
    kBlockBit = 4,
    kTextBit = 8,
    kAllKinds = kTaskBit | kValueBit | kBlockBit | kTextBit,
};

struct Keyword {
    std::string_view text;
    Attribute attribute;
    unsigned kinds;
};

constexpr std::array<Keyword, 15> kKeywords = {{
    {"NAME", kName, kAllKinds},
    {"LN", kLineNumber, kTaskBit | kValueBit | kBlockBit},
    {"TLN", kLineNumber, kTaskBit},
    {"VLN", kLineNumber, kValueBit | kBlockBit},
    {"PRI", kPriority, kTaskBit},
    {"CYCLE", kCycle, kTaskBit},
    {"PLA", kPla, kAllKinds},
    {"ELA", kEla, kAllKinds},
    {"$BUF", kBuffer, kTaskBit},
    {"PAGES", kPages, kValueBit},
    {"BLKSIZE", kBlockSize, kBlockBit},
    {"DEF_L", kDefaults, kBlockBit},
    {"DEF_X", kDefaults, kBlockBit},
    {"DEF_I", kDefaults, kBlockBit},
    {"DEF_R", kDefaults, kBlockBit},
}};

// A "keyword = word" attribute: its column and the text a wrong keyword gives.
struct SimpleAttribute {
    int column;
    std::string_view expectation;
};

constexpr SimpleAttribute SimpleAttributeOf(Attribute attribute)
{
    switch (attribute) {
        case kName:
            return {kNameColumn, "NAME"};
        case kLineNumber:
            return {kLineNumberColumn, "LN, TLN, VLN"};
        case kPla:
            return {kPlaColumn, "PLA"};
        case kEla:
            return {kElaColumn, "ELA"};
        case kPriority:
            return {kPriorityColumn, "PRI"};
        case kCycle:
            return {kCycleColumn, "CYCLE"};
        case kBuffer:
            return {kBufferColumn, "$BUF"};
        case kPages:
            return {kPagesColumn, "PAGES"};
        case kBlockSize:
            return {kBlockSizeColumn, "BLKSIZE"};
        default:
            return {-1, ""};
    }
}

constexpr std::array<std::string_view, 4> kDefaultKeywords = {"DEF_L", "DEF_X", "DEF_I", "DEF_R"};
constexpr std::array<std::string_view, 3> kCycleUnits = {"MS", "S", "TE"};

// The attribute that `word` names (whatever the kind), or kNoAttribute.
Attribute AttributeNamed(std::string_view word, unsigned kinds = kAllKinds)
{
    for (const Keyword& keyword : kKeywords)
        if ((keyword.kinds & kinds) != 0 && EqualsNoCase(word, keyword.text))
            return keyword.attribute;
    return kNoAttribute;
}

int DefaultIndex(std::string_view word)
{
    for (std::size_t i = 0; i < kDefaultKeywords.size(); ++i)
        if (EqualsNoCase(word, kDefaultKeywords[i]))
            return static_cast<int>(i);
    return -1;
}

bool IsCycleUnit(std::string_view word)
{
    for (std::string_view unit : kCycleUnits)
        if (EqualsNoCase(word, unit))
            return true;
    return false;
}

// The longest line that reads back whole (its line end not counted).
constexpr std::size_t kLongestLine = kMaxLinePiece - 1;

}  // namespace

struct CDeclarationHeaderParser::KindGrammar {
    std::string_view keyword;   // also the text a wrong keyword gives
    std::string_view keyword2;  // a second keyword of the same grammar, or ""
    unsigned kindBit;
    std::string_view lineExpectation;

    bool Names(const std::string& word) const
    {
        return EqualsNoCase(word, keyword) || (!keyword2.empty() && EqualsNoCase(word, keyword2));
    }
    // Whether a declaration of this kind has the attribute of `column`.
    bool HasColumn(int column) const
    {
        if (column == kOptionColumn)
            return true;
        for (const Keyword& entry : kKeywords) {
            if ((entry.kinds & kindBit) == 0)
                continue;
            if (entry.attribute == kDefaults) {
                if (column >= kDefLColumn && column <= kDefRColumn)
                    return true;
            } else if (SimpleAttributeOf(entry.attribute).column == column) {
                return true;
            }
        }
        return false;
    }
};

CDeclarationHeaderParser::CDeclarationHeaderParser(std::string_view source, bool inMemory,
                                                   int mode_, bool binary_)
    : CSourceParser(source, inMemory, mode_, binary_)
{
    SetClass("\n/={}", kPunctuatorChar);
    SetClass(";", kCommentChar);
}

std::string_view CDeclarationHeaderParser::LineExpectation() const
{
    return grammar_ ? grammar_->lineExpectation : std::string_view();
}

bool CDeclarationHeaderParser::ParseTask()
{
    return ParseDeclaration(Grammar(0), kTaskDeclaration);
}

bool CDeclarationHeaderParser::ParseValuePackage()
{
    const int kind =
        EqualsNoCase(tokenText, "QPAC") ? kQueuePackageDeclaration : kValuePackageDeclaration;
    return ParseDeclaration(Grammar(1), kind);
}

bool CDeclarationHeaderParser::ParseBlockPackage()
{
    return ParseDeclaration(Grammar(2), kBlockPackageDeclaration);
}

bool CDeclarationHeaderParser::ParseTextPackage()
{
    return ParseDeclaration(Grammar(3), kTextPackageDeclaration);
}

bool CDeclarationHeaderParser::ParseDeclaration(const KindGrammar& grammar, int kind)
{
    if (tokenKind != kWord || !grammar.Names(tokenText)) {
        ReportExpected(grammar.keyword);
        return false;
    }
    grammar_ = &grammar;
    declarationKind = kind;
    optionSeen_ = false;
    optionsReplaced_ = false;
    newValueWritten_.fill(false);
    if (mode == kUpdate && !CheckNewValues())
        return false;
    GetToken();
    BeginBody();
    // A body line begins with an attribute of the kind, "/", a comment or a
    // line end; anything else ends the body.
    while (parseOk && (IsBodyAttributeStart() || tokenKind == kComment || AtNewline())) {
        ParseBodyLine();
        attributeEmitted = false;
    }
    return parseOk;
}

bool CDeclarationHeaderParser::IsBodyAttributeStart() const
{
    if (tokenKind == kPunctuator)
        return tokenText == "/";
    return tokenKind == kWord && grammar_ &&
           AttributeNamed(tokenText, grammar_->kindBit) != kNoAttribute;
}

bool CDeclarationHeaderParser::ParseBodyLine()
{
    while (IsBodyAttributeStart())
        if (!ParseAttribute())
            return false;
    if (tokenKind == kComment) {
        // The comment ends the line; the next line's first token becomes
        // current and is not skipped.
        const std::string comment(TrimCommentEnd(tokenText));
        if (!ExpectEndOfLine(nullptr, 2))
            return false;
        WriteBodyComment(comment);
        return true;
    }
    if (!AtNewline()) {
        ReportExpected(LineExpectation());
        return false;
    }
    // An empty line (or one whose attributes were all removed) leaves nothing.
    if (attributeEmitted)
        StoreAttribute(-1, "\n");
    GetToken();
    return true;
}

bool CDeclarationHeaderParser::FitsOnLine(std::size_t length) const
{
    const std::size_t used = outputColumn < 0 ? 0 : static_cast<std::size_t>(outputColumn) + 1;
    return used + length <= kLongestLine;
}

void CDeclarationHeaderParser::StoreValue(int column, const std::string& text)
{
    // The file's value goes back as "  Name = value"; a line that would grow
    // past what the reader takes in one piece continues on the next line.
    if (mode == kUpdate && column >= 0 && column < kAttributeColumns) {
        // Once the table's value of a column has been written, the file's
        // further values of it go: they would read back in its place.
        CellView current = Cell(column);
        const auto index = static_cast<std::size_t>(column);
        if (current && *current != kEmptyCell && *current != kDeleteMark)
            newValueWritten_[index] = true;
        else if (newValueWritten_[index] && column != kOptionColumn)
            return;
    }
    if (mode == kUpdate && outputColumn >= 0) {
        CellView cell = Cell(column);
        const std::size_t nameLength = ColumnName(column).size();
        if (cell && *cell == kEmptyCell &&
            !FitsOnLine(2 + (nameLength > 0 ? nameLength + 3 : 0) + text.size()))
            WriteAtColumn("\n", 0);
    }
    StoreAttribute(column, text);
}

void CDeclarationHeaderParser::WriteBodyComment(const std::string& comment)
{
    if (mode != kUpdate)
        return;
    // " ;" + comment ends the line. Where that would make the line too long to
    // read back, the blank goes first, then the comment takes a line of its
    // own.
    std::string text = " ;" + comment;
    if (!FitsOnLine(text.size()) && outputColumn >= 0 && !FitsOnLine(text.size() - 1))
        WriteAtColumn("\n", 0);
    if (!FitsOnLine(text.size()))
        text.erase(0, 1);
    WriteAtColumn(text + "\n", 0);
}

bool CDeclarationHeaderParser::ParseAttribute()
{
    if (tokenKind == kPunctuator)
        return ParseOption();
    switch (AttributeNamed(tokenText)) {
        case kDefaults:
            return ParseDefaults();
        case kCycle:
            return ParseCycle();
        case kNoAttribute:
            ReportExpected(LineExpectation());
            return false;
        default:
            return ParseSimpleAttribute(AttributeNamed(tokenText));
    }
}

bool CDeclarationHeaderParser::ExpectEqualsAndWord()
{
    GetToken();
    if (!(tokenKind == kPunctuator && tokenText == "=")) {
        ReportExpected("=");
        return false;
    }
    GetToken();
    if (tokenKind != kWord) {
        ReportExpected("IDENTIFIER");
        return false;
    }
    return true;
}

bool CDeclarationHeaderParser::ParseSimpleAttribute(int attribute)
{
    const SimpleAttribute simple = SimpleAttributeOf(static_cast<Attribute>(attribute));
    if (tokenKind != kWord || AttributeNamed(tokenText) != attribute) {
        ReportExpected(simple.expectation);
        return false;
    }
    if (!ExpectEqualsAndWord())
        return false;
    StoreValue(simple.column, tokenText);
    GetToken();
    return true;
}

bool CDeclarationHeaderParser::ParseCycle()
{
    if (tokenKind != kWord || AttributeNamed(tokenText) != kCycle) {
        ReportExpected("CYCLE");
        return false;
    }
    if (!ExpectEqualsAndWord())
        return false;
    std::string value = tokenText;
    GetToken();
    if (tokenKind == kWord && IsCycleUnit(tokenText)) {
        value += ' ';
        value += tokenText;
        GetToken();
    }
    StoreValue(kCycleColumn, value);
    return true;
}

bool CDeclarationHeaderParser::ParseDefaults()
{
    std::array<bool, 4> named{};
    bool any = false;
    while (tokenKind == kWord) {
        const int index = DefaultIndex(tokenText);
        if (index < 0)
            break;
        named[static_cast<std::size_t>(index)] = true;
        any = true;
        GetToken();
        if (tokenKind == kPunctuator && tokenText == "=")
            GetToken();
    }
    if (!any) {
        ReportExpected("DEF_L, DEF_X, DEF_I, DEF_R");
        return false;
    }
    if (tokenKind != kWord) {
        ReportExpected("IDENTIFIER");
        return false;
    }
    const std::string value = tokenText;
    for (std::size_t i = 0; i < named.size(); ++i)
        if (named[i])
            StoreValue(kDefLColumn + static_cast<int>(i), value);
    GetToken();
    return true;
}

bool CDeclarationHeaderParser::ParseOption()
{
    std::string option;
    if (!ExpectSlashWord(option))
        return false;
    if (mode == kRead) {
        // Several options collect in one cell.
        CellView cell = Cell(kOptionColumn);
        if (!cell || *cell == kEmptyCell) {
            SetCell(kOptionColumn, option);
        } else if (attributes) {
            attributes->AppendToAttribute(attributes->columns * currentRow + kOptionColumn, option);
        }
        return true;
    }
    // The table's column 2 holds all options of the declaration: a new value
    // replaces every option of the file and is written once; an empty cell
    // keeps each option as it stands; the deletion mark drops them all.
    if (!optionSeen_) {
        optionSeen_ = true;
        CellView cell = Cell(kOptionColumn);
        optionsReplaced_ = cell && *cell != kEmptyCell && *cell != kDeleteMark;
        StoreValue(kOptionColumn, option);
    } else if (!optionsReplaced_) {
        StoreValue(kOptionColumn, option);
    }
    return true;
}

bool CDeclarationHeaderParser::CheckNewValues()
{
    if (!grammar_)
        return true;
    for (int column = kNameColumn; column < kAttributeColumns; ++column) {
        CellView cell = Cell(column);
        if (!cell || *cell == kEmptyCell || *cell == kDeleteMark)
            continue;
        if (!grammar_->HasColumn(column)) {
            // Written, it would make the declaration unreadable.
            ReportExpected(grammar_->lineExpectation);
            tokenText = ColumnName(column);
            return false;
        }
        const std::size_t nameLength = ColumnName(column).size();
        const bool fits = 2 + (nameLength > 0 ? nameLength + 3 : 0) + cell->size() <= kLongestLine;
        if (!fits || !ValueReadsBack(column, *cell)) {
            ReportExpected(column == kOptionColumn ? "/" : "IDENTIFIER");
            tokenText = *cell;
            return false;
        }
    }
    return true;
}

bool CDeclarationHeaderParser::ValueReadsBack(int column, std::string_view value) const
{
    // The value split as the scanner would split it.
    struct Piece {
        bool word;
        std::string text;
    };
    std::vector<Piece> pieces;
    std::size_t i = 0;
    while (i < value.size()) {
        const char c = value[i];
        if (c == kEndOfText || c == '\0')
            return false;  // a text-mode reader stops at these
        switch (ClassOf(c)) {
            case kSpaceChar:
                ++i;
                break;
            case kWordChar: {
                std::size_t end = i;
                while (end < value.size() && ClassOf(value[end]) == kWordChar &&
                       value[end] != kEndOfText && value[end] != '\0')
                    ++end;
                if (end - i > static_cast<std::size_t>(kMaxToken))
                    return false;
                pieces.push_back({true, std::string(value.substr(i, end - i))});
                i = end;
                break;
            }
            case kPunctuatorChar:
                if (c == '\n')
                    return false;
                pieces.push_back({false, std::string(1, c)});
                ++i;
                break;
            default:
                return false;  // a comment would swallow the rest of the line
        }
    }
    if (column == kOptionColumn) {
        if (pieces.empty() || pieces.size() % 2 != 0)
            return false;
        for (std::size_t p = 0; p < pieces.size(); p += 2)
            if (pieces[p].word || pieces[p].text != "/" || !pieces[p + 1].word)
                return false;
        return true;
    }
    if (pieces.empty() || !pieces[0].word)
        return false;
    if (column == kCycleColumn && pieces.size() == 2)
        return pieces[1].word && IsCycleUnit(pieces[1].text);
    return pieces.size() == 1;
}

std::string CDeclarationHeaderParser::CycleText(int cycleByte)
{
    // Units of 100 ms: below one second in milliseconds, otherwise seconds to
    // two significant digits (a tie goes to the even digit).
    if (cycleByte < 10)
        return std::to_string(cycleByte * 100) + " ms";
    if (cycleByte < 100) {
        std::string text = std::to_string(cycleByte / 10);
        if (cycleByte % 10 != 0) {
            text += '.';
            text += std::to_string(cycleByte % 10);
        }
        return text + " s";
    }
    int seconds = cycleByte / 10;
    const int rest = cycleByte % 10;
    if (rest > 5 || (rest == 5 && seconds % 2 != 0))
        ++seconds;
    return std::to_string(seconds) + " s";
}

const CDeclarationHeaderParser::KindGrammar& CDeclarationHeaderParser::Grammar(int index)
{
    static const std::array<KindGrammar, 4> grammars = {{
        {"TASK", "", kTaskBit, "NAME, LN, TLN, PRI, CYCLE, PLA, ELA, $BUF, /, Comment"},
        {"VPAC", "QPAC", kValueBit, "NAME, LN, VLN, PAGES, PLA, ELA, /, Comment"},
        {"BPAC", "", kBlockBit,
         "NAME, LN, VLN, BLKSIZE, PLA, ELA, DEF_L, DEF_X, DEF_I, DEF_R, /, Comment"},
        {"TEXT", "", kTextBit, "NAME, PLA, ELA, /, Comment"},
    }};
    return grammars[static_cast<std::size_t>(index)];
}

std::string_view CDeclarationHeaderParser::ColumnName(int column)
{
    return column >= 0 && column < kAttributeColumns ? kColumnNames[column] : std::string_view();
}

void CDeclarationHeaderParser::StoreAttribute(int column, std::string_view text)
{
    if (mode == kRead) {
        if (column >= 0 && column < kAttributeColumns)
            SetCell(column, text);
        return;
    }
    if (mode != kUpdate)
        return;
    if (column == -1) {
        WriteAtColumn(text, 0);
        return;
    }
    if (column < 0 || column >= kAttributeColumns)
        return;
    const CellView cell = Cell(column);
    if (!cell)
        return;
    if (*cell == kEmptyCell) {
        // No new value: the file's own value goes back, in the normal form.
        attributeEmitted = true;
        std::string line = "  ";
        if (!ColumnName(column).empty()) {
            line += ColumnName(column);
            line += " = ";
        }
        line += text;
        WriteAtColumn(line, 0);
        return;
    }
    // A new value comes out here only when nothing was written on this line
    // yet; otherwise FlushRemaining writes it before the closing brace.
    if (!attributeEmitted && FlushAttribute(column))
        attributeEmitted = true;
}

bool CDeclarationHeaderParser::FlushAttribute(int column)
{
    if (column < 1 || column >= kAttributeColumns)
        return false;
    const CellView cell = Cell(column);
    if (!cell || *cell == kDeleteMark || *cell == kEmptyCell)
        return false;
    std::string line = "  ";
    if (!ColumnName(column).empty()) {
        line += ColumnName(column);
        line += " = ";
    }
    line += *cell;
    WriteAtColumn(line, 0);
    SetCell(column, kEmptyCell);
    return true;
}

void CDeclarationHeaderParser::FlushRemaining()
{
    for (int column = 1; column < kAttributeColumns; ++column) {
        const CellView cell = Cell(column);
        if (!cell || *cell == kDeleteMark || *cell == kEmptyCell)
            continue;
        std::string line = "  ";
        if (!ColumnName(column).empty()) {
            line += ColumnName(column);
            line += " = ";
        }
        line += *cell;
        line += '\n';
        WriteAtColumn(line, 0);
        SetCell(column, kEmptyCell);
    }
}

}  // namespace tolvik
