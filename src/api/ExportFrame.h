// The frame every file-kind export shares: copy the name, build the handler,
// check that the file could be opened, run it, turn the outcome into the error
// record, and create or consume the handle. Each export is a few lines on top.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "../textfile/SourceParser.h"
#include "AttributeList.h"

namespace tolvik {

// Builds the kind's handler for `file` in `mode` (1 read, 2 update, 3 write).
using HandlerFactory =
    std::function<std::unique_ptr<CSourceParser>(const std::string& file, int mode)>;

struct FrameOptions {
    // Program-header exports report a file of the wrong kind as "5".
    bool wrongKindCode = false;
};

// What running a handler gave.
struct HandlerOutcome {
    bool opened = false;  // the source could be opened as required
    bool ok = false;      // opened, and the run succeeded
    int status = 0;       // the handler's status (0, 1, 2 or 5)
    std::string message;  // the handler's message text
};

// The longest file name the exports accept; a longer one counts as missing.
inline constexpr std::size_t kMaxFileName = 1023;

// The file name as the exports use it ("" for a null pointer).
std::string CopyFileName(const char* file);

// Runs `handler` with `list` (the new table in read mode, the caller's table
// otherwise).
HandlerOutcome RunHandler(CSourceParser& handler, std::unique_ptr<CAttributeList>& list);

// Writes the record for an outcome: "0"; "3"/"4" + file when the file could not
// be opened; "3"/"5"/"2" + message when the run failed.
void WriteOutcomeRecord(char* err, const HandlerOutcome& outcome, const std::string& file,
                        FrameOptions options = {});

// IntpOpenRead<Kind>: -1 and a new handle on success, 0 otherwise.
std::int32_t OpenFrame(const char* file, std::uint32_t* handle, std::uint16_t* rows,
                       std::uint16_t* cols, char* err, const HandlerFactory& make,
                       FrameOptions options = {});

// IntpCloseUpdate<Kind> (mode 2) and IntpCloseWrite<Kind> (mode 3): a null
// handle is a success that touches nothing; otherwise the handle is consumed
// whatever the outcome.
std::int32_t CloseFrame(const char* file, std::uint32_t* handle, char* err, int mode,
                        const HandlerFactory& make, FrameOptions options = {});

}  // namespace tolvik
