// The frame of the stub exports. A stub is a section text kept as an embedded
// file: reading extracts it, frames it as its section and parses it in memory
// with the section's handler; writing back renders the table into a new
// section text in memory with that handler and stores it as the embedded file,
// replacing the old one where it stands. Failures name the place as
// stub + " in " + file.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "../textfile/SourceParser.h"

namespace tolvik {

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
    std::function<std::unique_ptr<CSourceParser>(const std::string& text, int mode)> make;
};

// The text the section handler parses for a stored stub text.
std::string FrameStubText(const std::string& stored, const StubKind& kind);

// IntpOpenRead<Kind>Stub.
std::int32_t OpenStubFrame(const char* file, std::uint32_t* handle, std::uint16_t* rows,
                           std::uint16_t* cols, const char* stub, char* err, const StubKind& kind);

// IntpCloseUpdate<Kind>Stub (mode 2) and IntpCloseWrite<Kind>Stub (mode 3).
// A null handle is a success that touches nothing; otherwise the handle is
// consumed whatever the outcome.
std::int32_t CloseStubFrame(const char* file, std::uint32_t* handle, const char* stub, char* err,
                            int mode, const StubKind& kind);

}  // namespace tolvik
