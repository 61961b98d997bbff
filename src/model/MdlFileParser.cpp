#include "MdlFileParser.h"

#include <algorithm>
#include <array>
#include <climits>

#include "../textfile/Charset.h"

namespace tolvik {

namespace {

struct SectionInfo {
    std::string_view keyword;
    int sourceKind;
    int compiledKind;
    std::string_view defaultExtension;
    std::string_view compiledExtension;
};

constexpr std::array<SectionInfo, 3> kSections = {{
    {"TASK", 1, 7, ".tse", ".TSC"},
    {"DPAC", 2, 8, ".dpe", ".DPC"},
    {"TEXT", 6, 9, ".txe", ".TXC"},
}};

// The column at which an entry's comment starts.
constexpr int kCommentColumn = 25;
// The longest line that reads back whole (its line end not counted).
constexpr std::size_t kLongestLine = kMaxLinePiece - 1;
// A text-mode reader takes this byte for the end of the text.

bool IsPunctuator(const CScanner& scanner, std::string_view text)
{
    return scanner.tokenKind == kPunctuator && scanner.tokenText == text;
}

bool IsEmptyCell(CellView cell)
{
    return !cell || *cell == kEmptyCell;
}

// The cell's text, or "" for an empty cell: a row without a file behind it.
std::string_view TableValue(CellView cell)
{
    return IsEmptyCell(cell) ? std::string_view() : std::string_view(*cell);
}

// The number at the start of a kind cell, read as atoi does; 0 when there is
// none.
int LeadingNumber(std::string_view text)
{
    std::size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r')))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-'))
        negative = text[i++] == '-';
    long long value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        value = value * 10 + (text[i] - '0');
        if (value > INT_MAX)
            return negative ? INT_MIN : INT_MAX;
    }
    return static_cast<int>(negative ? -value : value);
}

// The file-name part of `name` without its last extension.
std::string_view BareNameOf(std::string_view name)
{
    std::size_t start = name.size();
    while (start > 0 && name[start - 1] != '\\' && name[start - 1] != '/' && name[start - 1] != ':')
        --start;
    name.remove_prefix(start);
    const std::size_t dot = name.rfind('.');
    return dot == std::string_view::npos ? name : name.substr(0, dot);
}

// What rows and entries are matched by: the kind and the bare name, case
// ignored. Equal keys give equal hashes.
std::uint32_t KeyHash(int kind, std::string_view bareName)
{
    std::uint32_t hash = 2166136261u;
    const auto mix = [&hash](unsigned char c) { hash = (hash ^ c) * 16777619u; };
    mix(static_cast<unsigned char>(kind));
    for (char c : bareName)
        mix(static_cast<unsigned char>(UpperChar(c)));
    return hash;
}

}  // namespace

CMdlFileParser::CMdlFileParser(std::string_view fileName, int mode_)
    : CSourceParser(fileName, false, mode_, false)
{
    SetClasses();
    if (mode == kRead && attributes)
        attributes->columns = kColumns;
}

void CMdlFileParser::SetClasses()
{
    // Everything else is a word character: a path with drive, backslashes,
    // dots and hyphens is one word.
    SetClass("/{}", kPunctuatorChar);
    SetClass(";", kCommentChar);
}

int CMdlFileParser::KindOfEntry(int sectionKind, std::string& name)
{
    const SectionInfo* section = nullptr;
    for (const SectionInfo& info : kSections)
        if (info.sourceKind == sectionKind)
            section = &info;
    if (!section)
        return sectionKind;
    const std::size_t dot = name.rfind('.');
    std::size_t separator = name.rfind('\\');
    if (separator == std::string::npos)
        separator = name.rfind(':');
    const bool hasExtension =
        dot != std::string::npos && (separator == std::string::npos || dot > separator);
    if (!hasExtension) {
        name += section->defaultExtension;
        return section->sourceKind;
    }
    if (EqualsNoCase(std::string_view(name).substr(dot), section->compiledExtension))
        return section->compiledKind;
    return section->sourceKind;
}

