// The stub exports. A stub is a section text kept as an embedded file of a
// task file: reading extracts it, frames it as its section and parses it in
// memory with the section's handler; writing back renders the table into a
// new section text in memory with that handler and stores it as the embedded
// file, replacing the old one where it stands. Failures name the place as
// stub + " in " + file, with what went wrong inside nested under it.
#include <string_view>

#include "../sections/TaskStubParser.h"
#include "../sections/TextStringsParser.h"
#include "../sections/VpacVariablesParser.h"
#include "../textfile/Charset.h"
#include "EmbeddedStore.h"
#include "Frame.h"
#include "tolvik32.h"

namespace tolvik {
namespace {

struct StubKind {
    // The header line that frames a bare stored text; "\n}" closes it.
    std::string_view header;
    // A stored text whose first line is a header line holding this word is
    // parsed as it stands (empty: always framed).
    std::string_view ownHeaderWord;
    // Write mode renders from this text alone; update mode (empty here)
    // renders from the stored text.
    std::string_view writeSource;
    // The section's handler over an in-memory text.
    std::unique_ptr<CSourceParser> (*make)(const std::string& text, int mode);
};

constexpr StubKind kTaskStub{
    "{ Code \n", {}, {}, [](const std::string& text, int mode) -> std::unique_ptr<CSourceParser> {
        return std::make_unique<CTaskStubParser>(text, true, "", "", mode);
    }};

// Text and VPAC stubs are written whole from the table; the stored text
// carries its own header line and is read as it stands.
constexpr StubKind kTextStub{
    "{Strings\n", "Strings", "{Strings\n}",
    [](const std::string& text, int mode) -> std::unique_ptr<CSourceParser> {
        return std::make_unique<CTextStringsParser>(text, true, "", "", mode);
    }};

constexpr StubKind kVpacStub{
    "{ Variables \n", "Variables", "{Variables\n}",
    [](const std::string& text, int mode) -> std::unique_ptr<CSourceParser> {
        return std::make_unique<CVpacVariablesParser>(text, true, "", "", mode);
    }};

bool StartsWithHeaderLine(const std::string& text, std::string_view word)
{
    const std::size_t begin = text.find_first_not_of(" \t\v\f\r");
    if (word.empty() || begin == std::string::npos || text[begin] != '{')
        return false;
    const std::string firstLine = ToUpper(text.substr(0, text.find('\n')));
    return firstLine.find(ToUpper(word)) != std::string::npos;
}

// The text the section handler parses for a stored stub text, in the OEM
// code page as a file would hold it.
std::string FrameStubText(const std::string& stored, const StubKind& kind)
{
    std::string text = StartsWithHeaderLine(stored, kind.ownHeaderWord)
                           ? stored
                           : std::string(kind.header) + stored + "\n}";
    AnsiToOem(text);
    return text;
}

// "2" for the stub in `file`, with what went wrong inside.
Outcome StubFailure(const std::string& file, const std::string& stub, Diagnostic inner,
                    bool innerRecord)
{
    Outcome outcome;
    outcome.diagnostic.code = ResultCode::kContent;
    outcome.diagnostic.file = stub + " in " + file;
    outcome.diagnostic.inner = std::make_shared<const Diagnostic>(std::move(inner));
    outcome.diagnostic.innerRecord = innerRecord;
    return outcome;
}

bool NotOpenedCode(const Outcome& outcome)
{
    return !outcome.ok() && !outcome.diagnostic.message;
}

Outcome ReadStub(const std::string& file, const std::string& stub, const StubKind& kind)
{
    Outcome extracted = ReadEmbeddedText(file, stub);
    if (NotOpenedCode(extracted))
        return extracted;
    if (!extracted.ok() || !extracted.table)
        return StubFailure(file, stub, std::move(extracted.diagnostic), false);
    const std::string stored = extracted.table->FirstText() + extracted.table->SecondText();
    extracted.table.reset();

    std::unique_ptr<CSourceParser> parser = kind.make(FrameStubText(stored, kind), kRead);
    std::unique_ptr<CAttributeList> table;
    Outcome parsed = RunHandler(*parser, table, std::string());
    if (!parsed.ok() || !table)
        return StubFailure(file, stub, std::move(parsed.diagnostic), false);
    parsed.table = std::move(table);
    return parsed;
}

Outcome WriteStub(const std::string& file, const std::string& stub,
                  std::unique_ptr<CAttributeList>& table, int mode, const StubKind& kind)
{
    // An update starts from the stored text, a stub not stored yet from an
    // empty section; a write replaces the stored text whole. Either way the
    // stored text must have fitted into a read: otherwise storing the table
    // would lose the lines the host never saw.
    EmbeddedRead found;
    Outcome extracted = ReadEmbeddedText(file, stub, &found);
    if (NotOpenedCode(extracted))
        return extracted;
    const bool update = kind.writeSource.empty();
    if (update && !extracted.ok() && found.startFound)
        return StubFailure(file, stub, std::move(extracted.diagnostic), false);
    if (extracted.ok() && found.firstDroppedLine != 0) {
        Diagnostic dropped = Diagnostic::Finding(file);
        dropped.expected.push_back("EmbeddedFileEnd \"" + stub + "\"");
        dropped.located = true;
        dropped.line = found.firstDroppedLine;
        return StubFailure(file, stub, std::move(dropped), false);
    }
    std::string source;
    if (!update) {
        source = kind.writeSource;
        AnsiToOem(source);
    } else if (extracted.ok() && extracted.table) {
        source = FrameStubText(extracted.table->FirstText() + extracted.table->SecondText(), kind);
    } else {
        source = FrameStubText(std::string(), kind);
    }
    extracted.table.reset();

    std::unique_ptr<CSourceParser> parser = kind.make(source, mode);
    Outcome rendered = RunHandler(*parser, table, std::string());
    if (!rendered.ok())
        return StubFailure(file, stub, std::move(rendered.diagnostic), false);
    std::string text = parser->outputText;
    OemToAnsi(text);
    parser.reset();

    Outcome stored = StoreEmbeddedText(file, std::string(), stub, text, true);
    if (NotOpenedCode(stored) || stored.ok())
        return stored;
    return StubFailure(file, stub, std::move(stored.diagnostic), true);
}

std::int32_t OpenStub(const char* file, std::uint32_t* handle, std::uint16_t* rows,
                      std::uint16_t* cols, const char* stub, char* err, const StubKind& kind)
{
    return OpenExport({file, err, handle, rows, cols},
                      [&](const std::string& name) { return ReadStub(name, TextOf(stub), kind); });
}

std::int32_t CloseStub(const char* file, std::uint32_t* handle, const char* stub, char* err,
                       int mode, const StubKind& kind)
{
    return CloseExport({file, err, handle}, [&](const std::string& name, auto& table) {
        return WriteStub(name, TextOf(stub), table, mode, kind);
    });
}

}  // namespace
}  // namespace tolvik

