// The exports of BPAC value files: read a "{ Values" block into a table, and
// write a table back as the file's values block.
#include <memory>

#include "../values/BpacValuesParser.h"
#include "ExportFrame.h"
#include "tolvik32.h"

using namespace tolvik;

namespace {

std::unique_ptr<CSourceParser> MakeValuesParser(const std::string& file, int mode)
{
    return std::make_unique<CBpacValuesParser>(file, mode);
}

}  // namespace

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadBPACValues(const char* file, uint32_t* handle,
                                                      uint16_t* rows, uint16_t* cols, char* err)
{
    return OpenFrame(file, handle, rows, cols, err, MakeValuesParser);
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseUpdateBPACValues(const char* file, uint32_t* handle,
                                                         char* err)
{
    return CloseFrame(file, handle, err, kUpdate, MakeValuesParser);
}

}  // extern "C"