void CMdlFileParser::RowIndex::Start(const CMdlFileParser& parser, std::uint32_t rows)
{
    parser_ = &parser;
    kinds_.assign(rows, 0);
    for (std::uint32_t row = 0; row < rows; ++row) {
        const int kind = parser.RowKind(row);
        if (kind >= 1 && kind <= 9)
            kinds_[row] = static_cast<std::int8_t>(kind);
    }
    claimed_.assign(rows, false);
    inOrder_ = 0;
    keys_.clear();
    next_.clear();
    indexed_ = false;
}

bool CMdlFileParser::RowIndex::SameKey(std::uint32_t row, int kind, std::string_view name) const
{
    if (kinds_[row] != kind)
        return false;
    const std::string_view rowName = *parser_->RowCell(row, 0);
    return rowName == name || EqualsNoCase(BareNameOf(rowName), BareNameOf(name));
}

void CMdlFileParser::RowIndex::BuildIndex()
{
    for (std::uint32_t row = 0; row < kinds_.size(); ++row) {
        if (kinds_[row] != 0)
            keys_.push_back(
                std::uint64_t{KeyHash(kinds_[row], BareNameOf(*parser_->RowCell(row, 0)))} << 32 |
                row);
    }
    std::sort(keys_.begin(), keys_.end());
    next_.resize(keys_.size());
    for (std::size_t i = 0; i < keys_.size(); ++i)
        next_[i] = static_cast<std::uint32_t>(i);
    indexed_ = true;
}

std::int64_t CMdlFileParser::RowIndex::Claim(int kind, std::string_view name)
{
    if (!indexed_) {
        // While the entries have claimed the first rows one by one, the next
        // row is the first unclaimed row of every key: when it matches, it is
        // the claim. A table read from the file and written back stays so.
        if (inOrder_ < kinds_.size() && SameKey(inOrder_, kind, name)) {
            claimed_[inOrder_] = true;
            return inOrder_++;
        }
        BuildIndex();
    }
    const std::string_view bare = BareNameOf(name);
    const std::uint32_t hash = KeyHash(kind, bare);
    const auto hashOf = [](std::uint64_t key) { return static_cast<std::uint32_t>(key >> 32); };
    const auto rowOf = [](std::uint64_t key) { return static_cast<std::uint32_t>(key); };
    const auto group = std::lower_bound(keys_.begin(), keys_.end(), std::uint64_t{hash} << 32);
    if (group == keys_.end() || hashOf(*group) != hash)
        return -1;
    // Rows of one key in table order; the cursor passes over those claimed.
    std::uint32_t& cursor = next_[static_cast<std::size_t>(group - keys_.begin())];
    while (cursor < keys_.size() && hashOf(keys_[cursor]) == hash && claimed_[rowOf(keys_[cursor])])
        ++cursor;
    for (std::size_t i = cursor; i < keys_.size() && hashOf(keys_[i]) == hash; ++i) {
        const std::uint32_t row = rowOf(keys_[i]);
        if (claimed_[row] || !SameKey(row, kind, name))
            continue;
        claimed_[row] = true;
        return row;
    }
    return -1;
}

int CMdlFileParser::SectionOfKind(int kind)
{
    switch (kind) {
        case 1:
        case 7:
            return 0;
        case 2:
        case 3:
        case 4:
        case 5:
        case 8:
            return 1;
        case 6:
        case 9:
            return 2;
        default:
            return -1;
    }
}

bool CMdlFileParser::Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found)
{
    BeginRun(list);
    // A closing call without a table writes as if the table were empty.
    std::unique_ptr<CAttributeList> noTable;
    if (!attributes) {
        noTable = std::make_unique<CAttributeList>(kTableCapacity);
        noTable->columns = kColumns;
        attributes = noTable.get();
    }
    if (fileOpened) {
        if (mode == kRead) {
            pass_ = Pass::kFill;
            ParseFile();
        } else if (mode == kUpdate) {
            Update();
        } else if (mode == kWrite) {
            WriteFromTable();
        }
        if (!parseOk)
            ReportFailureLocation();
        if (mode != kRead)
            Finish();
    }
    if (noTable)
        attributes = nullptr;
    return EndRun(list, found);
}

