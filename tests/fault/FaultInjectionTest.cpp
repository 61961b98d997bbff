// Every platform call and every allocation that representative export calls
// make is made to fail in turn, one at a time, until the call gets through
// without meeting its failure. After each failure the call must have failed
// cleanly (result 0, a known code naming the file) or succeeded with exactly
// the file a clean run writes; the source and its backup are as they were, no
// temporary file is left, and the handle is gone or kept as that export
// leaves it on failure. The same platform seam lets another writer get in at
// the worst moment of a close that detects conflicts.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "../capi/CapiSupport.h"
#include "textfile/Platform.h"
#include "tolvik32.h"

namespace {

// Allocations left before the one that fails; 0 when none is to fail.
long g_allocationsLeft = 0;
bool g_allocationFailed = false;

}  // namespace

void* operator new(std::size_t size)
{
    if (g_allocationsLeft > 0 && --g_allocationsLeft == 0) {
        g_allocationFailed = true;
        throw std::bad_alloc();
    }
    if (void* p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}

void operator delete(void* p) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}

namespace tolvik::test {
namespace {

// The native platform, with the Nth counted call failing.
class FailingPlatform : public Platform {
public:
    long callsLeft = 0;      // 0: no call fails
    std::string failedCall;  // what failed, once something did

    bool Exists(const std::string& n) override { return native_.Exists(n); }
    bool Stat(const std::string& n, FileStat& s) override
    {
        return !Fails("stat") && native_.Stat(n, s);
    }
    std::unique_ptr<PlatformFile> Open(const std::string& n, FileAccess a) override
    {
        return Fails("open") ? nullptr : Wrap(native_.Open(n, a));
    }
    std::unique_ptr<PlatformFile> Create(const std::string& n) override
    {
        return Fails("create") ? nullptr : Wrap(native_.Create(n));
    }
    std::unique_ptr<PlatformFile> CreateTemp(const std::string& d, const std::string& p,
                                             std::string& n) override
    {
        return Fails("temporary file") ? nullptr : Wrap(native_.CreateTemp(d, p, n));
    }
    bool Rename(const std::string& f, const std::string& t) override
    {
        return !Fails("rename") && native_.Rename(f, t);
    }
    bool HardLink(const std::string& e, const std::string& l) override
    {
        return !Fails("link") && native_.HardLink(e, l);
    }
    bool Remove(const std::string& n) override { return !Fails("remove") && native_.Remove(n); }
    void CopyPermissions(const std::string& m, const std::string& t) override
    {
        native_.CopyPermissions(m, t);
    }
    void OemToAnsi(std::string& t) override { native_.OemToAnsi(t); }
    void AnsiToOem(std::string& t) override { native_.AnsiToOem(t); }
    void ShowMessage(const char* t, const char* c, std::uint32_t s) override
    {
        native_.ShowMessage(t, c, s);
    }

    bool Fails(const char* what)
    {
        if (callsLeft > 0 && --callsLeft == 0) {
            failedCall = what;
            return true;
        }
        return false;
    }

private:
    class File : public PlatformFile {
    public:
        File(FailingPlatform& owner, std::unique_ptr<PlatformFile> file)
            : owner_(owner), file_(std::move(file))
        {
        }
        std::ptrdiff_t Read(void* b, std::size_t s) override
        {
            return owner_.Fails("read") ? -1 : file_->Read(b, s);
        }
        bool Write(const void* d, std::size_t s) override
        {
            return !owner_.Fails("write") && file_->Write(d, s);
        }
        bool Seek(std::uint64_t o) override { return !owner_.Fails("seek") && file_->Seek(o); }
        bool Sync() override { return !owner_.Fails("sync") && file_->Sync(); }

    private:
        FailingPlatform& owner_;
        std::unique_ptr<PlatformFile> file_;
    };

    std::unique_ptr<PlatformFile> Wrap(std::unique_ptr<PlatformFile> file)
    {
        if (!file)
            return nullptr;
        return std::make_unique<File>(*this, std::move(file));
    }

