// The embedded-file exports: insert (or replace), read out, remove.
#include "../embedded/EmbeddedFileParser.h"
#include "EmbeddedStore.h"
#include "Frame.h"
#include "tolvik32.h"

namespace tolvik {

namespace {
// The number a host leaves in the error buffer to have an existing embedded
// file replaced.
constexpr long kReplaceRequest = 2;
}  // namespace

Outcome ReadEmbeddedText(const std::string& file, const std::string& name, EmbeddedRead* found)
{
    if (file.size() > kMaxFileName)
        return NotOpened(file);
    CEmbeddedFileParser reader(file, name, std::nullopt, std::nullopt, kRead);
    reader.SetAction(CEmbeddedFileParser::Action::kReadOut);
    std::unique_ptr<CAttributeList> table;
    Outcome outcome = RunHandler(reader, table, file);
    outcome.table = std::move(table);
    if (found) {
        found->startFound = reader.startLine > 0;
        found->firstDroppedLine = reader.firstDroppedLine;
    }
    return outcome;
}

Outcome StoreEmbeddedText(const std::string& file, const std::string& point,
                          const std::string& name, const std::string& text, bool replace)
{
    if (file.size() > kMaxFileName)
        return NotOpened(file);
    std::unique_ptr<CAttributeList> none;
    bool exists = false;
    {
        // Looked at first, and closed again before the file is opened for the
        // rewrite.
        CEmbeddedFileParser probe(file, name, std::nullopt, std::nullopt, kRead);
        if (!probe.IsOpen())
            return RunHandler(probe, none, file);
        exists = probe.Exists();
        if (probe.InputFailed())  // whether it exists is not known
            return NotOpened(file, ResultCode::kNoAccess);
    }
    if (exists && !replace)
        return Outcome();
    // A replacement is one pass: the old block is left out and the new one
    // written in its place, into one new file that then replaces the source.
    CEmbeddedFileParser writer(file, name, point, RemoveChars(text, '\r', '\r'), kUpdate);
    writer.SetAction(exists ? CEmbeddedFileParser::Action::kReplace
                            : CEmbeddedFileParser::Action::kInsert);
    return RunHandler(writer, none, file);
}

}  // namespace tolvik

using namespace tolvik;

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL IntpInsertEmbeddedFile(const char* file, const char* point,
                                                      const char* name, const char* text, char* err)
{
    const bool replace = NumberInBuffer(err) == kReplaceRequest;
    return FileExport({file, err}, [&](const std::string& fileName) {
        return StoreEmbeddedText(fileName, TextOf(point), TextOf(name), TextOf(text), replace);
    });
}

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadEmbeddedFile(const char* file, uint32_t* handle,
                                                        const char* name, char* err)
{
    return OpenExport({file, err, handle}, [&](const std::string& fileName) {
        Outcome read = ReadEmbeddedText(fileName, TextOf(name));
        if (read.ok() && read.table) {
            // The host gets CR LF line ends, and the size of the buffer the
            // text needs. Success leaves the error buffer as it was.
            CAttributeList& list = *read.table;
            list.SetTexts(ToCrLf(list.FirstText()), ToCrLf(list.SecondText()));
            const std::size_t length = TextLength(list);
            constexpr std::size_t kLargest = 0x7FFFFFFE;
            read.value = static_cast<std::int32_t>((length < kLargest ? length : kLargest) + 1);
            read.silentSuccess = true;
        } else if (read.diagnostic.code == ResultCode::kNoAccess && read.diagnostic.message) {
            // Content that could not be read out is a content error here.
            read.diagnostic.code = ResultCode::kContent;
        }
        return read;
    });
}

TOLVIK_API int32_t TOLVIK_CALL IntpRemoveEmbeddedFile(const char* file, const char* name, char* err)
{
    return FileExport({file, err}, [&](const std::string& fileName) {
        Outcome outcome = NotOpened(fileName);
        if (fileName.size() <= kMaxFileName) {
            CEmbeddedFileParser remover(fileName, TextOf(name), std::nullopt, std::nullopt,
                                        kUpdate);
            remover.SetAction(CEmbeddedFileParser::Action::kRemove);
            std::unique_ptr<CAttributeList> none;
            outcome = RunHandler(remover, none, fileName);
        }
        // A file that cannot be opened at all holds nothing to remove: only a
        // file that exists but may not be written is a failure.
        if (outcome.diagnostic.code == ResultCode::kMissing)
            outcome = Outcome();
        return outcome;
    });
}

}  // extern "C"
