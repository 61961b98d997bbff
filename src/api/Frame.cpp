#include "Frame.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "HandleTable.h"

namespace tolvik {

namespace {

thread_local std::shared_ptr<const Diagnostic> t_last;

std::atomic<std::uint32_t> g_options{0};

// The state of the file that the close running on this thread found as its
// table was read; null when that close checks nothing.
thread_local const FileFingerprint* t_closing = nullptr;

bool DetectingConflicts()
{
    return (g_options.load() & kDetectConflicts) != 0;
}

// The state of the file a read is about to read, when conflicts are
// detected. Taken before the read: a change that lands between the two makes
// the close refuse, never the other way round.
std::optional<FileFingerprint> StateBeforeRead(const Call& call)
{
    if (!call.file || !DetectingConflicts())
        return std::nullopt;
    return TakeFingerprint(call.file);
}

// What a close of the table in `record` into `name` must find unchanged: the
// state of the file, if the table was read from that very name (as the host
// passed it) while conflicts were detected, and they still are.
const FileFingerprint* StateToKeep(const HandleRecord& record, const std::string& name)
{
    if (!DetectingConflicts() || !record.fingerprint || record.fingerprint->file != name)
        return nullptr;
    return &*record.fingerprint;
}

// Makes `state` the one the handlers of this thread's close check once they
// hold the file.
class ClosingScope {
public:
    explicit ClosingScope(const FileFingerprint* state) : previous_(t_closing)
    {
        t_closing = state;
    }
    ~ClosingScope() { t_closing = previous_; }
    ClosingScope(const ClosingScope&) = delete;
    ClosingScope& operator=(const ClosingScope&) = delete;

private:
    const FileFingerprint* previous_;
};

// Whether `handler`, having opened its file, may go on: a handler that
// rewrites the file a close checked looks again now that it holds the file,
// so that a writer that slipped in after the check is caught too. Only size
// and time: the file is held exclusively and may not be opened for the hash.
bool StillAsRead(const CSourceParser& handler)
{
    return !t_closing || handler.mode == kRead || handler.sourceInMemory ||
           handler.fileName != t_closing->file || SameSizeAndTime(*t_closing);
}

// A failed call's record for a handle that was closed already or never
// issued.
Diagnostic UnknownHandle(const std::string& file)
{
    Diagnostic d = Diagnostic::Finding(file);
    d.code = ResultCode::kContent;
    d.expected.emplace_back("HANDLE");
    d.located = true;
    return d;
}

// The record and the thread's last diagnostic for an outcome, made before
// anything is handed to the host, so that nothing is half done when making
// them fails. The diagnostic's holder is made before the call's work begins:
// once a file has been replaced, concluding a success allocates nothing (its
// record, "0" and five separators, is a short string).
struct Conclusion {
    std::shared_ptr<Diagnostic> holder = std::make_shared<Diagnostic>();
    std::string record;
    bool write = true;

    void Take(Outcome& outcome)
    {
        write = !(outcome.ok() && outcome.silentSuccess);
        if (write)
            record = outcome.diagnostic.RecordText();
        *holder = std::move(outcome.diagnostic);
    }