void CMdlFileParser::NextToken()
{
    skippedSpace.clear();
    GetToken();
    switch (tokenKind) {
        case kWord:
            tokenStart_ = cursor >= tokenText.size() ? cursor - tokenText.size() : 0;
            break;
        case kPunctuator:
            tokenStart_ = cursor > 0 ? cursor - 1 : 0;
            break;
        default:
            tokenStart_ = cursor;
            break;
    }
}

bool CMdlFileParser::ParseFile()
{
    NextToken();
    for (;;) {
        if (IsPunctuator(*this, "{")) {
            if (!ParseSection())
                return false;
        } else if (tokenKind == kComment) {
            if (!ParseCommentLine())
                return false;
        } else if (AtNewline()) {
            if (Writing())
                WriteAtColumn(skippedSpace + "\n", 0);
            NextToken();
        } else {
            // Any other token ends the file without error: normally the end of
            // the file, but a stray word or "}" too. What follows is not read.
            return true;
        }
    }
}

bool CMdlFileParser::ParseCommentLine()
{
    if (Writing()) {
        if (outputColumn < 0) {
            // A comment line goes out once, as it stands, with its own line end.
            CopyCurrentLine();
        } else {
            // A comment after "{ TASK" or "}" stays on that line, unless the
            // line would grow too long to read back ("{TASK;" gains a blank).
            const std::size_t used = static_cast<std::size_t>(outputColumn) + 1;
            std::string text = ";";
            text += tokenText;
            text += '\n';
            std::string lead = skippedSpace;
            if (used + lead.size() + text.size() - 1 > kLongestLine)
                lead.clear();
            if (used + text.size() - 1 > kLongestLine)
                lead.assign(1, '\n');
            lead += text;
            WriteAtColumn(lead, 0);
        }
    }
    NextToken();
    if (!AtNewline()) {
        ReportExpected("NEWLINE");
        return false;
    }
    NextToken();
    return true;
}

bool CMdlFileParser::ParseSection()
{
    const std::string before = outputColumn >= 0 ? skippedSpace : std::string();
    NextToken();
    int section = -1;
    if (tokenKind == kWord) {
        for (std::size_t i = 0; i < kSections.size(); ++i)
            if (EqualsNoCase(tokenText, kSections[i].keyword))
                section = static_cast<int>(i);
    }
    if (section < 0) {
        ReportExpected("TASK, DPAC, TEXT");
        return false;
    }
    const bool firstOccurrence = !sectionSeen_[section];
    sectionSeen_[section] = true;
    if (Writing())
        WriteAtColumn(before + "{ " + tokenText, 0);
    NextToken();

    const int sectionKind = kSections[section].sourceKind;
    for (;;) {
        if (tokenKind == kWord) {
            if (!ParseEntry(sectionKind))
                return false;
        } else if (tokenKind == kComment) {
            if (!ParseCommentLine())
                return false;
        } else if (AtNewline()) {
            if (Writing())
                WriteAtColumn(skippedSpace + "\n", 0);
            NextToken();
        } else {
            break;
        }
    }
    if (!IsPunctuator(*this, "}")) {
        ReportExpected("}");
        return false;
    }
    if (Writing()) {
        std::string beforeBrace = outputColumn >= 0 ? skippedSpace : std::string();
        if (firstOccurrence && WriteUnclaimedRows(section))
            beforeBrace.clear();
        if (!parseOk)
            return false;
        WriteAtColumn(beforeBrace + "}", 0);
    }
    NextToken();
    return true;
}

bool CMdlFileParser::ParseEntry(int sectionKind)
{
    Entry entry;
    entry.name = tokenText;
    // An entry on the line of "{ TASK" keeps its distance from the keyword.
    const std::string before = outputColumn >= 0 ? skippedSpace : std::string();
    NextToken();
    while (IsPunctuator(*this, "/")) {
        NextToken();
        if (tokenKind != kWord) {
            ReportExpected("IDENTIFIER");
            return false;
        }
        entry.switches += "/";
        entry.switches += tokenText;
        entry.switches += ' ';
        NextToken();
    }
    if (tokenKind == kComment) {
        entry.comment = !tokenText.empty() && tokenText[0] == ' ' ? tokenText.substr(1) : tokenText;
        NextToken();
        if (!AtNewline()) {
            ReportExpected("NEWLINE");
            return false;
        }
    } else if (!AtNewline()) {
        ReportExpected("Comment, Newline");
        return false;
    }
    entry.kind = KindOfEntry(sectionKind, entry.name);
    OnEntry(entry, before);
    if (!parseOk)
        return false;
    NextToken();
    return true;
}

