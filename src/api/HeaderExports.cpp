// The program-header exports: the declaration at the top of a program module,
// or the header bytes of a compiled module, as one row of 15 cells. A header
// of the wrong kind of module is reported as "5".
#include "../model/ProgramHeaderParser.h"
#include "Frame.h"
#include "tolvik32.h"

using namespace tolvik;

namespace {

std::unique_ptr<CSourceParser> MakeHeaderParser(const std::string& file, int mode)
{
    // ".TSC", ".DPC" and ".TXC" are compiled modules.
    return std::make_unique<CProgramHeaderParser>(file, false, mode, CompiledKindOf(file) != 0);
}

constexpr bool kWrongKindCode = true;

}  // namespace

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadVORLHead(const char* file, uint32_t* handle,
                                                    uint16_t* rows, uint16_t* cols, char* err)
{
    return OpenExport({file, err, handle, rows, cols}, [](const std::string& name) {
        return ReadWith(MakeHeaderParser, name, kWrongKindCode);
    });
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseUpdateVORLHead(const char* file, uint32_t* handle,
                                                       char* err)
{
    return CloseExport({file, err, handle}, [](const std::string& name, auto& table) {
        return RunHandler(MakeHeaderParser, name, kUpdate, table, kWrongKindCode);
    });
}

}  // extern "C"
