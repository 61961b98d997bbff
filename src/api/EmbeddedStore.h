// The embedded-file steps that the embedded-file exports and the stub exports
// share: reading an embedded file's text out of a file, and storing a text as
// an embedded file (inserted after an embedding point, or replacing one of the
// same name where it stands).
#pragma once

#include <memory>
#include <string>

#include "AttributeList.h"
#include "ExportFrame.h"

namespace tolvik {

// Reads the embedded file `name` of `file` into a new table's text blocks
// (line ends LF, as read). `startFound` tells whether the start marker was
// there; `firstDroppedLine` gets the first line of the file that the text
// blocks could not hold (0 when none was dropped). On failure `list` is null.
HandlerOutcome ReadEmbeddedText(const std::string& file, const std::string& name,
                                std::unique_ptr<CAttributeList>& list, bool* startFound = nullptr,
                                int* firstDroppedLine = nullptr);

// Stores `text` as the embedded file `name` of `file`. An existing one is
// replaced where it stands when `replace` is set and otherwise kept as it is
// (a success that changes nothing); a new one goes after the embedding point
// `point`. The file is rewritten once.
HandlerOutcome StoreEmbeddedText(const std::string& file, const std::string& point,
                                 const std::string& name, const std::string& text, bool replace);

}  // namespace tolvik
