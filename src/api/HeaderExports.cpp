// The program-header exports: the declaration at the top of a program module,
// or the header bytes of a compiled module, as one row of 15 cells.
#include "../model/ProgramHeaderParser.h"
#include "ExportFrame.h"
#include "tolvik32.h"

using namespace tolvik;

namespace {

std::unique_ptr<CSourceParser> MakeHeaderParser(const std::string& file, int mode)
{
    // ".TSC", ".DPC" and ".TXC" are compiled modules.
    return std::make_unique<CProgramHeaderParser>(file, false, mode, CompiledKindOf(file) != 0);
}

// A header of the wrong kind of module is reported as "5".
constexpr FrameOptions kHeaderFrame{.wrongKindCode = true};

}  // namespace

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadVORLHead(const char* file, uint32_t* handle,
                                                    uint16_t* rows, uint16_t* cols, char* err)
{
    return OpenFrame(file, handle, rows, cols, err, MakeHeaderParser, kHeaderFrame);
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseUpdateVORLHead(const char* file, uint32_t* handle,
                                                       char* err)
{
    return CloseFrame(file, handle, err, kUpdate, MakeHeaderParser, kHeaderFrame);
}

}  // extern "C"