void CMdlFileParser::OnEntry(Entry& entry, const std::string& before)
{
    switch (pass_) {
        case Pass::kFill: {
            // A full table refuses the row's cells (and says so); the entry is
            // then not kept.
            const std::string kind = std::to_string(entry.kind);
            const std::string_view cells[kColumns] = {entry.name, kind, entry.switches,
                                                      entry.comment};
            for (const std::string_view cell : cells)
                attributes->AddAttribute(cell);
            break;
        }
        case Pass::kScan:
            entries_.push_back(std::move(entry));
            break;
        case Pass::kRewrite: {
            // The second reading must find what the first found; a file
            // changed in between is not rewritten.
            if (entryIndex_ >= entries_.size() || entries_[entryIndex_].kind != entry.kind ||
                entries_[entryIndex_].name != entry.name) {
                parseOk = false;
                return;
            }
            RewriteEntry(entry, before, claims_[entryIndex_++]);
            break;
        }
        case Pass::kStream: {
            const std::int64_t claim = rowIndex_.Claim(entry.kind, entry.name);
            if (claim >= 0 && rowDone_[static_cast<std::size_t>(claim)]) {
                // A row already written at the end of its section belongs to
                // this later entry after all: the file needs both passes.
                restart_ = true;
                parseOk = false;
                return;
            }
            RewriteEntry(entry, before, claim);
            break;
        }
    }
}

void CMdlFileParser::RewriteEntry(const Entry& entry, const std::string& before, std::int64_t claim)
{
    if (claim < 0) {
        // No row for it: the entry stays, in the normal form.
        WriteAtColumn(before, 0);
        WriteEntryLine(entry.name, entry.switches, entry.comment, true);
        return;
    }
    const auto row = static_cast<std::uint32_t>(claim);
    rowDone_[row] = true;
    const CellView switches = RowCell(row, 2);
    if (switches && *switches == kDeleteMark) {
        // The entry goes with its line; only a line shared with "{ TASK" keeps
        // its end.
        if (outputColumn >= 0)
            WriteAtColumn("\n", 0);
        return;
    }
    // An empty cell keeps what the file has.
    const CellView nameCell = RowCell(row, 0);
    const CellView commentCell = RowCell(row, 3);
    const std::string_view name = IsEmptyCell(nameCell) ? entry.name : *nameCell;
    const std::string_view switchesText = IsEmptyCell(switches) ? entry.switches : *switches;
    const std::string_view comment = IsEmptyCell(commentCell) ? entry.comment : *commentCell;
    WriteAtColumn(before, 0);
    WriteEntryLine(
        name, switchesText, comment,
        name == entry.name && switchesText == entry.switches && comment == entry.comment);
}

bool CMdlFileParser::IsOneWord(std::string_view text) const
{
    if (text.empty() || text.size() > static_cast<std::size_t>(kMaxToken))
        return false;
    for (char c : text)
        if (c == '\0' || c == kEndOfText || ClassOf(c) != kWordChar)
            return false;
    return true;
}

std::string_view CMdlFileParser::SwitchesMismatch(std::string_view switches) const
{
    std::size_t i = 0;
    const auto skipSpace = [&] {
        while (i < switches.size() && switches[i] != '\n' && ClassOf(switches[i]) == kSpaceChar)
            ++i;
    };
    for (skipSpace(); i < switches.size(); skipSpace()) {
        if (switches[i] != '/')
            return "/";
        ++i;
        skipSpace();
        std::size_t end = i;
        while (end < switches.size() && switches[end] != '\0' && switches[end] != kEndOfText &&
               ClassOf(switches[end]) == kWordChar)
            ++end;
        if (end == i || end - i > static_cast<std::size_t>(kMaxToken))
            return "IDENTIFIER";
        i = end;
    }
    return {};
}

