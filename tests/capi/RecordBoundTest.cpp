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

struct Export {
    const char* name;
    // Calls the export with `file`, `text` for its other names, and `err`.
    std::function<std::int32_t(const char* file, const char* text, char* err)> call;
};

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

const std::vector<Export>& Exports()
{
    static const std::vector<Export> exports = {
        {"IntpOpenReadMDLFile",
         [](const char* f, const char*, char* e) {
             std::uint32_t h = 0;
             std::uint16_t r, c;
             return IntpOpenReadMDLFile(f, &h, &r, &c, e);
         }},
        {"IntpCloseUpdateMDLFile",
         [](const char* f, const char*, char* e) {
             std::uint32_t h = NewTable();
             return IntpCloseUpdateMDLFile(f, &h, e);
         }},
        {"IntpCloseWriteMDLFile",
         [](const char* f, const char*, char* e) {
             std::uint32_t h = NewTable();
             return IntpCloseWriteMDLFile(f, &h, e);
         }},
        {"IntpOpenReadVORLHead",
         [](const char* f, const char*, char* e) {
             std::uint32_t h = 0;
             std::uint16_t r, c;
             return IntpOpenReadVORLHead(f, &h, &r, &c, e);
         }},
        {"IntpCloseUpdateVORLHead",
         [](const char* f, const char*, char* e) {
             std::uint32_t h = NewTable();
             return IntpCloseUpdateVORLHead(f, &h, e);
         }},
        {"IntpOpenReadBPACValues",
         [](const char* f, const char*, char* e) {
             std::uint32_t h = 0;
             std::uint16_t r, c;
             return IntpOpenReadBPACValues(f, &h, &r, &c, e);
         }},
        {"IntpCloseUpdateBPACValues",
         [](const char* f, const char*, char* e) {
             std::uint32_t h = NewTable();
             return IntpCloseUpdateBPACValues(f, &h, e);
         }},
        {"IntpOpenReadTextStrings",
         [](const char* f, const char* t, char* e) {
             std::uint32_t h = 0;
             std::uint16_t r, c;
             return IntpOpenReadTextStrings(Mutable(f), &h, &r, &c, Mutable(t), Mutable(t), e);
         }},
        {"IntpCloseWriteTextStrings",
         [](const char* f, const char* t, char* e) {
             std::uint32_t h = NewTable();
             return IntpCloseWriteTextStrings(Mutable(f), &h, Mutable(t), Mutable(t), e);
         }},
        {"IntpOpenReadVpacVariables",
         [](const char* f, const char* t, char* e) {
             std::uint32_t h = 0;
             std::uint16_t r, c;
             return IntpOpenReadVpacVariables(Mutable(f), &h, &r, &c, Mutable(t), Mutable(t), e);
         }},
        {"IntpCloseWriteVpacVariables",
         [](const char* f, const char* t, char* e) {
             std::uint32_t h = NewTable();
             return IntpCloseWriteVpacVariables(Mutable(f), &h, Mutable(t), Mutable(t), e);
         }},
        {"IntpOpenReadTaskStub",
         [](const char* f, const char* t, char* e) {
             std::uint32_t h = 0;
             std::uint16_t r, c;
             return IntpOpenReadTaskStub(f, &h, &r, &c, t, e);
         }},
        {"IntpCloseUpdateTaskStub",
         [](const char* f, const char* t, char* e) {
             std::uint32_t h = NewTable();
             return IntpCloseUpdateTaskStub(f, &h, t, e);
         }},
        {"IntpOpenReadVpacStub",
         [](const char* f, const char* t, char* e) {
             std::uint32_t h = 0;
             std::uint16_t r, c;
             return IntpOpenReadVpacStub(f, &h, &r, &c, t, e);
         }},
        {"IntpCloseWriteVpacStub",
         [](const char* f, const char* t, char* e) {
             std::uint32_t h = NewTable();
             return IntpCloseWriteVpacStub(f, &h, t, e);
         }},
        {"IntpOpenReadTextStub",
         [](const char* f, const char* t, char* e) {
             std::uint32_t h = 0;
             std::uint16_t r, c;
             return IntpOpenReadTextStub(f, &h, &r, &c, t, e);
         }},
        {"IntpCloseWriteTextStub",
         [](const char* f, const char* t, char* e) {
             std::uint32_t h = NewTable();
             return IntpCloseWriteTextStub(f, &h, t, e);
         }},
        {"IntpInsertDecl",
         [](const char* f, const char* t, char* e) { return IntpInsertDecl(f, t, t, e); }},
        {"IntpRemoveDecl",
         [](const char* f, const char* t, char* e) { return IntpRemoveDecl(f, t, t, e); }},
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
             std::strcpy(e, "1024");
             return IntpOpenReadProfileFile(f, &h, &r, &c, e);
         }},
        {"IntpCloseWriteProfileFile",
         [](const char* f, const char*, char* e) {
             std::uint32_t h = NewTable();
             return IntpCloseWriteProfileFile(f, &h, e);
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
