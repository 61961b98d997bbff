// Golden cases of every file kind, run through the exports as a host calls
// them. One folder a case, tests/data/<kind>/<case>, holding:
//   input          the file
//   request        optional "key=value" lines ("\n" in a value is a line end):
//                  file (its name, default per kind), start and end (region
//                  names), stub, flags (what the error buffer holds on entry),
//                  action (an edit instead of a read: insert, replace, remove),
//                  keyword, point, name, text, write=read (write back the table
//                  that was read), readback=no (a profile selection needs a
//                  query to be read back)
//   table          a table to write: one row a line, cells joined by "|", "..."
//                  the empty cell, bytes escaped as Escape below does
//   query          a table the handle holds when the file is read (a profile
//                  selection's request)
//   read.table     the table read from the input, or
//   read.err       the error record of that read ("|" for each 0x1A,
//                  the file named as the request names it)
//   out            the file after the write or edit, or
//   write.err      its error record; the file then stays as it was
//   readback.table the table read from `out` when it is not the one written
// A written file must read back, and writing what was read back settles on one
// text. TOLVIK_UPDATE_GOLDEN=1 rewrites the expectations from what the
// library does (to be reviewed in the diff).
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <optional>

#include "CapiSupport.h"

using namespace tolvik::test;

namespace {

const fs::path kData = TOLVIK_TEST_DATA;

// Text with its escapes resolved: \n, \r, \b (the deletion mark), \|, \\ and
// \xHH; any other backslash stands for itself.
std::string Unescape(const std::string& text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char next = i + 1 < text.size() ? text[i + 1] : '\0';
        if (text[i] != '\\' || std::string("nrb|\\x").find(next) == std::string::npos ||
            next == '\0') {
            plain += text[i];
            continue;
        }
        ++i;
        if (next == 'x' && i + 2 < text.size()) {
            plain += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            plain += next == 'n' ? '\n' : next == 'r' ? '\r' : next == 'b' ? '\x08' : next;
        }
    }
    return plain;
}

// The text with the bytes Unescape resolves escaped.
std::string Escape(const std::string& text)
{
    static const char kHex[] = "0123456789abcdef";
    std::string shown;
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n' || c == '\r' || c == '\x08')
            shown += c == '\n' ? "\\n" : c == '\r' ? "\\r" : "\\b";
        else if (c == '\\' || c == '|')
            shown += std::string("\\") + c;
        else if (byte < 0x20 && c != '\x1a')
            shown += std::string("\\x") + kHex[byte >> 4] + kHex[byte & 15];
        else
            shown += c;
    }
    return shown;
}

// A record as the case files hold it.
std::string ShowRecord(std::string record)
{
    std::string shown;
    for (const char c : Escape(record))
        shown += c == '\x1a' ? std::string("|") : std::string(1, c);
    return shown + "\n";
}

// The table behind `handle` as text; the handle stays open.
std::string DumpTable(uint32_t handle, uint16_t rows, uint16_t cols)
{
    std::string text;
    std::string value(70000, '\0');
    for (uint16_t r = 0; r < rows; ++r) {
        for (uint16_t c = 0; c < cols; ++c) {
            uint16_t length = 0;
            value[0] = '\0';
            IntpGetAttrValue(&handle, &r, &c, value.data(), &length);
            text += (c ? "|" : "") + Escape(value.c_str());
        }
        text += '\n';
    }
    return text;
}

// A new handle holding the table `text`.
uint32_t MakeTable(const std::string& text)
{
    std::vector<std::vector<std::string>> table;
    std::istringstream lines(text);
    std::size_t width = 0;
    for (std::string line; std::getline(lines, line);) {
        std::vector<std::string> cells;
        std::string cell;
        for (std::size_t i = 0; i <= line.size(); ++i) {
            if (i == line.size() || line[i] == '|') {
                cells.push_back(Unescape(cell));
                cell.clear();
            } else {
                cell += line[i];
                if (line[i] == '\\' && i + 1 < line.size())
                    cell += line[++i];
            }
        }
        width = std::max(width, cells.size());
        table.push_back(cells);
    }
    uint32_t handle = 0;
    uint16_t rows = static_cast<uint16_t>(table.size());
    uint16_t cols = static_cast<uint16_t>(width);
    IntpOpenWrite(&handle, &rows, &cols);
    for (uint16_t r = 0; r < rows; ++r)
        for (uint16_t c = 0; c < table[r].size(); ++c)
            IntpSetAttrValue(&handle, &r, &c, table[r][c].data());
    return handle;
}

