// The exports of the two section files: text strings and VPAC variables.
// Each reads or writes the region of the section that a start and an end name
// select. The open exports take one input from the error buffer before they
// write the record into it: a decimal number whose bit 0x80 says that `file`
// is the section's text itself rather than the name of a file.
#include <memory>
#include <string>

#include "../sections/TextStringsParser.h"
#include "../sections/VpacVariablesParser.h"
#include "ErrorRecord.h"
#include "ExportFrame.h"
#include "HandleTable.h"
#include "tolvik32.h"

using namespace tolvik;

namespace {

constexpr long kInMemoryFlag = 0x80;

std::string NameOrEmpty(const char* name)
{
    return name ? std::string(name) : std::string();
}

template <class Parser>
HandlerFactory SectionFactory(bool inMemory, const char* startName, const char* endName)
{
    return [inMemory, start = NameOrEmpty(startName), end = NameOrEmpty(endName)](
               const std::string& source, int mode) -> std::unique_ptr<CSourceParser> {
        return std::make_unique<Parser>(source, inMemory, start, end, mode);
    };
}

// The open frame for a text handed over in memory: there is no file to name,
// and the text may be longer than any file name.
std::int32_t OpenInMemory(const char* text, std::uint32_t* handle, std::uint16_t* rows,
                          std::uint16_t* cols, char* err, const HandlerFactory& make)
{
    std::unique_ptr<CAttributeList> list;
    std::unique_ptr<CSourceParser> handler = make(CopyFileName(text), kRead);
    const HandlerOutcome outcome = RunHandler(*handler, list);
    WriteOutcomeRecord(err, outcome, std::string());
    const bool ok = outcome.ok && list;
    if (rows)
        *rows = ok ? static_cast<std::uint16_t>(list->rows) : 0;
    if (cols)
        *cols = ok ? static_cast<std::uint16_t>(list->columns) : 0;
    if (handle)
        *handle = ok ? CreateHandle(std::move(list)) : 0;
    return ok ? -1 : 0;
}

template <class Parser>
std::int32_t OpenSection(const char* file, std::uint32_t* handle, std::uint16_t* rows,
                         std::uint16_t* cols, const char* startName, const char* endName, char* err)
{
    const bool inMemory = err && (NumberInBuffer(err) & kInMemoryFlag) != 0;
    const HandlerFactory make = SectionFactory<Parser>(inMemory, startName, endName);
    if (inMemory)
        return OpenInMemory(file, handle, rows, cols, err, make);
    return OpenFrame(file, handle, rows, cols, err, make);
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
    return CloseFrame(file, handle, err, kWrite,
                      SectionFactory<CTextStringsParser>(false, startName, endName));
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
    return CloseFrame(file, handle, err, kWrite,
                      SectionFactory<CVpacVariablesParser>(false, startName, endName));
}

}  // extern "C"
