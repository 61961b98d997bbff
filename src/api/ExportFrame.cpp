#include "ExportFrame.h"

#include "ErrorRecord.h"
#include "HandleTable.h"

namespace tolvik {

namespace {
constexpr std::int32_t kTrue = -1;
constexpr std::int32_t kFalse = 0;
}  // namespace

std::string CopyFileName(const char* file)
{
    return file ? std::string(file) : std::string();
}

HandlerOutcome RunHandler(CSourceParser& handler, std::unique_ptr<CAttributeList>& list)
{
    HandlerOutcome outcome;
    outcome.status = handler.status;
    if (!handler.IsOpen())
        return outcome;
    outcome.opened = true;
    outcome.ok = handler.Run(list, outcome.message);
    outcome.status = handler.status;
    return outcome;
}

void WriteOutcomeRecord(char* err, const HandlerOutcome& outcome, const std::string& file,
                        FrameOptions options)
{
    if (!outcome.opened) {
        WriteErrorRecord(err, outcome.status == kNoAccess ? "3" : "4", file);
        return;
    }
    if (outcome.ok) {
        WriteErrorRecord(err, "0");
        return;
    }
    const char* code = "2";
    if (outcome.status == kNoAccess)
        code = "3";
    else if (outcome.status == kWrongKind && options.wrongKindCode)
        code = "5";
    WriteErrorRecord(err, code, outcome.message);
}

std::int32_t OpenFrame(const char* file, std::uint32_t* handle, std::uint16_t* rows,
                       std::uint16_t* cols, char* err, const HandlerFactory& make,
                       FrameOptions options)
{
    const std::string name = CopyFileName(file);
    std::unique_ptr<CAttributeList> list;
    HandlerOutcome outcome;
    if (name.size() <= kMaxFileName) {
        std::unique_ptr<CSourceParser> handler = make(name, kRead);
        outcome = RunHandler(*handler, list);
    } else {
        outcome.status = kMissing;
    }
    WriteOutcomeRecord(err, outcome, name, options);

    std::uint32_t token = 0;
    if (outcome.ok && list) {
        if (rows)
            *rows = static_cast<std::uint16_t>(list->rows);
        if (cols)
            *cols = static_cast<std::uint16_t>(list->columns);
        if (handle)  // without a place for the handle, the table is discarded
            token = CreateHandle(std::move(list));
    } else {
        if (rows)
            *rows = 0;
        if (cols)
            *cols = 0;
    }
    if (handle)
        *handle = token;
    return outcome.ok ? kTrue : kFalse;
}

std::int32_t CloseFrame(const char* file, std::uint32_t* handle, char* err, int mode,
                        const HandlerFactory& make, FrameOptions options)
{
    if (!handle || *handle == 0) {
        WriteErrorRecord(err, "0");
        return kTrue;
    }
    const std::string name = CopyFileName(file);
    // The close consumes the handle whatever happens next.
    std::shared_ptr<HandleRecord> record = ReleaseHandle(*handle);
    *handle = 0;
    if (!record) {
        // A token that was closed already or never issued.
        WriteErrorRecord(err, "2", name + '\x1a' + "HANDLE" + '\x1a' + '\x1a' + "0" + '\x1a');
        return kFalse;
    }
    std::lock_guard<std::mutex> lock(record->mutex);
    HandlerOutcome outcome;
    if (name.size() <= kMaxFileName) {
        std::unique_ptr<CSourceParser> handler = make(name, mode);
        outcome = RunHandler(*handler, record->list);
    } else {
        outcome.status = kMissing;
    }
    WriteOutcomeRecord(err, outcome, name, options);
    return outcome.ok ? kTrue : kFalse;
}

}  // namespace tolvik