using Request = std::map<std::string, std::string>;

struct Outcome {
    bool ok = false;
    int32_t result = 0;
    std::string table;   // read: the table as text
    std::string record;  // the error record
};

// How one kind is read and written.
struct Kind {
    std::string file;  // the file's name unless the request names one
    // Reads `path` into a handle.
    std::function<int32_t(const std::string&, const Request&, uint32_t&, uint16_t&, uint16_t&,
                          char*)>
        read;
    // Writes the handle (or makes the request's edit when there is no table).
    std::function<int32_t(const std::string&, const Request&, uint32_t&, char*)> write;
    // Whether a read's result is a length to check (read.table then starts with
    // "result N").
    bool lengthResult = false;
};

std::string Get(const Request& request, const std::string& key)
{
    auto found = request.find(key);
    return found == request.end() ? std::string() : found->second;
}

// The error buffer on entry: the request's flags, else empty.
void Prime(const Request& request, char* err)
{
    std::snprintf(err, 32, "%s", Get(request, "flags").c_str());
}

template <class ReadSection, class WriteSection>
Kind SectionKind(ReadSection readSection, WriteSection writeSection)
{
    return {"SECTION.TXT",
            [readSection](const std::string& path, const Request& q, uint32_t& h, uint16_t& rows,
                          uint16_t& cols, char* err) {
                std::string file = path, start = Get(q, "start"), end = Get(q, "end");
                Prime(q, err);
                return readSection(file.data(), &h, &rows, &cols, start.data(), end.data(), err);
            },
            [writeSection](const std::string& path, const Request& q, uint32_t& h, char* err) {
                std::string file = path, start = Get(q, "start"), end = Get(q, "end");
                Prime(q, err);
                return writeSection(file.data(), &h, start.data(), end.data(), err);
            }};
}

