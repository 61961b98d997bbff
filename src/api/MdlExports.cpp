// The model-file exports: read a model file into a four-column table, update
// the file from an edited table, or write a new one from a table alone.
#include "../model/MdlFileParser.h"
#include "ExportFrame.h"
#include "tolvik32.h"

using namespace tolvik;

namespace {

std::unique_ptr<CSourceParser> MakeMdlParser(const std::string& file, int mode)
{
    return std::make_unique<CMdlFileParser>(file, mode);
}

}  // namespace

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadMDLFile(const char* file, uint32_t* handle,
                                                   uint16_t* rows, uint16_t* cols, char* err)
{
    return OpenFrame(file, handle, rows, cols, err, MakeMdlParser);
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseUpdateMDLFile(const char* file, uint32_t* handle, char* err)
{
    return CloseFrame(file, handle, err, kUpdate, MakeMdlParser);
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteMDLFile(const char* file, uint32_t* handle, char* err)
{
    return CloseFrame(file, handle, err, kWrite, MakeMdlParser);
}

}  // extern "C"
