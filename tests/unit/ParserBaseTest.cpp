#include "textfile/SourceParser.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include "TestHandler.h"
#include "TestSupport.h"
#include "textfile/Charset.h"
#include "textfile/Platform.h"

using namespace tolvik;
using namespace std::string_literals;
using tolvik::test::CWordListParser;
using tolvik::test::TempDir;

namespace {

// Reads `source` with the word-list handler.
std::unique_ptr<CAttributeList> ReadWords(const std::string& source, bool inMemory, bool* ok,
                                          std::string* message)
{
    CWordListParser parser(source, inMemory, kRead);
    std::unique_ptr<CAttributeList> list;
    *ok = RunParser(parser, list, *message);
    return list;
}

// Runs an update of `name` with a one-column table of `cells`.
bool UpdateWords(const std::string& name, const std::vector<std::string>& cells,
                 std::string* message = nullptr, int* status = nullptr)
{
    auto list = std::make_unique<CAttributeList>();
    list->columns = 1;
    for (const std::string& cell : cells)
        list->AddAttribute(cell);
    list->rows = static_cast<std::uint32_t>(cells.size());
    CWordListParser parser(name, false, kUpdate);
    std::string ignored;
    bool ok = RunParser(parser, list, message ? *message : ignored);
    if (status)
        *status = parser.status;
    return ok;
}

TEST(ParserBase, FailedRunReportsExpectationTokenAndLine)
{
    TempDir dir;
    const std::string name = dir.Write("bad.txt", "a\nb\nc\nd\ne\nf\nFAIL = x\n");
    bool ok = true;
    std::string message;
    auto list = ReadWords(name, false, &ok, &message);
    EXPECT_FALSE(ok);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(message, name +
                           "\x1aIDENTIFIER\x1a=\x1a"
                           "7\x1a");
}

TEST(ParserBase, InMemoryMessageStartsWithSeparatorOnly)
{
    bool ok = true;
    std::string message;
    ReadWords("x\nFAIL\n", true, &ok, &message);
    EXPECT_FALSE(ok);
    EXPECT_EQ(message,
              "\x1aIDENTIFIER\x1a\n\x1a"
              "3\x1a");
}

struct BackupCase {
    const char* name;
    const char* backup;
};
class BackupNames : public ::testing::TestWithParam<BackupCase> {};
TEST_P(BackupNames, ReplaceTheExtension)
{
    EXPECT_EQ(CSourceParser::BackupName(GetParam().name), GetParam().backup);
}
INSTANTIATE_TEST_SUITE_P(Cases, BackupNames,
                         ::testing::Values(BackupCase{"MAIN.SRC", "MAIN.BAK"},
                                           BackupCase{"MODEL", "MODEL.BAK"},
                                           BackupCase{"sub.d/MODEL", "sub.d/MODEL.BAK"},
                                           BackupCase{"C:\\p.q\\X.tse", "C:\\p.q\\X.BAK"},
                                           BackupCase{"a.b.c", "a.b.BAK"}));

TEST(ParserBase, FinishWithoutBackupLeavesNoBakFile)
{
    TempDir dir;
    const std::string name = dir.Write("M.MDL", "x\ny\n");
    CWordListParser parser(name, false, kUpdate);
    parser.keepBackup = false;
    auto list = std::make_unique<CAttributeList>();
    list->columns = 1;
    std::string message;
    EXPECT_TRUE(RunParser(parser, list, message));
    EXPECT_EQ(dir.Files(), std::vector<std::string>{"M.MDL"});
}

TEST(ParserBase, ExistingBackupIsReplaced)
{
    TempDir dir;
    const std::string name = dir.Write("M.MDL", "new\n");
    dir.Write("M.BAK", "very old\n");
    EXPECT_TRUE(UpdateWords(name, {"newer"}));
    EXPECT_EQ(dir.Read("M.MDL"), "newer\n");
    EXPECT_EQ(dir.Read("M.BAK"), "new\n");
}

TEST(ParserBase, FailedParseLeavesSourceAndBackupUntouched)
{
    TempDir dir;
    const std::string name = dir.Write("M.MDL", "a\nFAIL =\n");
    dir.Write("M.BAK", "backup\n");
    struct Failing : CWordListParser {
        using CWordListParser::CWordListParser;
        bool Run(std::unique_ptr<CAttributeList>& list, Diagnostic& text) override
        {
            BeginRun(list);
            ReportExpected("IDENTIFIER");
            ReportFailureLocation();
            Finish();
            return EndRun(list, text);
        }
    };
    Failing parser(name, false, kUpdate);
    auto list = std::make_unique<CAttributeList>();
    std::string message;
    EXPECT_FALSE(RunParser(parser, list, message));
    EXPECT_EQ(dir.Files(), (std::vector<std::string>{"M.BAK", "M.MDL"}));
    EXPECT_EQ(dir.Read("M.MDL"), "a\nFAIL =\n");
    EXPECT_EQ(dir.Read("M.BAK"), "backup\n");
}

// Holds a lock on `name` from a child process while `body` runs.
template <class Body>
void WithLockHeldByChild(const std::string& name, bool exclusive, Body body)
{
    int ready[2];
    int release[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(release), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int fd = open(name.c_str(), exclusive ? O_RDWR : O_RDONLY);
        struct flock lock = {};
        lock.l_type = exclusive ? F_WRLCK : F_RDLCK;
        lock.l_whence = SEEK_SET;
        int locked = fd >= 0 && fcntl(fd, F_OFD_SETLK, &lock) == 0;
        char c = locked ? 'y' : 'n';
        (void)!write(ready[1], &c, 1);
        (void)!read(release[0], &c, 1);
        _exit(0);
    }
    char c = 0;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    ASSERT_EQ(c, 'y');
    body();
    (void)!write(release[1], "x", 1);
    int status = 0;
    waitpid(child, &status, 0);
    for (int fd : {ready[0], ready[1], release[0], release[1]})
        close(fd);
}

TEST(Sharing, AFileLockedByAnotherProcessIsNotAccessible)
{
    TempDir dir;
    const std::string name = dir.Write("M.MDL", "x\n");
    WithLockHeldByChild(name, false, [&] {
        // Readers share; an update needs the file to itself.
        EXPECT_EQ(CWordListParser(name, false, kRead).status, kOpened);
        EXPECT_EQ(CWordListParser(name, false, kUpdate).status, kNoAccess);
    });
    WithLockHeldByChild(name, true,
                        [&] { EXPECT_EQ(CWordListParser(name, false, kRead).status, kNoAccess); });
    EXPECT_EQ(dir.Files(), std::vector<std::string>{"M.MDL"});
}

TEST(Sharing, ReadOnlyFileCannotBeUpdated)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "root may write any file";
    TempDir dir;
    const std::string name = dir.Write("R.MDL", "x\n");
    chmod(name.c_str(), 0444);
    EXPECT_EQ(CWordListParser(name, false, kRead).status, kOpened);
    EXPECT_EQ(CWordListParser(name, false, kUpdate).status, kNoAccess);
}

