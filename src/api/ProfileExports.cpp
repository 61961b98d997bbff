// The profile-file exports. The read takes a request table through the handle
// and hands the result table back through the same handle; its result is the
// length of the longest cell + 1, the buffer size a host needs to fetch any
// cell. The flags word comes in through the error buffer.
#include "../values/ProfileFileParser.h"
#include "ErrorRecord.h"
#include "ExportFrame.h"
#include "HandleTable.h"
#include "tolvik32.h"

using namespace tolvik;

namespace {

constexpr std::int32_t kFalse = 0;

HandlerFactory ProfileFactory(long flags)
{
    return [flags](const std::string& file, int mode) -> std::unique_ptr<CSourceParser> {
        return std::make_unique<CProfileFileParser>(file, false, mode, flags);
    };
}

void SetCounts(std::uint16_t* rows, std::uint16_t* cols, std::uint32_t r, std::uint32_t c)
{
    if (rows)
        *rows = static_cast<std::uint16_t>(r);
    if (cols)
        *cols = static_cast<std::uint16_t>(c);
}

}  // namespace

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadProfileFile(const char* file, uint32_t* handle,
                                                       uint16_t* rows, uint16_t* cols, char* err)
{
    const long flags = NumberInBuffer(err);
    const bool listing = (flags & kProfileListing) != 0;
    const std::uint32_t token = handle ? *handle : 0;
    if (token == 0 && !listing) {
        // Selection needs the host's request table.
        WriteErrorRecord(err, "101");
        return kFalse;
    }
    const std::string name = CopyFileName(file);

    // The request table: the host's (taken out of its handle) or every
    // section and parameter.
    std::shared_ptr<HandleRecord> record;
    std::unique_lock<std::mutex> lock;
    std::unique_ptr<CAttributeList> list;
    if (token != 0) {
        record = FindHandle(token);
        if (!record) {
            // A token that was closed already or never issued.
            WriteErrorRecord(err, "2", name + '\x1a' + "HANDLE" + '\x1a' + '\x1a' + "0" + '\x1a');
            *handle = 0;
            SetCounts(rows, cols, 0, 0);
            return kFalse;
        }
        lock = std::unique_lock<std::mutex>(record->mutex);
        list = std::move(record->list);
    } else {
        list = CProfileFileParser::DefaultRequest();
    }

    HandlerOutcome outcome;
    std::size_t longest = 0;
    if (name.size() <= kMaxFileName) {
        CProfileFileParser handler(name, false, kRead, flags);
        outcome = RunHandler(handler, list);
        longest = handler.LongestCell();
    } else {
        outcome.status = kMissing;
    }
    WriteOutcomeRecord(err, outcome, name);

    if (!outcome.ok || !list) {
        SetCounts(rows, cols, 0, 0);
        if (record) {
            // Anyone still holding the record finds an empty table, never none.
            record->list = std::make_unique<CAttributeList>(kTableCapacity);
            record->rows = 0;
            record->columns = 0;
            lock.unlock();
            ReleaseHandle(token);
        }
        if (handle)
            *handle = 0;
        return kFalse;
    }

    const std::uint32_t resultRows = list->rows;
    const std::uint32_t resultColumns = list->columns;
    SetCounts(rows, cols, resultRows, resultColumns);
    if (record) {
        record->rows = resultRows;
        record->columns = resultColumns;
        record->list = std::move(list);
    } else if (handle) {
        *handle = CreateHandle(std::move(list));
    }
    constexpr std::size_t kLargestResult = 0x7FFFFFFF;
    return static_cast<std::int32_t>(longest < kLargestResult ? longest + 1 : kLargestResult);
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteProfileFile(const char* file, uint32_t* handle,
                                                         char* err)
{
    const long flags = NumberInBuffer(err);
    return CloseFrame(file, handle, err, kWrite, ProfileFactory(flags));
}

}  // extern "C"