const std::map<std::string, Kind>& Kinds()
{
    static const std::map<std::string, Kind> kinds = {
        {"strings", SectionKind(IntpOpenReadTextStrings, IntpCloseWriteTextStrings)},
        {"vars", SectionKind(IntpOpenReadVpacVariables, IntpCloseWriteVpacVariables)},
        {"bpac",
         {"values.bpe",
          [](const std::string& path, const Request& q, uint32_t& h, uint16_t& rows, uint16_t& cols,
             char* err) {
              Prime(q, err);
              return IntpOpenReadBPACValues(path.c_str(), &h, &rows, &cols, err);
          },
          [](const std::string& path, const Request& q, uint32_t& h, char* err) {
              Prime(q, err);
              return IntpCloseUpdateBPACValues(path.c_str(), &h, err);
          }}},
        {"decl",
         {"PROG.SRC", nullptr,
          [](const std::string& path, const Request& q, uint32_t&, char* err) {
              const std::string keyword = Get(q, "keyword"), text = Get(q, "text");
              return Get(q, "action") == "remove"
                         ? IntpRemoveDecl(path.c_str(), keyword.c_str(), text.c_str(), err)
                         : IntpInsertDecl(path.c_str(), keyword.c_str(), text.c_str(), err);
          }}},
        {"header",
         {"MODULE.SRC",
          [](const std::string& path, const Request&, uint32_t& h, uint16_t& rows, uint16_t& cols,
             char* err) { return IntpOpenReadVORLHead(path.c_str(), &h, &rows, &cols, err); },
          [](const std::string& path, const Request&, uint32_t& h, char* err) {
              return IntpCloseUpdateVORLHead(path.c_str(), &h, err);
          }}},
        {"mdl",
         {"MODEL.MDL",
          [](const std::string& path, const Request&, uint32_t& h, uint16_t& rows, uint16_t& cols,
             char* err) { return IntpOpenReadMDLFile(path.c_str(), &h, &rows, &cols, err); },
          [](const std::string& path, const Request& q, uint32_t& h, char* err) {
              return Get(q, "mode") == "write" ? IntpCloseWriteMDLFile(path.c_str(), &h, err)
                                               : IntpCloseUpdateMDLFile(path.c_str(), &h, err);
          }}},
        {"profile",
         {"profile.ini",
          [](const std::string& path, const Request& q, uint32_t& h, uint16_t& rows, uint16_t& cols,
             char* err) {
              Prime(q, err);
              return IntpOpenReadProfileFile(path.c_str(), &h, &rows, &cols, err);
          },
          [](const std::string& path, const Request& q, uint32_t& h, char* err) {
              Prime(q, err);
              return IntpCloseWriteProfileFile(path.c_str(), &h, err);
          },
          true}},
        {"taskstub",
         {"task.tse",
          [](const std::string& path, const Request& q, uint32_t& h, uint16_t& rows, uint16_t& cols,
             char* err) {
              return IntpOpenReadTaskStub(path.c_str(), &h, &rows, &cols, Get(q, "stub").c_str(),
                                          err);
          },
          [](const std::string& path, const Request& q, uint32_t& h, char* err) {
              return IntpCloseUpdateTaskStub(path.c_str(), &h, Get(q, "stub").c_str(), err);
          }}},
        {"embedded",
         {"task.tse",
          [](const std::string& path, const Request& q, uint32_t& h, uint16_t& rows, uint16_t& cols,
             char* err) {
              rows = cols = 1;
              return IntpOpenReadEmbeddedFile(path.c_str(), &h, Get(q, "name").c_str(), err);
          },
          [](const std::string& path, const Request& q, uint32_t&, char* err) {
              const std::string name = Get(q, "name");
              if (Get(q, "action") == "remove")
                  return IntpRemoveEmbeddedFile(path.c_str(), name.c_str(), err);
              std::snprintf(err, 32, "%s", Get(q, "action") == "replace" ? "2" : "0");
              return IntpInsertEmbeddedFile(path.c_str(), Get(q, "point").c_str(), name.c_str(),
                                            Get(q, "text").c_str(), err);
          }}},
    };
    return kinds;
}

struct Case {
    std::string kind;
    std::string name;
};

void PrintTo(const Case& c, std::ostream* out)
{
    *out << c.kind << "/" << c.name;
}

std::vector<Case> AllCases()
{
    std::vector<Case> cases;
    for (const auto& [kind, unused] : Kinds()) {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(kData / kind))
            if (entry.is_directory())
                names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        for (const std::string& name : names)
            cases.push_back({kind, name});
    }
    return cases;
}

class Golden : public ::testing::TestWithParam<Case> {
protected:
    fs::path Folder() const { return kData / GetParam().kind / GetParam().name; }
    bool Has(const char* file) const { return fs::exists(Folder() / file); }
    std::string Load(const char* file) const { return ReadBytes(Folder() / file); }

    // Compares `actual` with the case's file, or in update mode writes it.
    void Expect(const char* file, const std::string& actual) const
    {
        if (updating_) {
            std::ofstream(Folder() / file, std::ios::binary) << actual;
            return;
        }
        ASSERT_TRUE(Has(file)) << "no " << file << "; the outcome was:\n" << actual;
        EXPECT_EQ(actual, Load(file)) << file;
    }
    void Drop(const char* file) const
    {
        if (updating_)
            fs::remove(Folder() / file);
    }

    const bool updating_ = std::getenv("TOLVIK_UPDATE_GOLDEN") != nullptr &&
                           std::string(std::getenv("TOLVIK_UPDATE_GOLDEN")) == "1";
};

