// The embedded-file steps that the embedded-file exports and the stub exports
// share: reading an embedded file's text out of a file, and storing a text as
// an embedded file (inserted after an embedding point, or replacing one of the
// same name where it stands).
#pragma once

#include <memory>
#include <string>

#include "Frame.h"

namespace tolvik {

// What reading an embedded file found besides its text.
struct EmbeddedRead {
    bool startFound = false;   // the start marker was there
    int firstDroppedLine = 0;  // the first line the text blocks could not hold (0: none)
};

// Reads the embedded file `name` of `file` into a new table's text blocks
// (line ends LF, as read); the table is the outcome's.
Outcome ReadEmbeddedText(const std::string& file, const std::string& name,
                         EmbeddedRead* found = nullptr);

// Stores `text` as the embedded file `name` of `file`. An existing one is
// replaced where it stands when `replace` is set and otherwise kept as it is
// (a success that changes nothing); a new one goes after the embedding point
// `point`. The file is rewritten once.
Outcome StoreEmbeddedText(const std::string& file, const std::string& point,
                          const std::string& name, const std::string& text, bool replace);

}  // namespace tolvik
