// One property for every file kind that is written back: a table read from a
// file and written back unchanged reads again as the same table, and writing
// it back a second time gives the same bytes. It runs over the example inputs
// of every kind's test data.
#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>

#include "CapiSupport.h"

namespace {

using namespace tolvik::test;

using Open =
    std::function<int32_t(char* file, uint32_t* handle, uint16_t* rows, uint16_t* cols, char* err)>;
using Close = std::function<int32_t(char* file, uint32_t* handle, char* err)>;

struct Kind {
    std::string name;
    std::string fileName;  // the name the input is copied to
    Open open;
    Close close;
    // The inputs: each file's text.
    std::function<std::vector<std::pair<std::string, std::string>>()> inputs;
    // What the kind's file format cannot tell apart: comments are written back
    // without blanks at their end; a value block has no way to say "no value"
    // other than an empty one.
    bool trimsComments = false;
    bool emptyIsNoValue = false;
    // Called with each input's file before it is read (a request to prepare).
    std::function<void(char* file)> prepare = nullptr;
};

const fs::path kData = TOLVIK_TEST_DATA;

// The input of each golden case of `kind`; with `readable`, only those that
// read without an error.
std::vector<std::pair<std::string, std::string>> Inputs(const std::string& kind,
                                                        bool readable = false)
{
    std::vector<std::pair<std::string, std::string>> files;
    for (const auto& entry : fs::directory_iterator(kData / kind)) {
        const fs::path& path = entry.path();
        if (entry.is_directory() && fs::exists(path / "input") &&
            !(readable && fs::exists(path / "read.err")))
            files.emplace_back(path.filename().string(), ReadBytes(path / "input"));
    }
    return files;
}

// A kind of sections read and written whole: no start or end name, no flags.
Kind WholeSections(const char* name, const char* fileName,
                   int32_t(TOLVIK_CALL* open)(char*, uint32_t*, uint16_t*, uint16_t*, char*, char*,
                                              char*),
                   int32_t(TOLVIK_CALL* close)(char*, uint32_t*, char*, char*, char*))
{
    auto files = [folder = std::string(name)] { return Inputs(folder); };
    return {name,
            fileName,
            [open](char* f, uint32_t* h, uint16_t* r, uint16_t* c, char* e) {
                char none[] = "";
                std::strcpy(e, "0");
                return open(f, h, r, c, none, none, e);
            },
            [close](char* f, uint32_t* h, char* e) {
                char none[] = "";
                return close(f, h, none, none, e);
            },
            files,
            true};
}

// A profile read as a selection: a column for every parameter name the file
// has, every section a row.
Kind ProfileSelection()
{
    auto names = std::make_shared<std::vector<std::string>>();
    Kind kind{"profile-selection", "SETUP.ini",
              [names](char* f, uint32_t* h, uint16_t* r, uint16_t* c, char* e) {
                  uint16_t rows = 2;
                  uint16_t cols = static_cast<uint16_t>(names->size() + 1);
                  if (IntpOpenWrite(h, &rows, &cols) != -1)
                      return 0;
                  uint16_t row = 1;
                  uint16_t col = 0;
                  char all[] = "*";
                  IntpSetAttrValue(h, &row, &col, all);
                  row = 0;
                  for (std::string& name : *names) {
                      ++col;
                      IntpSetAttrValue(h, &row, &col, name.data());
                  }
                  std::strcpy(e, "0");
                  return IntpOpenReadProfileFile(f, h, r, c, e);
              },
              [](char* f, uint32_t* h, char* e) {
                  std::strcpy(e, "0");
                  return IntpCloseWriteProfileFile(f, h, e);
              },
              [] { return Inputs("profile"); }};
    kind.prepare = [names](char* file) {
        names->clear();
        uint32_t handle = 0;
        uint16_t rows = 0;
        uint16_t cols = 0;
        char err[8192] = "1024";
        if (!IntpOpenReadProfileFile(file, &handle, &rows, &cols, err))
            return;
        for (uint16_t r = 0; r < rows; ++r) {
            char cell[70000] = "";
            uint16_t length = 0;
            uint16_t c = 0;
            IntpGetAttrValue(&handle, &r, &c, cell, &length);
            if (std::string(cell) != "P")
                continue;
            c = 1;
            IntpGetAttrValue(&handle, &r, &c, cell, &length);
            if (std::find(names->begin(), names->end(), cell) == names->end())
                names->push_back(cell);
        }
        IntpCloseRead(&handle);
    };
    return kind;
}

std::vector<Kind> Kinds()
{
    return {
        {"mdl-update", "PLANT.MDL", IntpOpenReadMDLFile, IntpCloseUpdateMDLFile,
         [] { return Inputs("mdl", true); }, true},
        {"mdl-write", "PLANT.MDL", IntpOpenReadMDLFile, IntpCloseWriteMDLFile,
         [] { return Inputs("mdl", true); }, true},
        {"header", "MODULE.tse", IntpOpenReadVORLHead, IntpCloseUpdateVORLHead,
         [] { return Inputs("header"); }},
        {"bpac", "VALUES.bpe", IntpOpenReadBPACValues, IntpCloseUpdateBPACValues,
         [] { return Inputs("bpac"); }, true, true},
        WholeSections("strings", "TEXTS.txe", IntpOpenReadTextStrings, IntpCloseWriteTextStrings),
        WholeSections("vars", "VARS.dpe", IntpOpenReadVpacVariables, IntpCloseWriteVpacVariables),
        {"profile-listing", "SETUP.ini",
         [](char* f, uint32_t* h, uint16_t* r, uint16_t* c, char* e) {
             std::strcpy(e, "1024");  // listing: every section and parameter
             return IntpOpenReadProfileFile(f, h, r, c, e);
         },
         [](char* f, uint32_t* h, char* e) {
             std::strcpy(e, "1024");  // the write takes the shape of the read
             return IntpCloseWriteProfileFile(f, h, e);
         },
         [] { return Inputs("profile"); }},
        ProfileSelection(),
    };
}

class RoundTrip : public ::testing::TestWithParam<Kind> {
protected:
    // Reads the file into a table dump; false when it does not read.
    bool Read(const Kind& kind, std::vector<std::string>& cells, uint32_t& handle)
    {
        uint16_t rows = 0, cols = 0;
        if (!kind.open(path_.data(), &handle, &rows, &cols, err_))
            return false;
        cells.clear();
        for (uint16_t r = 0; r < rows; ++r)
            for (uint16_t c = 0; c < cols; ++c) {
                char value[70000] = "";
                uint16_t length = 0;
                IntpGetAttrValue(&handle, &r, &c, value, &length);
                std::string cell = value;
                if (kind.trimsComments)
                    cell.erase(cell.find_last_not_of(" \r\n") + 1);
                if (kind.emptyIsNoValue && cell.empty())
                    cell = "...";
                cells.push_back(cell);
            }
        cells.push_back(std::to_string(rows) + "x" + std::to_string(cols));
        return true;
    }