using namespace tolvik;

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadTaskStub(const char* file, uint32_t* handle,
                                                    uint16_t* rows, uint16_t* cols,
                                                    const char* stub, char* err)
{
    return OpenStub(file, handle, rows, cols, stub, err, kTaskStub);
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseUpdateTaskStub(const char* file, uint32_t* handle,
                                                       const char* stub, char* err)
{
    return CloseStub(file, handle, stub, err, kUpdate, kTaskStub);
}

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadVpacStub(const char* file, uint32_t* handle,
                                                    uint16_t* rows, uint16_t* cols,
                                                    const char* stub, char* err)
{
    return OpenStub(file, handle, rows, cols, stub, err, kVpacStub);
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteVpacStub(const char* file, uint32_t* handle,
                                                      const char* stub, char* err)
{
    return CloseStub(file, handle, stub, err, kWrite, kVpacStub);
}

TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadTextStub(const char* file, uint32_t* handle,
                                                    uint16_t* rows, uint16_t* cols,
                                                    const char* stub, char* err)
{
    return OpenStub(file, handle, rows, cols, stub, err, kTextStub);
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteTextStub(const char* file, uint32_t* handle,
                                                      const char* stub, char* err)
{
    return CloseStub(file, handle, stub, err, kWrite, kTextStub);
}

}  // extern "C"
