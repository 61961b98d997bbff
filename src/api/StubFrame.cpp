#include "StubFrame.h"

#include <vector>

#include "../textfile/Charset.h"
#include "EmbeddedStore.h"
#include "ErrorRecord.h"
#include "HandleTable.h"

namespace tolvik {

namespace {

constexpr std::int32_t kTrue = -1;
constexpr std::int32_t kFalse = 0;

std::string CopyText(const char* text)
{
    return text ? std::string(text) : std::string();
}

bool StartsWithHeaderLine(const std::string& text, std::string_view word)
{
    const std::size_t begin = text.find_first_not_of(" \t\v\f\r");
    if (word.empty() || begin == std::string::npos || text[begin] != '{')
        return false;
    const std::string firstLine = ToUpper(text.substr(0, text.find('\n')));
    return firstLine.find(ToUpper(word)) != std::string::npos;
}

// The section handlers read their text in memory as OEM text, as from a file.
std::string ToOem(std::string text)
{
    AnsiToOem(text);
    return text;
}

void WriteNotOpened(char* err, const HandlerOutcome& outcome, const std::string& file)
{
    WriteErrorRecord(err, outcome.status == kNoAccess ? "3" : "4", file);
}

// The record an export would leave for `outcome`, as text.
std::string RecordText(const HandlerOutcome& outcome, const std::string& file)
{
    std::vector<char> buffer(8 * kMaxRecordArgument);
    WriteOutcomeRecord(buffer.data(), outcome, file);
    return std::string(buffer.data());
}

}  // namespace

std::string FrameStubText(const std::string& stored, const StubKind& kind)
{
    if (StartsWithHeaderLine(stored, kind.ownHeaderWord))
        return stored;
    return std::string(kind.header) + stored + "\n}";
}

std::int32_t OpenStubFrame(const char* file, std::uint32_t* handle, std::uint16_t* rows,
                           std::uint16_t* cols, const char* stub, char* err, const StubKind& kind)
{
    const std::string name = CopyFileName(file);
    const std::string stubName = CopyText(stub);
    const std::string location = stubName + " in " + name;
    if (handle)
        *handle = 0;
    if (rows)
        *rows = 0;
    if (cols)
        *cols = 0;

    std::unique_ptr<CAttributeList> extracted;
    const HandlerOutcome read = ReadEmbeddedText(name, stubName, extracted);
    if (!read.opened) {
        WriteNotOpened(err, read, name);
        return kFalse;
    }
    if (!read.ok || !extracted) {
        WriteErrorRecord(err, "2", location, read.message);
        return kFalse;
    }
    const std::string stored = extracted->FirstText() + extracted->SecondText();
    extracted.reset();

    std::unique_ptr<CSourceParser> parser = kind.make(ToOem(FrameStubText(stored, kind)), kRead);
    std::unique_ptr<CAttributeList> list;
    const HandlerOutcome parsed = RunHandler(*parser, list);
    if (!parsed.ok || !list) {
        WriteErrorRecord(err, "2", location, parsed.message);
        return kFalse;
    }
    WriteErrorRecord(err, "0");
    if (rows)
        *rows = static_cast<std::uint16_t>(list->rows);
    if (cols)
        *cols = static_cast<std::uint16_t>(list->columns);
    if (handle)
        *handle = CreateHandle(std::move(list));
    return kTrue;
}

std::int32_t CloseStubFrame(const char* file, std::uint32_t* handle, const char* stub, char* err,
                            int mode, const StubKind& kind)
{
    if (!handle || *handle == 0) {
        WriteErrorRecord(err, "0");
        return kTrue;
    }
    const std::string name = CopyFileName(file);
    const std::string stubName = CopyText(stub);
    const std::string location = stubName + " in " + name;
    std::shared_ptr<HandleRecord> record = ReleaseHandle(*handle);
    *handle = 0;
    if (!record) {
        // A token that was closed already or never issued.
        WriteErrorRecord(err, "2", name + '\x1a' + "HANDLE" + '\x1a' + '\x1a' + "0" + '\x1a');
        return kFalse;
    }
    std::lock_guard<std::mutex> lock(record->mutex);

    // An update starts from the stored text, a stub not stored yet from an
    // empty section; a write replaces the stored text whole. Either way the
    // stored text must have fitted into a read: otherwise storing the table
    // would lose the lines the host never saw.
    std::unique_ptr<CAttributeList> extracted;
    bool found = false;
    int dropped = 0;
    const HandlerOutcome read = ReadEmbeddedText(name, stubName, extracted, &found, &dropped);
    if (!read.opened) {
        WriteNotOpened(err, read, name);
        return kFalse;
    }
    const bool update = kind.writeSource.empty();
    if (update && !read.ok && found) {
        WriteErrorRecord(err, "2", location, read.message);
        return kFalse;
    }
    if (read.ok && dropped != 0) {
        WriteErrorRecord(err, "2", location,
                         name + '\x1a' + "EmbeddedFileEnd \"" + stubName + "\"" + '\x1a' + '\x1a' +
                             std::to_string(dropped) + '\x1a');
        return kFalse;
    }
    const std::string source =
        update
            ? FrameStubText(read.ok && extracted ? extracted->FirstText() + extracted->SecondText()
                                                 : std::string(),
                            kind)
            : std::string(kind.writeSource);

    std::unique_ptr<CSourceParser> parser = kind.make(ToOem(source), mode);
    const HandlerOutcome rendered = RunHandler(*parser, record->list);
    if (!rendered.ok) {
        WriteErrorRecord(err, "2", location, rendered.message);
        return kFalse;
    }
    std::string text = parser->outputText;
    OemToAnsi(text);
    parser.reset();

    const HandlerOutcome stored = StoreEmbeddedText(name, std::string(), stubName, text, true);
    if (!stored.opened) {
        WriteNotOpened(err, stored, name);
        return kFalse;
    }
    if (!stored.ok) {
        WriteErrorRecord(err, "2", location, RecordText(stored, name));
        return kFalse;
    }
    WriteErrorRecord(err, "0");
    return kTrue;
}

}  // namespace tolvik
