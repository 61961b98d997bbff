// The model-file exports: read a model file into a four-column table, update
// the file from an edited table, or write a new one from a table alone.
#include "../model/MdlFileParser.h"
#include "Frame.h"
#include "tolvik32.h"

using namespace tolvik;

namespace {

std::unique_ptr<CSourceParser> MakeMdlParser(const std::string& file, int mode)
{
    return std::make_unique<CMdlFileParser>(file, mode);
}

std::int32_t CloseMdl(const char* file, uint32_t* handle, char* err, int mode)
{
    return CloseExport({file, err, handle}, [mode](const std::string& name, auto& table) {
        return RunHandler(MakeMdlParser, name, mode, table);
    });
}

}  // namespace

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadMDLFile(const char* file, uint32_t* handle,
                                                   uint16_t* rows, uint16_t* cols, char* err)
{
    return OpenExport({file, err, handle, rows, cols},
                      [](const std::string& name) { return ReadWith(MakeMdlParser, name); });
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseUpdateMDLFile(const char* file, uint32_t* handle, char* err)
{
    return CloseMdl(file, handle, err, kUpdate);
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteMDLFile(const char* file, uint32_t* handle, char* err)
{
    return CloseMdl(file, handle, err, kWrite);
}

}  // extern "C"
