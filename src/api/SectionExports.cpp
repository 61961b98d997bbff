// The exports of the two section files: text strings and VPAC variables.
// Each reads or writes the region of the section that a start and an end name
// select. The open exports take one input from the error buffer before they
// write the record into it: a decimal number whose bit 0x80 says that `file`
// is the section's text itself rather than the name of a file.
#include "../sections/TextStringsParser.h"
#include "../sections/VpacVariablesParser.h"
#include "Frame.h"
#include "tolvik32.h"

using namespace tolvik;

namespace {

constexpr long kInMemoryFlag = 0x80;

template <class Parser>
std::int32_t OpenSection(const char* file, std::uint32_t* handle, std::uint16_t* rows,
                         std::uint16_t* cols, const char* startName, const char* endName, char* err)
{
    const bool inMemory = (NumberInBuffer(err) & kInMemoryFlag) != 0;
    // A text handed over in memory names no file, and may be longer than any
    // file name.
    const Call call{inMemory ? nullptr : file, err, handle, rows, cols};
    return OpenExport(call, [&](const std::string& name) {
        auto make = [&](const std::string& source, int mode) -> std::unique_ptr<CSourceParser> {
            return std::make_unique<Parser>(source, inMemory, TextOf(startName), TextOf(endName),
                                            mode);
        };
        if (!inMemory)
            return ReadWith(make, name);
        std::unique_ptr<CSourceParser> handler = make(TextOf(file), kRead);
        std::unique_ptr<CAttributeList> table;
        Outcome read = RunHandler(*handler, table, name);
        read.table = std::move(table);
        return read;
    });
}

template <class Parser>
std::int32_t WriteSection(const char* file, std::uint32_t* handle, const char* startName,
                          const char* endName, char* err)
{
    return CloseExport({file, err, handle}, [&](const std::string& name, auto& table) {
        auto make = [&](const std::string& source, int mode) -> std::unique_ptr<CSourceParser> {
            return std::make_unique<Parser>(source, false, TextOf(startName), TextOf(endName),
                                            mode);
        };
        return RunHandler(make, name, kWrite, table);
    });
}

}  // namespace

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadTextStrings(char* file, uint32_t* handle, uint16_t* rows,
                                                       uint16_t* cols, char* startName,
                                                       char* endName, char* err)
{
    return OpenSection<CTextStringsParser>(file, handle, rows, cols, startName, endName, err);
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteTextStrings(char* file, uint32_t* handle,
                                                         char* startName, char* endName, char* err)
{
    return WriteSection<CTextStringsParser>(file, handle, startName, endName, err);
}

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadVpacVariables(char* file, uint32_t* handle,
                                                         uint16_t* rows, uint16_t* cols,
                                                         char* startName, char* endName, char* err)
{
    return OpenSection<CVpacVariablesParser>(file, handle, rows, cols, startName, endName, err);
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteVpacVariables(char* file, uint32_t* handle,
                                                           char* startName, char* endName,
                                                           char* err)
{
    return WriteSection<CVpacVariablesParser>(file, handle, startName, endName, err);
}

}  // extern "C"