    Platform& native_ = NativePlatform();
};

enum class Fault { kPlatform, kAllocation };
// What an export does with the host's handle.
enum class Handle { kNone, kOpened, kConsumed };

struct Case {
    const char* name;
    const char* file;  // from the example project
    Handle handle;
    // Makes the table the call consumes (faults off); 0 for none.
    std::function<std::uint32_t(const std::string& path)> prepare;
    std::function<std::int32_t(const std::string& path, std::uint32_t& handle, char* err)> call;
};

std::string Example(const std::string& name)
{
    return ReadBytes(fs::path(TOLVIK_EXAMPLES) / name);
}

// A table read with `read` and one cell set.
template <class Read>
std::uint32_t Edited(Read read, std::uint16_t row, std::uint16_t col, const char* value)
{
    std::uint32_t handle = 0;
    std::uint16_t rows = 0, cols = 0;
    char err[4096] = "1024";
    read(&handle, &rows, &cols, err);
    if (handle != 0 && value)
        IntpSetAttrValue(&handle, &row, &col, const_cast<char*>(value));
    return handle;
}

char* Text(const char* text)
{
    return const_cast<char*>(text);
}

using OpenFn = std::int32_t(TOLVIK_CALL*)(const char*, std::uint32_t*, std::uint16_t*,
                                          std::uint16_t*, char*);
using CloseFn = std::int32_t(TOLVIK_CALL*)(const char*, std::uint32_t*, char*);

// A read of the whole file by `open`, as a call and as the table a close takes.
auto Reading(OpenFn open)
{
    return [open](const std::string& f, std::uint32_t& h, char* err) {
        std::uint16_t r, c;
        std::strcpy(err, "1024");  // a profile read lists the file
        return open(f.c_str(), &h, &r, &c, err);
    };
}
auto EditedBy(OpenFn open, std::uint16_t row, std::uint16_t col, const char* value)
{
    return [=](const std::string& f) {
        return Edited([&](auto... a) { return open(f.c_str(), a...); }, row, col, value);
    };
}
auto Closing(CloseFn close)
{
    return [close](const std::string& f, std::uint32_t& h, char* err) {
        std::strcpy(err, "1024");  // a profile write of a listing
        return close(f.c_str(), &h, err);
    };
}
// A section of a file read or written whole (empty region names).
template <class Open>
auto SectionEditedBy(Open open, std::uint16_t row, std::uint16_t col, const char* value)
{
    return [=](const std::string& f) {
        return Edited(
            [&](auto h, auto r, auto c, char* err) {
                return open(Text(f.c_str()), h, r, c, Text(""), Text(""), err);
            },
            row, col, value);
    };
}
template <class Close>
auto SectionClosing(Close close)
{
    return [close](const std::string& f, std::uint32_t& h, char* err) {
        return close(Text(f.c_str()), &h, Text(""), Text(""), err);
    };
}
// The stub `stub`, read or edited and written back by `close`.
template <class Open>
auto StubEditedBy(Open open, const char* stub, std::uint16_t row, std::uint16_t col,
                  const char* value)
{
    return [=](const std::string& f) {
        return Edited(
            [&](auto h, auto r, auto c, char* err) { return open(f.c_str(), h, r, c, stub, err); },
            row, col, value);
    };
}
template <class Close>
auto StubClosing(Close close, const char* stub)
{
    return [=](const std::string& f, std::uint32_t& h, char* err) {
        return close(f.c_str(), &h, stub, err);
    };
}
// `call` with conflict detection on.
template <class Call>
auto Detecting(Call call)
{
    return [call](auto&&... a) {
        TolvikSetOptions(TOLVIK_OPTION_DETECT_CONFLICTS);
        const auto result = call(a...);
        TolvikSetOptions(0);
        return result;
    };
}

const std::vector<Case>& Cases()
{
    static const std::vector<Case> cases = {
        {"model read", "PLANT.MDL", Handle::kOpened, nullptr, Reading(IntpOpenReadMDLFile)},
        {"model update", "PLANT.MDL", Handle::kConsumed,
         EditedBy(IntpOpenReadMDLFile, 0, 3, "new comment"), Closing(IntpCloseUpdateMDLFile)},
        {"header update", "PUMP.tse", Handle::kConsumed, EditedBy(IntpOpenReadVORLHead, 0, 8, "7"),
         Closing(IntpCloseUpdateVORLHead)},
        {"values update", "RECIPE.dpe", Handle::kConsumed,
         EditedBy(IntpOpenReadBPACValues, 2, 1, "501"), Closing(IntpCloseUpdateBPACValues)},
        {"strings write", "MESSAGES.txe", Handle::kConsumed,
         SectionEditedBy(IntpOpenReadTextStrings, 0, 3, "Line is ready"),
         SectionClosing(IntpCloseWriteTextStrings)},
        {"variables write", "PLANTVAR.dpe", Handle::kConsumed,
         SectionEditedBy(IntpOpenReadVpacVariables, 1, 3, "250"),
         SectionClosing(IntpCloseWriteVpacVariables)},
        {"task stub read", "PUMP.tse", Handle::kOpened, nullptr,
         [](const std::string& f, std::uint32_t& h, char* err) {
             std::uint16_t r, c;
             return IntpOpenReadTaskStub(f.c_str(), &h, &r, &c, "PumpLocals", err);
         }},
        {"task stub update", "PUMP.tse", Handle::kConsumed,
         StubEditedBy(IntpOpenReadTaskStub, "PumpLocals", 0, 2, "5"),
         StubClosing(IntpCloseUpdateTaskStub, "PumpLocals")},
        {"text stub write", "PUMP.tse", Handle::kConsumed,
         StubEditedBy(IntpOpenReadTextStub, "PumpTexts", 0, 3, "Pump on"),
         StubClosing(IntpCloseWriteTextStub, "PumpTexts")},
        {"embedded replace", "PUMP.tse", Handle::kNone, nullptr,
         [](const std::string& f, std::uint32_t&, char* err) {
             std::strcpy(err, "2");
             return IntpInsertEmbeddedFile(f.c_str(), "Stubs", "PumpLocals", "R X = 1\r\n", err);
         }},
        {"embedded read", "PUMP.tse", Handle::kOpened, nullptr,
         [](const std::string& f, std::uint32_t& h, char* err) {
             return IntpOpenReadEmbeddedFile(f.c_str(), &h, "PumpTexts", err);
         }},
        {"embedded remove", "PUMP.tse", Handle::kNone, nullptr,
         [](const std::string& f, std::uint32_t&, char* err) {
             return IntpRemoveEmbeddedFile(f.c_str(), "PumpTexts", err);
         }},
        {"profile read", "PLANT.INI", Handle::kOpened, nullptr, Reading(IntpOpenReadProfileFile)},
        {"profile write", "PLANT.INI", Handle::kConsumed,
         EditedBy(IntpOpenReadProfileFile, 2, 2, "COM4"), Closing(IntpCloseWriteProfileFile)},
        {"profile write, conflicts detected", "PLANT.INI", Handle::kConsumed,
         Detecting(EditedBy(IntpOpenReadProfileFile, 2, 2, "COM4")),
         Detecting(Closing(IntpCloseWriteProfileFile))},
        {"declaration insert", "PLANTVAR.dpe", Handle::kNone, nullptr,
         [](const std::string& f, std::uint32_t&, char* err) {
             return IntpInsertDecl(f.c_str(), "Variables", "I SPARE = 1 ; new", err);
         }},
    };
    return cases;
}

class FaultInjection : public ::testing::TestWithParam<std::tuple<Case, Fault>> {};

constexpr char kOldBackup[] = "the backup before the call\n";

TEST_P(FaultInjection, EveryFailureLeavesTheFileAsItWasOrWritesItWhole)
{
    const Case& c = std::get<0>(GetParam());
    const Fault fault = std::get<1>(GetParam());
    TempFolder dir(TempFolder::kCurrent);
    const std::string original = Example(c.file);
    const std::string path = dir.Write(c.file, original);
    const std::string backupName = fs::path(c.file).replace_extension(".BAK").string();
    FailingPlatform platform;
    Platform* previous = SetPlatform(&platform);

    // A clean run: what a successful call leaves.
    auto reset = [&] {
        dir.Write(c.file, original);
        dir.Write(backupName, kOldBackup);
        return c.prepare ? c.prepare(path) : 0u;
    };
    char err[4096];
    std::uint32_t handle = reset();
    ASSERT_NE(c.call(path, handle, err), 0) << err;
    const std::string written = dir.Read(c.file);
    const bool writes = written != original;
    if (c.handle == Handle::kOpened)
        IntpCloseRead(&handle);

    long failures = 0;
    for (long n = 1;; ++n) {
        handle = reset();
        const std::uint32_t token = handle;
        platform.failedCall.clear();
        g_allocationFailed = false;
        if (fault == Fault::kPlatform)
            platform.callsLeft = n;
        else
            g_allocationsLeft = n;
        const std::int32_t result = c.call(path, handle, err);
        const bool failed =
            fault == Fault::kPlatform ? !platform.failedCall.empty() : g_allocationFailed;
        platform.callsLeft = 0;
        g_allocationsLeft = 0;
        if (!failed) {
            EXPECT_NE(result, 0) << "after " << n - 1 << " failures: " << err;
            break;
        }
        ++failures;
        SCOPED_TRACE(std::string(c.name) + ": failure " + std::to_string(n) + " " +
                     platform.failedCall);

        const std::string record(err);
        const std::string source = dir.Read(c.file);
        if (result == 0) {
            const char code = record.empty() ? '?' : record[0];
            EXPECT_TRUE(code == '2' || code == '3' || code == '4') << record;
            // It names the file, or the backup that could not be replaced.
            EXPECT_TRUE(record.find(path) != std::string::npos ||
                        record.find(dir.Path(backupName)) != std::string::npos)
                << record;
            EXPECT_EQ(source, original);
            EXPECT_EQ(dir.Read(backupName), kOldBackup);
        } else {
            EXPECT_EQ(source, written);
            if (writes && source == written) {
                EXPECT_EQ(dir.Read(backupName), original);
            }
        }
        // A temporary file stays only when removing it was what failed.
        if (platform.failedCall != "remove") {
            for (const std::string& name : dir.Files()) {
                EXPECT_NE(name.rfind("TVK", 0), 0u) << name;
            }
        }
        if (c.handle == Handle::kConsumed || result == 0) {
            EXPECT_EQ(handle, 0u);
        }
        if (c.handle == Handle::kConsumed) {
            std::uint32_t stale = token;
            EXPECT_EQ(IntpCloseRead(&stale), 0);  // released with the close
        }
        if (handle != 0)
            IntpCloseRead(&handle);
        if (::testing::Test::HasFailure())
            break;
    }
    SetPlatform(previous == &NativePlatform() ? nullptr : previous);
    // Every case meets at least one failure of each kind.
    EXPECT_GT(failures, 0);
    RecordProperty("failures", static_cast<int>(failures));
    std::printf("%s, %s: %ld failures\n", c.name,
                fault == Fault::kPlatform ? "platform calls" : "allocations", failures);
}

std::string CaseName(const ::testing::TestParamInfo<std::tuple<Case, Fault>>& info)
{
    std::string name = std::get<0>(info.param).name;
    for (char& ch : name)
        if (!std::isalnum(static_cast<unsigned char>(ch)))
            ch = '_';
    return name + (std::get<1>(info.param) == Fault::kPlatform ? "_platform" : "_allocation");
}

INSTANTIATE_TEST_SUITE_P(EveryHandler, FaultInjection,
                         ::testing::Combine(::testing::ValuesIn(Cases()),
                                            ::testing::Values(Fault::kPlatform,
                                                              Fault::kAllocation)),
                         CaseName);

// Lets another writer get in at the worst moments of a close.
class InterleavingPlatform : public FailingPlatform {
public:
    // Before the close's handler takes the file.
    std::function<void()> beforeUpdate;
    // Before the new file takes the file's name.
    std::function<void()> beforeRename;

