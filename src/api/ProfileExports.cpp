// The profile-file exports. The read takes a request table through the handle
// and hands the result table back through the same handle; its result is the
// length of the longest cell + 1, the buffer size a host needs to fetch any
// cell. The flags word comes in through the error buffer.
#include "../profiles/ProfileFileParser.h"
#include "Frame.h"
#include "tolvik32.h"

using namespace tolvik;

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadProfileFile(const char* file, uint32_t* handle,
                                                       uint16_t* rows, uint16_t* cols, char* err)
{
    const long flags = NumberInBuffer(err);
    return RequestExport(
        {file, err, handle, rows, cols}, [flags](const std::string& name, auto& request) {
            if (!request) {
                // Selection needs the host's request table; a listing without
                // one lists every section and parameter.
                if ((flags & kProfileListing) == 0) {
                    Outcome refused;
                    refused.diagnostic.code = ResultCode::kNoRequest;
                    return refused;
                }
                request = CProfileFileParser::DefaultRequest();
            }
            if (name.size() > kMaxFileName)
                return NotOpened(name);
            CProfileFileParser handler(name, false, kRead, flags);
            Outcome read = RunHandler(handler, request, name);
            read.table = std::move(request);
            constexpr std::size_t kLargest = 0x7FFFFFFE;
            const std::size_t longest = handler.LongestCell();
            read.value = static_cast<std::int32_t>((longest < kLargest ? longest : kLargest) + 1);
            return read;
        });
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteProfileFile(const char* file, uint32_t* handle,
                                                         char* err)
{
    const long flags = NumberInBuffer(err);
    return CloseExport({file, err, handle}, [flags](const std::string& name, auto& table) {
        return RunHandler(
            [flags](const std::string& source, int mode) -> std::unique_ptr<CSourceParser> {
                return std::make_unique<CProfileFileParser>(source, false, mode, flags);
            },
            name, kWrite, table);
    });
}

}  // extern "C"