    void Deliver(char* err) noexcept
    {
        if (err && write)
            std::memcpy(err, record.c_str(), record.size() + 1);
        t_last = std::move(holder);
    }
};

// The record of a call that failed inside: "3" and the file name, written
// without allocating (memory may be what ran out).
void DeliverInternalFailure(char* err, const char* file) noexcept
{
    std::size_t length = 0;
    if (file) {
        constexpr std::size_t kRoom = kMaxRecord - 7;  // code, five separators, NUL
        while (length < kRoom && file[length] != '\0')
            ++length;
    }
    if (err) {
        char* out = err;
        *out++ = '3';
        *out++ = kSeparator;
        std::memcpy(out, file ? file : "", length);
        out += length;
        for (int i = 0; i < 4; ++i)
            *out++ = kSeparator;
        *out = '\0';
    }
    try {
        auto d = std::make_shared<Diagnostic>();
        d->code = ResultCode::kNoAccess;
        d->file.assign(file ? file : "", length);
        t_last = std::move(d);
    } catch (...) {
        t_last.reset();
    }
}

// Runs `body` behind the barrier: whatever it throws, `failed` puts the host's
// handle and counts as the export leaves them on failure, and the call fails
// with "3" and the file name.
template <class Body, class Failed>
std::int32_t Guarded(const Call& call, Body&& body, Failed&& failed) noexcept
{
    CallScope scope;
    try {
        return body();
    } catch (...) {
        failed();
        DeliverInternalFailure(call.err, call.file);
        return kFalse;
    }
}

void SetCounts(const Call& call, std::uint32_t rows, std::uint32_t cols) noexcept
{
    if (call.rows)
        *call.rows = static_cast<std::uint16_t>(rows);
    if (call.cols)
        *call.cols = static_cast<std::uint16_t>(cols);
}

}  // namespace

Outcome NotOpened(const std::string& file, ResultCode code)
{
    Outcome outcome;
    outcome.diagnostic = Diagnostic::NotOpened(code, file);
    return outcome;
}

Outcome RunHandler(CSourceParser& handler, std::unique_ptr<CAttributeList>& list,
                   const std::string& file, bool wrongKindCode)
{
    Outcome outcome;
    if (!handler.IsOpen()) {
        outcome.diagnostic = Diagnostic::NotOpened(
            handler.status == kNoAccess ? ResultCode::kNoAccess : ResultCode::kMissing, file);
        return outcome;
    }
    if (!StillAsRead(handler)) {
        outcome.diagnostic = Diagnostic::NotOpened(ResultCode::kNoAccess, file);
        return outcome;
    }
    if (handler.Run(list, outcome.diagnostic)) {
        outcome.diagnostic = Diagnostic();
        return outcome;
    }
    ResultCode code = ResultCode::kContent;
    if (handler.status == kNoAccess)
        code = ResultCode::kNoAccess;
    else if (handler.status == kWrongKind && wrongKindCode)
        code = ResultCode::kWrongKind;
    outcome.diagnostic.code = code;
    return outcome;
}

Outcome RunHandler(HandlerFactory make, const std::string& file, int mode,
                   std::unique_ptr<CAttributeList>& list, bool wrongKindCode)
{
    if (file.size() > kMaxFileName)
        return NotOpened(file);
    std::unique_ptr<CSourceParser> handler = make(file, mode);
    return RunHandler(*handler, list, file, wrongKindCode);
}

Outcome ReadWith(HandlerFactory make, const std::string& file, bool wrongKindCode)
{
    std::unique_ptr<CAttributeList> table;
    Outcome outcome = RunHandler(make, file, kRead, table, wrongKindCode);
    outcome.table = std::move(table);
    return outcome;
}

long NumberInBuffer(const char* buffer)
{
    if (!buffer)
        return 0;
    // As atol on the 32-bit platform hosts were written for: out-of-range
    // numbers stop at the 32-bit limits on every platform.
    long long value = std::strtoll(buffer, nullptr, 10);
    if (value > INT32_MAX)
        value = INT32_MAX;
    if (value < INT32_MIN)
        value = INT32_MIN;
    return static_cast<long>(value);
}

std::string TextOf(const char* text)
{
    return text ? std::string(text) : std::string();
}

namespace {

// The reads: the table they make gets a handle (the request's own, when the
// read took its request through the handle) and its counts go to the host.
std::int32_t ReadExport(
    const Call& call, bool takesRequest,
    FunctionRef<Outcome(const std::string& name, std::unique_ptr<CAttributeList>& request)> read)
{
    const std::uint32_t token = takesRequest && call.handle ? *call.handle : 0;
    auto failed = [&call, token]() noexcept {
        if (token != 0)
            ReleaseHandle(token);
        if (call.handle)
            *call.handle = 0;
        SetCounts(call, 0, 0);
    };
    return Guarded(
        call,
        [&]() {
            Conclusion c;
            const std::string name = TextOf(call.file);
            std::shared_ptr<HandleRecord> record;
            std::unique_lock<std::mutex> lock;
            std::unique_ptr<CAttributeList> request;
            Outcome outcome;
            if (token != 0) {
                record = FindHandle(token);
                if (record) {
                    lock = std::unique_lock<std::mutex>(record->mutex);
                    request = std::move(record->list);
                }
            }
            std::optional<FileFingerprint> state;
            if (token != 0 && !request) {
                outcome.diagnostic = UnknownHandle(name);
            } else {
                state = StateBeforeRead(call);
                outcome = read(name, request);
            }

            if (!outcome.ok() || !outcome.table) {
                if (outcome.ok())
                    outcome.diagnostic = UnknownHandle(name);
                const bool refused = outcome.diagnostic.code == ResultCode::kNoRequest;
                c.Take(outcome);
                if (!refused) {
                    // A table whose read failed is gone: its handle too.
                    lock = {};
                    failed();
                }
                c.Deliver(call.err);
                return kFalse;
            }
            c.Take(outcome);
            const std::uint32_t rows = outcome.table->rows;
            const std::uint32_t cols = outcome.table->columns;
            if (record) {
                record->rows = rows;
                record->columns = cols;
                record->list = std::move(outcome.table);
                record->fingerprint = std::move(state);
            } else if (call.handle) {
                *call.handle = CreateHandle(std::move(outcome.table), std::move(state));
            }
            // Without a place for the handle, the table is discarded.
            SetCounts(call, rows, cols);
            c.Deliver(call.err);
            return outcome.value;
        },
        failed);
}

}  // namespace

std::int32_t OpenExport(const Call& call, FunctionRef<Outcome(const std::string& name)> read)
{
    return ReadExport(
        call, false,
        [&read](const std::string& name, std::unique_ptr<CAttributeList>&) { return read(name); });
}

std::int32_t RequestExport(
    const Call& call,
    FunctionRef<Outcome(const std::string& name, std::unique_ptr<CAttributeList>& request)> read)
{
    return ReadExport(call, true, read);
}

std::int32_t CloseExport(
    const Call& call,
    FunctionRef<Outcome(const std::string& name, std::unique_ptr<CAttributeList>& table)> write)
{
    // The close consumes the handle whatever happens, a failure inside too.
    const std::uint32_t token = call.handle ? *call.handle : 0;
    auto failed = [&call, token]() noexcept {
        if (token != 0)
            ReleaseHandle(token);
        if (call.handle)
            *call.handle = 0;
    };
    return Guarded(
        call,
        [&]() {
            Conclusion c;
            Outcome outcome;
            if (token != 0) {
                std::shared_ptr<HandleRecord> record = ReleaseHandle(token);
                *call.handle = 0;
                const std::string name = TextOf(call.file);
                if (record) {
                    std::lock_guard<std::mutex> lock(record->mutex);
                    const FileFingerprint* state = StateToKeep(*record, name);
                    if (!record->list) {
                        outcome.diagnostic = UnknownHandle(name);
                    } else if (state && !Unchanged(*state)) {
                        // Somebody changed the file since the table was read:
                        // writing would undo that change.
                        outcome.diagnostic = Diagnostic::NotOpened(ResultCode::kNoAccess, name);
                    } else {
                        ClosingScope closing(state);
                        outcome = write(name, record->list);
                    }
                } else {
                    outcome.diagnostic = UnknownHandle(name);
                }
            }
            const bool ok = outcome.ok();
            c.Take(outcome);
            c.Deliver(call.err);
            return ok ? outcome.value : kFalse;
        },
        failed);
}

std::int32_t FileExport(const Call& call, FunctionRef<Outcome(const std::string& name)> change)
{
    return Guarded(
        call,
        [&]() {
            Conclusion c;
            Outcome outcome = change(TextOf(call.file));
            const bool ok = outcome.ok();
            c.Take(outcome);
            c.Deliver(call.err);
            return ok ? outcome.value : kFalse;
        },
        []() noexcept {});
}

std::int32_t TableExport(std::int32_t failed, FunctionRef<std::int32_t()> body)
{
    CallScope scope;
    try {
        return body();
    } catch (...) {
        return failed;
    }
}

const Diagnostic* LastDiagnostic()
{
    return t_last.get();
}

bool SetOptions(std::uint32_t options)
{
    if ((options & ~kKnownOptions) != 0)
        return false;
    g_options.store(options);
    return true;
}

}  // namespace tolvik