TEST(StringOps, WildcardsMatchAsTheTableSays)
{
    using Case = std::pair<const char*, std::string>;  // pattern, name
    for (const auto& [pattern, name] :
         {Case{"*", ""}, Case{"*", "[odd]"}, Case{"SEC*", "section1"}, Case{"s*n*1", "section1"},
          Case{"SEC+", "SECT"}, Case{"a?c", "abc"}, Case{"abc", "ABC"}, Case{"**", ""},
          Case{"\xe4*", "\xc4x"}})
        EXPECT_TRUE(WildcardMatches(pattern, name)) << pattern << " ~ " << name;
    for (const auto& [pattern, name] :
         {Case{"*1", "section12"}, Case{"+", ""}, Case{"SEC+", "SEC"}, Case{"+ION", "ION"},
          Case{"?", ""}, Case{"a?c", "ac"}, Case{"abc", "abcd"}, Case{"[abc]", "[abc]"},
          Case{"*[", "x["}, Case{"a*[", "a"}, Case{"*?*", ""}, Case{"", "a"},
          Case{"A*B*C", "AXXBXX"}, Case{"*a*a*a*a*a*a*a*b", std::string(200, 'a')}})
        EXPECT_FALSE(WildcardMatches(pattern, name)) << pattern << " ~ " << name;
}

TEST(StringOps, SharedHelpers)
{
    EXPECT_EQ(RemoveChars("a\"b'c\"", '"', '\''), "abc");
    EXPECT_EQ(ReplaceChars("a\tb\rc", ' ', '\t', '\r'), "a b c");
    EXPECT_EQ(ToCrLf("a\nb\n"), "a\r\nb\r\n");
    std::string kind;
    EXPECT_TRUE(CompiledKindOf("C:\\P\\MAIN.tsc", kind));
    EXPECT_EQ(kind, "7");
    EXPECT_EQ(CompiledKindOf("x.DpC"), 8);
    EXPECT_EQ(CompiledKindOf("x.TXC"), 9);
    EXPECT_EQ(CompiledKindOf("x.tse"), 0);
    EXPECT_EQ(CompiledKindOf("dir.TSC\\MAIN"), 0);
    EXPECT_FALSE(CompiledKindOf("noext", kind));
}

}  // namespace