    std::unique_ptr<PlatformFile> Open(const std::string& n, FileAccess a) override
    {
        if (a == FileAccess::ReadWrite && beforeUpdate)
            std::exchange(beforeUpdate, nullptr)();
        return FailingPlatform::Open(n, a);
    }
    bool Rename(const std::string& f, const std::string& t) override
    {
        if (beforeRename)
            std::exchange(beforeRename, nullptr)();
        return FailingPlatform::Rename(f, t);
    }
};

// A writer that gets in after the close found the file as its table was
// read, but before the close's handler holds the file: the handler looks
// again, and the close writes nothing.
TEST(ConflictDetection, AWriterBetweenTheCheckAndTheWriteIsCaught)
{
    TempFolder dir(TempFolder::kCurrent);
    const std::string original = Example("PLANT.INI");
    const std::string theirs = original + "[Valves]\nPort = \"COM9\"\n";
    const std::string path = dir.Write("PLANT.INI", original);
    ASSERT_EQ(TolvikSetOptions(TOLVIK_OPTION_DETECT_CONFLICTS), -1);
    std::uint32_t handle = Edited(
        [&](auto... a) { return IntpOpenReadProfileFile(path.c_str(), a...); }, 2, 2, "COM4");
    ASSERT_NE(handle, 0u);

    InterleavingPlatform platform;
    platform.beforeUpdate = [&] { dir.Write("PLANT.INI", theirs); };
    Platform* previous = SetPlatform(&platform);
    char err[4096] = "1024";
    const std::int32_t result = IntpCloseWriteProfileFile(path.c_str(), &handle, err);
    SetPlatform(previous == &NativePlatform() ? nullptr : previous);
    TolvikSetOptions(0);

    EXPECT_FALSE(platform.beforeUpdate);  // the close did take the file
    EXPECT_EQ(result, 0);
    EXPECT_EQ(std::string(err), Record("3|" + path + "||||"));
    EXPECT_EQ(dir.Read("PLANT.INI"), theirs);
    EXPECT_EQ(dir.Files(), std::vector<std::string>{"PLANT.INI"});
    EXPECT_EQ(handle, 0u);
}

// Where the platform allows it, a close holds the old file until the new one
// has its name: a writer that opens the old file then is kept out, instead of
// writing from the old text over the new file a moment later.
TEST(ConcurrentWriters, TheOldFileIsHeldUntilItIsReplaced)
{
    TempFolder dir(TempFolder::kCurrent);
    const std::string path = dir.Write("PLANT.INI", Example("PLANT.INI"));
    std::uint32_t handle = Edited(
        [&](auto... a) { return IntpOpenReadProfileFile(path.c_str(), a...); }, 2, 2, "COM4");
    ASSERT_NE(handle, 0u);

    InterleavingPlatform platform;
    bool otherWriterGotIn = false;
    platform.beforeRename = [&] {
        otherWriterGotIn = NativePlatform().Open(path, FileAccess::ReadWrite) != nullptr;
    };
    Platform* previous = SetPlatform(&platform);
    char err[4096] = "1024";
    const std::int32_t result = IntpCloseWriteProfileFile(path.c_str(), &handle, err);
    SetPlatform(previous == &NativePlatform() ? nullptr : previous);

    EXPECT_EQ(result, -1) << err;
    EXPECT_FALSE(platform.beforeRename);  // the close did replace the file
    EXPECT_EQ(otherWriterGotIn, !kReplacesOpenFiles);
}

}  // namespace
}  // namespace tolvik::test
