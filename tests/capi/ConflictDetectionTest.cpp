// Conflict detection as a host sees it: with TOLVIK_OPTION_DETECT_CONFLICTS on,
// a table is not written back over a file that changed since the table was
// read; with it off, the close writes as it always did.
#include <cstring>

#include "CapiSupport.h"

namespace {

using namespace tolvik::test;

using ReadExport = int32_t(TOLVIK_CALL*)(const char*, uint32_t*, uint16_t*, uint16_t*, char*);
using CloseExport = int32_t(TOLVIK_CALL*)(const char*, uint32_t*, char*);

// A kind of file, a host's edit of one cell, and the close that writes it.
struct Kind {
    const char* name;
    const char* file;
    const char* content;  // holds "rev 1", which another writer changes
    const char* flags;    // what the error buffer carries in
    ReadExport read;
    CloseExport close;
    uint16_t row;
    uint16_t col;
};

const Kind kKinds[] = {
    {"profile", "PLANT.INI", "; rev 1\n[Pump]\nPort = \"COM2\"\n", "1024", IntpOpenReadProfileFile,
     IntpCloseWriteProfileFile, 1, 2},
    {"model", "PLANT.MDL", "; rev 1\n{ TASK\nPUMP.tse                 ; feed pump\n}\n", "0",
     IntpOpenReadMDLFile, IntpCloseUpdateMDLFile, 0, 3},
    {"header", "PUMP.tse", "; rev 1\n{ TASK\n  Name = Pump\n  PRI = 5\n}\n", "0",
     IntpOpenReadVORLHead, IntpCloseUpdateVORLHead, 0, 1},
};

void PrintTo(const Kind& kind, std::ostream* out)
{
    *out << kind.name;
}

constexpr char kEdit[] = "EDITED";

// What another writer does to the file between the read and the close.
enum class Change {
    kNone,
    kSameSizeAndTime,  // only the content's hash tells
    kGrown,
};

struct Scenario {
    const char* name;
    bool detect;
    Change change;
    bool written;
};

const Scenario kScenarios[] = {
    {"UnchangedIsWritten", true, Change::kNone, true},
    {"RewrittenInPlaceIsRefused", true, Change::kSameSizeAndTime, false},
    {"GrownIsRefused", true, Change::kGrown, false},
    {"GrownIsWrittenWithoutDetection", false, Change::kGrown, true},
};

void PrintTo(const Scenario& scenario, std::ostream* out)
{
    *out << scenario.name;
}

// Does `change` to the file at `path`, which holds `content`; gives what it
// holds afterwards.
std::string ChangeFile(const std::string& path, std::string content, Change change)
{
    if (change == Change::kNone)
        return content;
    const fs::file_time_type time = fs::last_write_time(path);
    if (change == Change::kSameSizeAndTime)
        content.replace(content.find("rev 1"), 5, "rev 2");
    else
        content += "; another writer was here\n";
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    if (change == Change::kSameSizeAndTime)
        fs::last_write_time(path, time);
    return content;
}

class Conflicts : public ::testing::Test {
protected:
    void TearDown() override
    {
        TolvikSetOptions(0);
        if (handle)
            IntpCloseRead(&handle);
    }

    // Reads `kind` from `path` and edits its cell.
    void ReadAndEdit(const Kind& kind, const std::string& path)
    {
        std::strcpy(err, kind.flags);
        ASSERT_NE(kind.read(path.c_str(), &handle, &rows, &cols, err), 0) << err;
        uint16_t row = kind.row, col = kind.col;
        ASSERT_EQ(IntpSetAttrValue(&handle, &row, &col, const_cast<char*>(kEdit)), -1);
    }
    int32_t Close(const Kind& kind, const std::string& path)
    {
        std::strcpy(err, kind.flags);
        return kind.close(path.c_str(), &handle, err);
    }

    // The current directory too, so that a temporary file would show here.
    TempFolder folder{TempFolder::kCurrent};
    uint32_t handle = 0;
    uint16_t rows = 0;
    uint16_t cols = 0;
    char err[4096] = "";
};

class ConflictDetection : public Conflicts,
                          public ::testing::WithParamInterface<std::tuple<Kind, Scenario>> {};

TEST_P(ConflictDetection, ACloseWritesOnlyOverTheFileItsTableWasReadFrom)
{
    const auto& [kind, scenario] = GetParam();
    ASSERT_EQ(TolvikSetOptions(scenario.detect ? TOLVIK_OPTION_DETECT_CONFLICTS : 0u), -1);
    // An unknown bit is refused and leaves the options as they were.
    EXPECT_EQ(TolvikSetOptions(2u | TOLVIK_OPTION_DETECT_CONFLICTS), 0);

    const std::string path = folder.Write(kind.file, kind.content);
    ReadAndEdit(kind, path);
    const std::string now = ChangeFile(path, kind.content, scenario.change);
    const uint32_t token = handle;
    const int32_t result = Close(kind, path);

    EXPECT_EQ(handle, 0u);
    uint32_t stale = token;
    EXPECT_EQ(IntpCloseRead(&stale), 0);  // consumed, written or not
    if (scenario.written) {
        EXPECT_EQ(result, -1) << err;
        EXPECT_EQ(std::string(err), Record("0|||||"));
        EXPECT_NE(folder.Read(kind.file).find(kEdit), std::string::npos) << folder.Read(kind.file);
    } else {
        EXPECT_EQ(result, 0);
        EXPECT_EQ(std::string(err), Record("3|" + path + "||||"));
        EXPECT_EQ(folder.Read(kind.file), now);
        // No temporary file and no backup.
        EXPECT_EQ(folder.Files(), std::vector<std::string>{kind.file});
    }
}

INSTANTIATE_TEST_SUITE_P(ProfileModelHeader, ConflictDetection,
                         ::testing::Combine(::testing::ValuesIn(kKinds),
                                            ::testing::ValuesIn(kScenarios)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) + "_" +
                                    std::get<1>(info.param).name;
                         });

TEST_F(Conflicts, TablesNotReadFromTheFileAreWritten)
{
    const Kind& model = kKinds[1];
    ASSERT_EQ(TolvikSetOptions(TOLVIK_OPTION_DETECT_CONFLICTS), -1);
    const std::string target = folder.Write("TARGET.MDL", model.content);
    const std::string other = folder.Write("OTHER.MDL", model.content);
    ChangeFile(target, model.content, Change::kGrown);

    // A table of the host's own.
    uint16_t newRows = 1, newCols = 4;
    ASSERT_EQ(IntpOpenWrite(&handle, &newRows, &newCols), -1);
    uint16_t row = 0, col = 0;
    ASSERT_EQ(IntpSetAttrValue(&handle, &row, &col, const_cast<char*>("NEW.tse")), -1);
    col = 1;
    ASSERT_EQ(IntpSetAttrValue(&handle, &row, &col, const_cast<char*>("1")), -1);
    EXPECT_EQ(IntpCloseWriteMDLFile(target.c_str(), &handle, err), -1) << err;
    EXPECT_NE(folder.Read("TARGET.MDL").find("NEW.tse"), std::string::npos);

    // A table read from another file, which changed since.
    ReadAndEdit(model, other);
    ChangeFile(other, model.content, Change::kGrown);
    EXPECT_EQ(Close(model, target), -1) << err;
    EXPECT_NE(folder.Read("TARGET.MDL").find(kEdit), std::string::npos);
}

}  // namespace
