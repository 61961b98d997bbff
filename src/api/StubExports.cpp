// The stub exports: sections kept as embedded files of a task file.
#include "../sections/TaskStubParser.h"
#include "../sections/TextStringsParser.h"
#include "../sections/VpacVariablesParser.h"
#include "StubFrame.h"
#include "tolvik32.h"

namespace tolvik {
namespace {

StubKind TaskStub()
{
    return {"{ Code \n",
            {},
            {},
            [](const std::string& text, int mode) -> std::unique_ptr<CSourceParser> {
                return std::make_unique<CTaskStubParser>(text, true, "", "", mode);
            }};
}

// Text and VPAC stubs are written whole from the table; the stored text
// carries its own header line and is read as it stands.
StubKind TextStub()
{
    return {"{Strings\n", "Strings", "{Strings\n}",
            [](const std::string& text, int mode) -> std::unique_ptr<CSourceParser> {
                return std::make_unique<CTextStringsParser>(text, true, "", "", mode);
            }};
}

StubKind VpacStub()
{
    return {"{ Variables \n", "Variables", "{Variables\n}",
            [](const std::string& text, int mode) -> std::unique_ptr<CSourceParser> {
                return std::make_unique<CVpacVariablesParser>(text, true, "", "", mode);
            }};
}

}  // namespace
}  // namespace tolvik

using namespace tolvik;

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadTaskStub(const char* file, uint32_t* handle,
                                                    uint16_t* rows, uint16_t* cols,
                                                    const char* stub, char* err)
{
    return OpenStubFrame(file, handle, rows, cols, stub, err, TaskStub());
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseUpdateTaskStub(const char* file, uint32_t* handle,
                                                       const char* stub, char* err)
{
    return CloseStubFrame(file, handle, stub, err, kUpdate, TaskStub());
}

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadVpacStub(const char* file, uint32_t* handle,
                                                    uint16_t* rows, uint16_t* cols,
                                                    const char* stub, char* err)
{
    return OpenStubFrame(file, handle, rows, cols, stub, err, VpacStub());
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteVpacStub(const char* file, uint32_t* handle,
                                                      const char* stub, char* err)
{
    return CloseStubFrame(file, handle, stub, err, kWrite, VpacStub());
}

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadTextStub(const char* file, uint32_t* handle,
                                                    uint16_t* rows, uint16_t* cols,
                                                    const char* stub, char* err)
{
    return OpenStubFrame(file, handle, rows, cols, stub, err, TextStub());
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteTextStub(const char* file, uint32_t* handle,
                                                      const char* stub, char* err)
{
    return CloseStubFrame(file, handle, stub, err, kWrite, TextStub());
}

}  // extern "C"
