// Whatever a host passes, an export's error record ends within 4096 bytes
// (its NUL included) and nothing past it in the host's buffer changes.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "CapiSupport.h"
#include "tolvik32.h"

namespace tolvik::test {
namespace {

constexpr std::size_t kBound = 4096;
constexpr unsigned char kCanary = 0xCC;

using Call = std::function<std::int32_t(const char* file, const char* text, char* err)>;

std::uint32_t NewTable()
{
    std::uint32_t handle = 0;
    std::uint16_t rows = 1, cols = 15;
    IntpOpenWrite(&handle, &rows, &cols);
    return handle;
}

char* Mutable(const char* text)
{
    return const_cast<char*>(text);
}

// The shapes the exports come in.
using OpenFn = std::int32_t(TOLVIK_CALL*)(const char*, std::uint32_t*, std::uint16_t*,
                                          std::uint16_t*, char*);
using CloseFn = std::int32_t(TOLVIK_CALL*)(const char*, std::uint32_t*, char*);
using StubOpenFn = std::int32_t(TOLVIK_CALL*)(const char*, std::uint32_t*, std::uint16_t*,
                                              std::uint16_t*, const char*, char*);
using StubCloseFn = std::int32_t(TOLVIK_CALL*)(const char*, std::uint32_t*, const char*, char*);
using SectionOpenFn = std::int32_t(TOLVIK_CALL*)(char*, std::uint32_t*, std::uint16_t*,
                                                 std::uint16_t*, char*, char*, char*);
using SectionCloseFn = std::int32_t(TOLVIK_CALL*)(char*, std::uint32_t*, char*, char*, char*);
using DeclFn = std::int32_t(TOLVIK_CALL*)(const char*, const char*, const char*, char*);

Call Of(OpenFn f)
{
    return [f](const char* file, const char*, char* err) {
        std::uint32_t h = 0;
        std::uint16_t r, c;
        return f(file, &h, &r, &c, err);
    };
}
Call Of(CloseFn f)
{
    return [f](const char* file, const char*, char* err) {
        std::uint32_t h = NewTable();
        return f(file, &h, err);
    };
}
Call Of(StubOpenFn f)
{
    return [f](const char* file, const char* text, char* err) {
        std::uint32_t h = 0;
        std::uint16_t r, c;
        return f(file, &h, &r, &c, text, err);
    };
}
Call Of(StubCloseFn f)
{
    return [f](const char* file, const char* text, char* err) {
        std::uint32_t h = NewTable();
        return f(file, &h, text, err);
    };
}
Call Of(SectionOpenFn f)
{
    return [f](const char* file, const char* text, char* err) {
        std::uint32_t h = 0;
        std::uint16_t r, c;
        return f(Mutable(file), &h, &r, &c, Mutable(text), Mutable(text), err);
    };
}
Call Of(SectionCloseFn f)
{
    return [f](const char* file, const char* text, char* err) {
        std::uint32_t h = NewTable();
        return f(Mutable(file), &h, Mutable(text), Mutable(text), err);
    };
}
Call Of(DeclFn f)
{
    return [f](const char* file, const char* text, char* err) { return f(file, text, text, err); };
}

struct Export {
    const char* name;
    // Calls the export with `file`, `text` for its other names, and `err`.
    Call call;
};

#define TOLVIK_EXPORT_CASE(name) \
    Export                       \
    {                            \
#name, Of(name)          \
    }

const std::vector<Export>& Exports()
{
    static const std::vector<Export> exports = {
        TOLVIK_EXPORT_CASE(IntpOpenReadMDLFile),
        TOLVIK_EXPORT_CASE(IntpCloseUpdateMDLFile),
        TOLVIK_EXPORT_CASE(IntpCloseWriteMDLFile),
        TOLVIK_EXPORT_CASE(IntpOpenReadVORLHead),
        TOLVIK_EXPORT_CASE(IntpCloseUpdateVORLHead),
        TOLVIK_EXPORT_CASE(IntpOpenReadBPACValues),
        TOLVIK_EXPORT_CASE(IntpCloseUpdateBPACValues),
        TOLVIK_EXPORT_CASE(IntpOpenReadTextStrings),
        TOLVIK_EXPORT_CASE(IntpCloseWriteTextStrings),
        TOLVIK_EXPORT_CASE(IntpOpenReadVpacVariables),
        TOLVIK_EXPORT_CASE(IntpCloseWriteVpacVariables),
        TOLVIK_EXPORT_CASE(IntpOpenReadTaskStub),
        TOLVIK_EXPORT_CASE(IntpCloseUpdateTaskStub),
        TOLVIK_EXPORT_CASE(IntpOpenReadVpacStub),
        TOLVIK_EXPORT_CASE(IntpCloseWriteVpacStub),
        TOLVIK_EXPORT_CASE(IntpOpenReadTextStub),
        TOLVIK_EXPORT_CASE(IntpCloseWriteTextStub),
        TOLVIK_EXPORT_CASE(IntpInsertDecl),
        TOLVIK_EXPORT_CASE(IntpRemoveDecl),
        TOLVIK_EXPORT_CASE(IntpCloseWriteProfileFile),
        {"IntpInsertEmbeddedFile", [](const char* f, const char* t,
                                      char* e) { return IntpInsertEmbeddedFile(f, t, t, t, e); }},
        {"IntpOpenReadEmbeddedFile",
         [](const char* f, const char* t, char* e) {
             std::uint32_t h = 0;
             return IntpOpenReadEmbeddedFile(f, &h, t, e);
         }},
        {"IntpRemoveEmbeddedFile",
         [](const char* f, const char* t, char* e) { return IntpRemoveEmbeddedFile(f, t, e); }},
        {"IntpOpenReadProfileFile",
         [](const char* f, const char*, char* e) {
             std::uint32_t h = 0;
             std::uint16_t r, c;
             std::strcpy(e, "1024");  // a listing: no request table needed
             return IntpOpenReadProfileFile(f, &h, &r, &c, e);
         }},
    };
    return exports;
}

class RecordBound : public ::testing::TestWithParam<Export> {};

TEST_P(RecordBound, LongNamesNeverWritePastTheBound)
{
    TempFolder dir;
    // A file that exists (so that stubs, declarations and sections are looked
    // for in it and fail with long messages) and one whose name is too long.
    const std::string existing =
        dir.Write("TASK.tse", "{ TASK\n  Name = T\n}\n; EmbeddPoint P\n{Strings\n}\n");
    const std::string longFile = dir.Path(std::string(5000, 'f') + ".tse");
    const std::string longText(5000, 't');
    for (const std::string& file : {existing, longFile}) {
        std::vector<char> buffer(3 * kBound, static_cast<char>(kCanary));
        buffer[0] = '0';
        buffer[1] = '\0';
        GetParam().call(file.c_str(), longText.c_str(), buffer.data());
        const char* end = static_cast<const char*>(std::memchr(buffer.data(), '\0', kBound));
        if (end == nullptr) {
            ADD_FAILURE() << GetParam().name << ": no NUL within " << kBound << " bytes";
            continue;
        }
        // The embedded read leaves the buffer as it was on success.
        for (std::size_t i = static_cast<std::size_t>(end - buffer.data()) + 1; i < buffer.size();
             ++i) {
            if (static_cast<unsigned char>(buffer[i]) != kCanary) {
                ADD_FAILURE() << GetParam().name << " wrote byte " << i;
                break;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryExport, RecordBound, ::testing::ValuesIn(Exports()),
                         [](const ::testing::TestParamInfo<Export>& info) {
                             return std::string(info.param.name);
                         });

}  // namespace
}  // namespace tolvik::test