void CMdlFileParser::RefuseCell(std::string_view expected, std::string_view cell)
{
    ReportExpected(expected);
    tokenText = cell;
}

bool CMdlFileParser::WriteEntryLine(std::string_view name, std::string_view switches,
                                    std::string_view comment, bool asRead)
{
    const std::string_view text = TrimCommentEnd(comment);
    // What was read as an entry reads back as one, unless the default
    // extension made its name too long for one word.
    if (!asRead || name.size() > static_cast<std::size_t>(kMaxToken)) {
        if (!EntryReadsBack(name, switches, comment, text))
            return false;
    }
    // A line is read in pieces of limited length: a longer one would not read
    // back. The comment column gives way first.
    const std::size_t start = outputColumn < 0 ? 0 : static_cast<std::size_t>(outputColumn) + 1;
    const std::size_t entryEnd = start + name.size() + switches.size();
    const std::size_t commentLength = text.empty() ? 0 : 2 + text.size();
    const bool padded =
        std::max<std::size_t>(entryEnd, kCommentColumn) + commentLength <= kLongestLine;
    if (!padded && entryEnd + commentLength > kLongestLine) {
        RefuseCell("NEWLINE", text.empty() ? name : comment);
        return false;
    }
    // The line goes out in one piece.
    std::string& line = lineOut_;
    line.assign(name);
    line += switches;
    if (!text.empty()) {
        const auto commentColumn = static_cast<std::size_t>(kCommentColumn);
        if (padded && entryEnd < commentColumn)
            line.append(commentColumn - entryEnd, ' ');
        line += "; ";
        line += text;
    }
    line += '\n';
    WriteAtColumn(line, 0);
    return true;
}

bool CMdlFileParser::EntryReadsBack(std::string_view name, std::string_view switches,
                                    std::string_view comment, std::string_view text)
{
    // The line must read back as this entry: one word for the name (blanks
    // around it do no harm), "/" and a word for each switch, and a comment
    // that stays on its line.
    const auto isBlank = [this](char c) { return c != '\n' && ClassOf(c) == kSpaceChar; };
    std::string_view word = name;
    while (!word.empty() && isBlank(word.front()))
        word.remove_prefix(1);
    while (!word.empty() && isBlank(word.back()))
        word.remove_suffix(1);
    if (!word.empty() && !IsOneWord(word)) {
        RefuseCell("IDENTIFIER", name);
        return false;
    }
    const bool hasSwitches =
        std::any_of(switches.begin(), switches.end(), [&](char c) { return !isBlank(c); });
    const std::string_view mismatch =
        word.empty() && hasSwitches ? "IDENTIFIER" : SwitchesMismatch(switches);
    if (!mismatch.empty()) {
        RefuseCell(mismatch, switches);
        return false;
    }
    static constexpr char kCutting[] = {'\n', '\0', kEndOfText};
    if (text.find_first_of(std::string_view(kCutting, sizeof kCutting)) != std::string_view::npos) {
        RefuseCell("NEWLINE", comment);
        return false;
    }
    return true;
}

CellView CMdlFileParser::RowCell(std::uint32_t row, int column) const
{
    if (column < 0 || static_cast<std::uint32_t>(column) >= attributes->columns)
        return nullptr;
    return attributes->GetAttribute(static_cast<int>(row), column);
}

int CMdlFileParser::RowKind(std::uint32_t row) const
{
    CellView cell = RowCell(row, 1);
    return cell ? LeadingNumber(*cell) : 0;
}

std::uint32_t CMdlFileParser::TableRows() const
{
    if (attributes->columns == 0)
        return 0;
    return std::min<std::uint32_t>(attributes->rows, attributes->Count() / attributes->columns);
}

void CMdlFileParser::PrepareRows()
{
    const std::uint32_t rows = TableRows();
    rowIndex_.Start(*this, rows);
    for (auto& sectionRows : sectionRows_)
        sectionRows.clear();
    for (std::uint32_t row = 0; row < rows; ++row) {
        const int section = SectionOfKind(rowIndex_.Kind(row));
        if (section >= 0)
            sectionRows_[static_cast<std::size_t>(section)].push_back(row);
    }
    rowDone_.assign(rows, false);
    sectionSeen_.fill(false);
}