    TempFolder folder_;
    std::string path_;
    char err_[8192] = "";
};

TEST_P(RoundTrip, UnchangedTableReadsBackAndRewritesStably)
{
    const Kind& kind = GetParam();
    if (!fs::exists(kData))
        GTEST_SKIP() << "test data not reachable from here";
    int checked = 0;
    for (const auto& [name, text] : kind.inputs()) {
        SCOPED_TRACE(kind.name + ": " + name);
        path_ = folder_.Write(kind.fileName, text);
        if (kind.prepare)
            kind.prepare(path_.data());

        uint32_t handle = 0;
        std::vector<std::string> first, second;
        if (!Read(kind, first, handle))
            continue;  // an input that does not read is no case for this property
        ASSERT_EQ(kind.close(path_.data(), &handle, err_), -1) << err_;
        EXPECT_EQ(handle, 0u);
        const std::string once = ReadBytes(path_);

        ASSERT_TRUE(Read(kind, second, handle)) << err_;
        EXPECT_EQ(second, first);
        ASSERT_EQ(kind.close(path_.data(), &handle, err_), -1) << err_;
        EXPECT_EQ(ReadBytes(path_), once);
        ++checked;
    }
    EXPECT_GT(checked, 0) << "no readable input for " << kind.name;
}

INSTANTIATE_TEST_SUITE_P(EveryKind, RoundTrip, ::testing::ValuesIn(Kinds()), [](const auto& info) {
    std::string name = info.param.name;
    for (char& c : name)
        if (c == '-')
            c = '_';
    return name;
});

// The other side of the property: a close whose table, written, would not
// read back as that table is refused with "2" before anything is written. The
// record names the file, what a later read would expect, the token it would
// meet and a line; the file, the backup an earlier update left and the folder
// stay exactly as they were.
struct Refusal {
    const char* label;
    const char* kind;  // the name of one of Kinds(), or "vpac-stub"
    const char* source;
    uint16_t row;
    uint16_t col;
    const char* cell;
    const char* record;  // "|" for each separator; FILE stands for the file's path
};

const Refusal kRefusals[] = {
    {"header_attribute_the_kind_lacks", "header", "; pumps\n{ VPAC NAME = V\n}\nbody\n", 0, 7,
     "2 s", "2|FILE|NAME, LN, VLN, PAGES, PLA, ELA, /, Comment|Cycle|2|||||"},
    {"mdl_name_that_reads_as_two_words", "mdl-update", "{ TASK\nA.tse\n}\n", 0, 0, "B C",
     "2|FILE|IDENTIFIER|B C|3|||||"},
    {"mdl_switches_without_a_slash", "mdl-update", "{ DPAC\nD\n}\n", 0, 2, "X",
     "2|FILE|/|X|3|||||"},
    {"vpac_value_that_reads_as_two", "vars", "{ Variables\n  R A = 1\n}\n", 0, 3, "1 2",
     "2|FILE|Comment, Newline|2|2|||||"},
    {"vpac_stub_value_that_reads_as_two", "vpac-stub",
     "BEGIN\n; EmbeddedFileStart  \"ST\"\n{Variables\n  R A = 1\n}\n; EmbeddedFileEnd  \"ST\"\n", 0,
     3, "1 2", "2|ST in FILE||Comment, Newline|2|2||||"},
    {"bpac_column_without_a_type_letter", "bpac", "{ Values\n( No :L A )\n  #1  5\n}\n", 0, 1,
     "...", "2|FILE|L, X, I, R |?|2|||||"},
};

void PrintTo(const Refusal& refusal, std::ostream* out)
{
    *out << refusal.label;
}

class Refused : public ::testing::TestWithParam<Refusal> {};

TEST_P(Refused, CloseFailsAndLeavesFileBackupAndFolderAlone)
{
    const Refusal& refusal = GetParam();
    std::vector<Kind> kinds = Kinds();
    // A VPAC stub is stored into a task file as an embedded file.
    kinds.push_back(
        {"vpac-stub",
         "TASK.tse",
         [](char* f, uint32_t* h, uint16_t* r, uint16_t* c, char* e) {
             return IntpOpenReadVpacStub(f, h, r, c, "ST", e);
         },
         [](char* f, uint32_t* h, char* e) { return IntpCloseWriteVpacStub(f, h, "ST", e); },
         {}});
    const auto kind = std::find_if(kinds.begin(), kinds.end(),
                                   [&](const Kind& k) { return k.name == refusal.kind; });
    ASSERT_NE(kind, kinds.end());
    // The current folder too, so that a temporary file left behind would show.
    TempFolder folder(TempFolder::kCurrent);
    std::string path = folder.Write(kind->fileName, refusal.source);
    const std::string backupName = fs::path(kind->fileName).replace_extension(".BAK").string();
    folder.Write(backupName, "an older backup\n");
    const std::vector<std::string> files = folder.Files();

    char err[8192] = "";
    uint32_t handle = 0;
    uint16_t rows = 0, cols = 0;
    ASSERT_EQ(kind->open(path.data(), &handle, &rows, &cols, err), -1) << err;
    std::string cell = refusal.cell;
    uint16_t row = refusal.row, col = refusal.col;
    ASSERT_EQ(IntpSetAttrValue(&handle, &row, &col, cell.data()), -1);
    EXPECT_EQ(kind->close(path.data(), &handle, err), 0);
    EXPECT_EQ(handle, 0u);
    std::string record = refusal.record;
    record.replace(record.find("FILE"), 4, path);
    EXPECT_EQ(err, Record(record));
    EXPECT_EQ(folder.Read(kind->fileName), refusal.source);
    EXPECT_EQ(folder.Read(backupName), "an older backup\n");
    EXPECT_EQ(folder.Files(), files);
}

INSTANTIATE_TEST_SUITE_P(EveryKind, Refused, ::testing::ValuesIn(kRefusals),
                         [](const auto& info) { return std::string(info.param.label); });

}  // namespace
