// The exports of BPAC value files: read a "{ Values" block into a table, and
// write a table back as the file's values block.
#include "../values/BpacValuesParser.h"
#include "Frame.h"
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
    return OpenExport({file, err, handle, rows, cols},
                      [](const std::string& name) { return ReadWith(MakeValuesParser, name); });
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseUpdateBPACValues(const char* file, uint32_t* handle,
                                                         char* err)
{
    return CloseExport({file, err, handle}, [](const std::string& name, auto& table) {
        return RunHandler(MakeValuesParser, name, kUpdate, table);
    });
}

}  // extern "C"
