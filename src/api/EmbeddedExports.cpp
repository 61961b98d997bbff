// The embedded-file exports: insert (or replace), read out, remove.
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "../values/EmbeddedFileParser.h"
#include "EmbeddedStore.h"
#include "ErrorRecord.h"
#include "HandleTable.h"
#include "tolvik32.h"

namespace tolvik {

namespace {
constexpr std::int32_t kTrue = -1;
constexpr std::int32_t kFalse = 0;
constexpr int kReplaceRequest = 2;

std::string CopyText(const char* text)
{
    return text ? std::string(text) : std::string();
}

HandlerOutcome NotOpened(int status)
{
    HandlerOutcome outcome;
    outcome.status = status;
    return outcome;
}
}  // namespace

HandlerOutcome ReadEmbeddedText(const std::string& file, const std::string& name,
                                std::unique_ptr<CAttributeList>& list, bool* startFound,
                                int* firstDroppedLine)
{
    if (startFound)
        *startFound = false;
    if (firstDroppedLine)
        *firstDroppedLine = 0;
    if (file.size() > kMaxFileName)
        return NotOpened(kMissing);
    CEmbeddedFileParser reader(file, name, std::nullopt, std::nullopt, kRead);
    reader.SetAction(CEmbeddedFileParser::Action::kReadOut);
    HandlerOutcome outcome = RunHandler(reader, list);
    if (startFound)
        *startFound = reader.startLine > 0;
    if (firstDroppedLine)
        *firstDroppedLine = reader.firstDroppedLine;
    return outcome;
}

HandlerOutcome StoreEmbeddedText(const std::string& file, const std::string& point,
                                 const std::string& name, const std::string& text, bool replace)
{
    if (file.size() > kMaxFileName)
        return NotOpened(kMissing);
    bool exists = false;
    {
        // Looked at first, and closed again before the file is opened for the
        // rewrite.
        CEmbeddedFileParser probe(file, name, std::nullopt, std::nullopt, kRead);
        if (!probe.IsOpen())
            return NotOpened(probe.status);
        exists = probe.Exists();
    }
    if (exists && !replace) {
        HandlerOutcome kept;
        kept.opened = kept.ok = true;
        return kept;
    }
    // A replacement is one pass: the old block is left out and the new one
    // written in its place, into one new file that then replaces the source.
    CEmbeddedFileParser writer(file, name, point, RemoveChars(text, '\r', '\r'), kUpdate);
    writer.SetAction(exists ? CEmbeddedFileParser::Action::kReplace
                            : CEmbeddedFileParser::Action::kInsert);
    std::unique_ptr<CAttributeList> none;
    return RunHandler(writer, none);
}

}  // namespace tolvik

using namespace tolvik;

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL IntpInsertEmbeddedFile(const char* file, const char* point,
                                                      const char* name, const char* text, char* err)
{
    const bool replace = NumberInBuffer(err) == kReplaceRequest;
    const std::string fileName = CopyFileName(file);
    const HandlerOutcome outcome =
        StoreEmbeddedText(fileName, CopyText(point), CopyText(name), CopyText(text), replace);
    WriteOutcomeRecord(err, outcome, fileName);
    return outcome.ok ? kTrue : kFalse;
}

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadEmbeddedFile(const char* file, uint32_t* handle,
                                                        const char* name, char* err)
{
    const std::string fileName = CopyFileName(file);
    std::unique_ptr<CAttributeList> list;
    const HandlerOutcome outcome = ReadEmbeddedText(fileName, CopyText(name), list);
    if (handle)
        *handle = 0;
    if (!outcome.opened) {
        WriteErrorRecord(err, outcome.status == kNoAccess ? "3" : "4", fileName);
        return kFalse;
    }
    if (!outcome.ok || !list) {
        WriteErrorRecord(err, "2", outcome.message);
        return kFalse;
    }
    // The host gets CR LF line ends. Success leaves the error buffer as it was.
    list->SetTexts(ToCrLf(list->FirstText()), ToCrLf(list->SecondText()));
    const std::size_t length = TextLength(*list);
    if (handle)
        *handle = CreateHandle(std::move(list));
    return static_cast<int32_t>(length + 1);
}

TOLVIK_API int32_t TOLVIK_CALL IntpRemoveEmbeddedFile(const char* file, const char* name, char* err)
{
    const std::string fileName = CopyFileName(file);
    HandlerOutcome outcome;
    if (fileName.size() <= kMaxFileName) {
        CEmbeddedFileParser remover(fileName, CopyText(name), std::nullopt, std::nullopt, kUpdate);
        remover.SetAction(CEmbeddedFileParser::Action::kRemove);
        std::unique_ptr<CAttributeList> none;
        outcome = RunHandler(remover, none);
    } else {
        outcome.status = kMissing;
    }
    if (!outcome.opened) {
        // A file that cannot be opened at all holds nothing to remove: only a
        // file that exists but may not be written is a failure.
        if (outcome.status == kNoAccess) {
            WriteErrorRecord(err, "3", fileName);
            return kFalse;
        }
        WriteErrorRecord(err, "0");
        return kTrue;
    }
    WriteOutcomeRecord(err, outcome, fileName);
    return outcome.ok ? kTrue : kFalse;
}

}  // extern "C"