Outcome Read(const Kind& kind, const std::string& path, const Request& request,
             const std::optional<std::string>& query)
{
    Outcome outcome;
    uint32_t handle = query ? MakeTable(*query) : 0;
    uint16_t rows = 0;
    uint16_t cols = 0;
    char err[4096] = "";
    outcome.result = kind.read(path, request, handle, rows, cols, err);
    outcome.ok = outcome.result != 0;
    outcome.record = ShowRecord(err);
    EXPECT_TRUE(outcome.ok || handle == 0) << "a failed read left a handle";
    if (handle) {
        outcome.table = DumpTable(handle, rows, cols);
        IntpCloseRead(&handle);
    }
    return outcome;
}

Outcome Write(const Kind& kind, const std::string& path, const Request& request,
              const std::optional<std::string>& table)
{
    Outcome outcome;
    uint32_t handle = table ? MakeTable(*table) : 0;
    char err[4096] = "";
    outcome.ok = kind.write(path, request, handle, err) != 0;
    outcome.record = ShowRecord(err);
    if (handle)
        IntpCloseRead(&handle);
    return outcome;
}

TEST_P(Golden, Case)
{
    const Kind& kind = Kinds().at(GetParam().kind);
    Request request;
    {
        std::istringstream lines(Load("request"));
        for (std::string line; std::getline(lines, line);) {
            const std::size_t equals = line.find('=');
            if (equals != std::string::npos)
                request[line.substr(0, equals)] = Unescape(line.substr(equals + 1));
        }
    }
    const std::string name = request.count("file") ? request["file"] : kind.file;
    TempFolder dir(TempFolder::kCurrent);
    const std::string input = Load("input");
    dir.Write(name, input);
    const std::string& path = name;  // the folder is the current directory

    std::optional<std::string> table;
    if (Has("table"))
        table = Load("table");
    std::optional<std::string> query;
    if (Has("query"))
        query = Load("query");
    const bool edit = request.count("action") != 0;
    if (kind.read && !edit && (!table || Has("read.table") || Has("read.err"))) {
        const Outcome read = Read(kind, path, request, query);
        if (read.ok) {
            Expect("read.table",
                   (kind.lengthResult ? "result " + std::to_string(read.result) + "\n" : "") +
                       read.table);
            Drop("read.err");
        } else {
            Expect("read.err", read.record);
            Drop("read.table");
        }
        EXPECT_EQ(dir.Read(name), input) << "a read changed the file";
        if (Get(request, "write") == "read")
            table = read.table;
    }
    if (!kind.write || (!edit && !table))
        return;

    const Outcome written = Write(kind, path, request, table);
    if (!written.ok) {
        Expect("write.err", written.record);
        Drop("out");
        EXPECT_EQ(dir.Read(name), input) << "a failed write changed the file";
        EXPECT_EQ(dir.Files(), std::vector<std::string>{name}) << "a file left behind";
        return;
    }
    EXPECT_EQ(written.record, "0|||||\n");
    const std::string output = dir.Read(name);
    Expect("out", output);
    Drop("write.err");
    if (edit || Get(request, "readback") == "no")
        return;

    // What was written reads back, and writing that settles on one text.
    const Outcome again = Read(kind, path, request, query);
    ASSERT_TRUE(again.ok) << again.record;
    if (updating_) {
        if (again.table != *table)
            Expect("readback.table", again.table);
        else
            Drop("readback.table");
    } else {
        EXPECT_EQ(again.table, Has("readback.table") ? Load("readback.table") : *table);
    }
    // Written again it settles on one text (the lines it did not hold take
    // the table's form), which a further round keeps.
    ASSERT_TRUE(Write(kind, path, request, again.table).ok);
    const std::string settled = dir.Read(name);
    const Outcome reread = Read(kind, path, request, query);
    ASSERT_TRUE(reread.ok) << reread.record;
    ASSERT_TRUE(Write(kind, path, request, reread.table).ok);
    EXPECT_EQ(dir.Read(name), settled) << "the written file does not settle";
}

std::string CaseName(const ::testing::TestParamInfo<Case>& info)
{
    std::string name = info.param.kind + "_";
    for (char c : info.param.name)
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Files, Golden, ::testing::ValuesIn(AllCases()), CaseName);

}  // namespace
