// The one frame every export runs in. It owns what all exports share:
//  - the barrier: no exception and no crash leaves an export; an internal
//    failure (memory exhausted, a limit of the platform) fails the call as an
//    access error would, with the file name, and the host goes on;
//  - the error record: built from the call's diagnostic only here, bounded to
//    4096 bytes with its NUL, and kept as the thread's last diagnostic for
//    hosts that want its parts;
//  - handles: taken, kept or released as each kind of export does;
//  - the overflow box: at most once per call;
//  - conflict detection, when the host asks for it: a read remembers the
//    state of its file with the table, and a close that writes the table back
//    into that file refuses when the file changed in between.
// An export names its handler and mode and leaves the rest to the frame.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "../core/AttributeList.h"
#include "../core/Diagnostic.h"
#include "../core/FunctionRef.h"
#include "../textfile/Platform.h"
#include "../textfile/SourceParser.h"

namespace tolvik {

// The boolean results of the exports.
inline constexpr std::int32_t kTrue = -1;
inline constexpr std::int32_t kFalse = 0;

// The longest file name the exports accept; a longer one counts as missing.
inline constexpr std::size_t kMaxFileName = 1023;

// The library's options (bits), process-wide. 0, the default, is the original
// behaviour.
inline constexpr std::uint32_t kDetectConflicts = 1;
inline constexpr std::uint32_t kKnownOptions = kDetectConflicts;
// Sets the options; false, and the options as they were, for an unknown bit.
bool SetOptions(std::uint32_t options);

// The host's arguments that the frame looks after.
struct Call {
    const char* file = nullptr;
    char* err = nullptr;
    std::uint32_t* handle = nullptr;
    std::uint16_t* rows = nullptr;
    std::uint16_t* cols = nullptr;
};

// What the body of an export gives the frame.
struct Outcome {
    // ResultCode::kOk for success; otherwise what the record says.
    Diagnostic diagnostic;
    // A read's new table.
    std::unique_ptr<CAttributeList> table;
    // What success returns (two reads return a length + 1).
    std::int32_t value = kTrue;
    // Success leaves the host's buffer as it was (an embedded-file read).
    bool silentSuccess = false;

    bool ok() const { return diagnostic.code == ResultCode::kOk; }
};

// A call that fails before any handler runs: the file could not be opened.
Outcome NotOpened(const std::string& file, ResultCode code = ResultCode::kMissing);

// Builds a kind's handler for `source` (a file name, or the text itself for a
// handler in memory) in `mode` (1 read, 2 update, 3 write).
using HandlerFactory = FunctionRef<std::unique_ptr<CSourceParser>(const std::string&, int)>;

// Runs `handler` and says what came of it: "3"/"4" with the file name when
// the source could not be opened; "3" (no access), "5" (with
// `wrongKindCode`, a program header of another kind) or "2" with the
// handler's diagnostic when the run failed; "3" with the file name when,
// inside a close that detects conflicts, the file changed before the handler
// took it.
Outcome RunHandler(CSourceParser& handler, std::unique_ptr<CAttributeList>& list,
                   const std::string& file, bool wrongKindCode = false);
// The same for a handler that `make` builds over the file `file`.
Outcome RunHandler(HandlerFactory make, const std::string& file, int mode,
                   std::unique_ptr<CAttributeList>& list, bool wrongKindCode = false);

// The decimal number a host leaves in its error buffer before the calls that
// take flags from it (as atol: leading blanks, a sign and digits; 0 when there
// is none or the buffer is null).
long NumberInBuffer(const char* buffer);

// The text of a host's string argument ("" for a null pointer).
std::string TextOf(const char* text);

// A read of `file` with the handler that `make` builds: the outcome carries
// the new table.
Outcome ReadWith(HandlerFactory make, const std::string& file, bool wrongKindCode = false);

// IntpOpenRead<Kind>: `read(name)` gives the outcome and its table. On success
// the table gets a new handle and its counts go to the host; otherwise the
// handle and the counts are 0.
std::int32_t OpenExport(const Call& call, FunctionRef<Outcome(const std::string& name)> read);

// A read that takes a request table through the handle and hands the result
// back through the same handle (profile files). `read(name, request)` gets
// the handle's table, or null when the handle is 0. On failure the handle is
// released and 0; a request refused before anything is read ("101") leaves
// the counts as they were.
std::int32_t RequestExport(
    const Call& call,
    FunctionRef<Outcome(const std::string& name, std::unique_ptr<CAttributeList>& request)> read);

// IntpCloseUpdate<Kind> and IntpCloseWrite<Kind>: a null handle is a success
// that touches nothing; otherwise the handle is released, whatever the
// outcome, and `write(name, table)` runs with its table. With conflicts
// detected, a table read from `name` is not written when the file changed
// since that read: "3" with the file name, and the file stays as it is.
std::int32_t CloseExport(
    const Call& call,
    FunctionRef<Outcome(const std::string& name, std::unique_ptr<CAttributeList>& table)> write);

// An export that changes a file without a table (declarations, embedded files).
std::int32_t FileExport(const Call& call, FunctionRef<Outcome(const std::string& name)> change);

// An export without an error buffer (the table exports): only the barrier and
// the overflow box. `failed` is what the export returns when something inside
// failed unexpectedly.
std::int32_t TableExport(std::int32_t failed, FunctionRef<std::int32_t()> body);

// The latest diagnostic an export of this thread wrote into a record, or null.
const Diagnostic* LastDiagnostic();

}  // namespace tolvik
