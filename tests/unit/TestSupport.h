// Test helpers: the temporary folder and file reads the host tests use, a
// temporary folder that is the current directory while it lives (temporary
// output files are made there), and a handler run that gives its message.
#pragma once

#include <memory>
#include <string>

#include "../capi/CapiSupport.h"
#include "core/AttributeList.h"
#include "textfile/SourceParser.h"

namespace tolvik::test {

class TempDir : public TempFolder {
public:
    TempDir() : TempFolder(kCurrent) {}
};

// Runs a handler; `message` receives its message as a record carries it.
inline bool RunParser(CSourceParser& parser, std::unique_ptr<CAttributeList>& list,
                      std::string& message)
{
    Diagnostic found;
    const bool ok = parser.Run(list, found);
    message = found.MessageText();
    return ok;
}

}  // namespace tolvik::test