void CMdlFileParser::Update()
{
    PrepareRows();
    // One pass: each entry claims its row as it comes, and a section's
    // unclaimed rows go before its "}". Only a later entry that claims a row
    // already written so (a section given twice) needs the file read twice.
    pass_ = Pass::kStream;
    SkipToPosition(0);
    if (lineNumber != 1) {
        parseOk = false;  // the file could not be read again
        return;
    }
    if (ParseFile()) {
        CopyFromStop();
        CompactTable();
        return;
    }
    if (!restart_)
        return;
    restart_ = false;
    parseOk = true;
    RestartOutput();
    PrepareRows();

    // First pass: the entries of the file, so that each claims its row before
    // anything is written (a row matched by an entry of a later section of the
    // same kind must not also go to the end of the first one).
    pass_ = Pass::kScan;
    SkipToPosition(0);
    if (lineNumber != 1) {
        parseOk = false;
        return;
    }
    if (!ParseFile())
        return;
    ClaimRows();

    pass_ = Pass::kRewrite;
    sectionSeen_.fill(false);
    entryIndex_ = 0;
    SkipToPosition(0);
    if (lineNumber != 1) {
        parseOk = false;
        return;
    }
    if (!ParseFile())
        return;
    CopyFromStop();
    CompactTable();
}

void CMdlFileParser::ClaimRows()
{
    claims_.assign(entries_.size(), -1);
    for (std::size_t i = 0; i < entries_.size(); ++i)
        claims_[i] = rowIndex_.Claim(entries_[i].kind, entries_[i].name);
}

bool CMdlFileParser::WriteUnclaimedRows(int section)
{
    bool wrote = false;
    for (std::uint32_t row : sectionRows_[static_cast<std::size_t>(section)]) {
        if (rowIndex_.IsClaimed(row))
            continue;
        rowDone_[row] = true;
        const CellView switches = RowCell(row, 2);
        if (switches && *switches == kDeleteMark)
            continue;  // a new row that is to be deleted is simply dropped
        if (!wrote && outputColumn >= 0)
            WriteAtColumn("\n", 0);  // "{ TASK }" on one line: the rows go between
        wrote = true;
        if (!WriteEntryLine(TableValue(RowCell(row, 0)), TableValue(switches),
                            TableValue(RowCell(row, 3))))
            break;
    }
    sectionRows_[static_cast<std::size_t>(section)].clear();
    return wrote;
}

void CMdlFileParser::CopyFromStop()
{
    // The file ended early at a stray token, or at its end: what follows is
    // the user's and goes out unchanged.
    if (outputColumn < 0) {
        CopyCurrentLine();
    } else {
        std::string rest = skippedSpace;
        if (tokenStart_ < lineBuffer.size())
            rest.append(lineBuffer, tokenStart_, std::string::npos);
        if (!rest.empty())
            WriteAtColumn(rest, 0);
    }
    CopyRest();
}

void CMdlFileParser::WriteFromTable()
{
    const std::uint32_t rows = TableRows();
    rowDone_.assign(rows, false);
    for (std::size_t section = 0; section < kSections.size(); ++section) {
        WriteAtColumn("{ " + std::string(kSections[section].keyword) + "\n", 0);
        for (std::uint32_t row = 0; row < rows; ++row) {
            if (SectionOfKind(RowKind(row)) != static_cast<int>(section))
                continue;
            rowDone_[row] = true;
            CellView switches = RowCell(row, 2);
            if (switches && *switches == kDeleteMark)
                continue;
            if (!WriteEntryLine(TableValue(RowCell(row, 0)), TableValue(switches),
                                TableValue(RowCell(row, 3))))
                return;
        }
        WriteAtColumn("}\n", 0);
    }
    CompactTable();
}

void CMdlFileParser::CompactTable()
{
    attributes->RemoveRows(rowDone_);
}

}  // namespace tolvik
