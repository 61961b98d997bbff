// Embedded files are found by searching a file's bytes instead of reading it
// line by line. Both ways must leave the same file and report the same
// failure, wherever lines, line pieces (1022 characters) and read blocks
// (64 KiB) begin and end.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <tuple>

#include "TestSupport.h"
#include "textfile/Platform.h"
#include "tolvik32.h"

namespace {

using namespace tolvik;

// The native platform, except that its OEM code page turns 0xFF into the
// letter 'E': a byte search could then miss a marker, so it is not used and
// every line is read one by one. No generated file holds 0xFF.
class LineByLinePlatform : public Platform {
public:
    bool Exists(const std::string& n) override { return native_.Exists(n); }
    bool Stat(const std::string& n, FileStat& s) override { return native_.Stat(n, s); }
    std::unique_ptr<PlatformFile> Open(const std::string& n, FileAccess a) override
    {
        return native_.Open(n, a);
    }
    std::unique_ptr<PlatformFile> Create(const std::string& n) override
    {
        return native_.Create(n);
    }
    std::unique_ptr<PlatformFile> CreateTemp(const std::string& d, const std::string& p,
                                             std::string& n) override
    {
        return native_.CreateTemp(d, p, n);
    }
    bool Rename(const std::string& f, const std::string& t) override
    {
        return native_.Rename(f, t);
    }
    bool HardLink(const std::string& e, const std::string& l) override
    {
        return native_.HardLink(e, l);
    }
    bool Remove(const std::string& n) override { return native_.Remove(n); }
    void CopyPermissions(const std::string& m, const std::string& t) override
    {
        native_.CopyPermissions(m, t);
    }
    void OemToAnsi(std::string& text) override
    {
        for (char& c : text)
            if (c == '\xff')
                c = 'E';
    }
    void AnsiToOem(std::string&) override {}
    void ShowMessage(const char* t, const char* c, std::uint32_t s) override
    {
        native_.ShowMessage(t, c, s);
    }

private:
    Platform& native_ = NativePlatform();
};

// Program lines with markers, any-case markers, markers after text or split
// over a line piece, end-of-text bytes, lone CRs and CR LF, long lines; from
// a few hundred bytes to well past one read block.
std::string GeneratedFile(unsigned seed)
{
    std::mt19937 random(seed);
    const auto pick = [&](unsigned n) { return static_cast<unsigned>(random() % n); };
    const unsigned lines = seed % 3 == 0 ? 2600 : 20 + pick(60);
    const std::string end = seed % 4 == 1 ? "\r\n" : "\n";
    std::string text;
    for (unsigned i = 0; i < lines; ++i) {
        switch (pick(40)) {
            case 0:
                text += "; EmbeddPoint Stubs" + end;
                break;
            case 1:
                text += "x = 1 ; embeddpoint STUBS" + end;
                break;
            case 2:
                text += "; EmbeddedFileStart  \"Locals\"" + end + "  R A = 1" + end;
                if (pick(3) != 0)
                    text += "; EmbeddedFileEnd  \"Locals\"" + end;
                break;
            case 3:
                // The marker word split by the end of a line piece.
                text += std::string(1022 - 6 - pick(3), '-') + "; EmbeddPoint Stubs" + end;
                break;
            case 4:
                text += std::string(900 + pick(300), '=') + end;
                break;
            case 5:
                if (pick(4) == 0)
                    text += "\x1a tail ; EmbeddPoint Stubs" + end;
                break;
            case 6:
                text += "  lone\rCR ; EmbeddPoint Stubs" + end;
                break;
            default:
                text += "  IF LEVEL_" + std::to_string(i) + " < LOW THEN START_PUMP" + end;
                break;
        }
    }
    if (pick(2) == 0)
        text += "; EmbeddPoint Stubs";  // a last line without a line end
    return text;
}

struct Result {
    int32_t value;
    std::string record;
    std::string file;
    bool operator==(const Result&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Result& r)
{
    return out << r.value << " [" << r.record << "] " << r.file.size() << " bytes";
}

enum class Call { kInsert, kReplace, kRemove };

// The call on `text` in the folder `dir`, whose record names the same file
// each time.
Result CallOn(const test::TempDir& dir, Call call, const std::string& text)
{
    const std::string file = dir.Write("TASK.tse", text);
    char err[4096] = "0";
    int32_t value = 0;
    if (call == Call::kRemove) {
        value = IntpRemoveEmbeddedFile(file.c_str(), "Locals", err);
    } else {
        std::strcpy(err, call == Call::kReplace ? "2" : "0");
        value = IntpInsertEmbeddedFile(file.c_str(), "Stubs", "Locals", "  R B = 2\r\n", err);
    }
    return {value, err, dir.Read("TASK.tse")};
}

class ByteSearch : public ::testing::TestWithParam<std::tuple<Call, unsigned>> {};

TEST_P(ByteSearch, FindsWhatLineByLineReadingFinds)
{
    const auto [call, seed] = GetParam();
    const std::string text = GeneratedFile(seed);
    const test::TempDir dir;
    const Result searched = CallOn(dir, call, text);
    LineByLinePlatform lineByLine;
    Platform* previous = SetPlatform(&lineByLine);
    const Result read = CallOn(dir, call, text);
    SetPlatform(previous);
    EXPECT_EQ(searched, read) << "seed " << seed;
}

INSTANTIATE_TEST_SUITE_P(Files, ByteSearch,
                         ::testing::Combine(::testing::Values(Call::kInsert, Call::kReplace,
                                                              Call::kRemove),
                                            ::testing::Range(0u, 24u)));

}  // namespace
