// A small handler used only by the tests to drive the parser base: every word
// of the source becomes one row of a one-column table; in update mode each
// line is copied through, except that a line starting with a word whose row
// holds a new text gets that text instead.
#pragma once

#include "textfile/SourceParser.h"

namespace tolvik::test {

class CWordListParser : public CSourceParser {
public:
    CWordListParser(std::string_view source, bool inMemory, int mode)
        : CSourceParser(source, inMemory, mode, false)
    {
        SetClass("{}=/", kPunctuatorChar);
        SetClass(";", kCommentChar);
        SetClass("\"", kQuoteChar);
        if (attributes)
            attributes->columns = 1;
    }

    bool Run(std::unique_ptr<CAttributeList>& list, std::string& errorText) override
    {
        BeginRun(list);
        if (fileOpened) {
            if (mode == kRead)
                ReadWords();
            else
                Rewrite();
            if (!parseOk)
                ReportFailureLocation();
            if (mode != kRead)
                Finish();
        }
        return EndRun(list, errorText);
    }

private:
    void ReadWords()
    {
        for (GetToken(); tokenKind != kEndOfFile; GetToken()) {
            if (tokenKind == kWord) {
                if (tokenText == "FAIL") {
                    GetToken();
                    if (tokenKind != kWord)
                        ReportExpected("IDENTIFIER");
                    return;
                }
                attributes->AddAttribute(tokenText);
            }
        }
    }

    void Rewrite()
    {
        std::uint32_t row = 0;
        while (!endOfInput) {
            GetToken();
            if (tokenKind == kWord && row < attributes->rows) {
                const std::string& cell = *attributes->GetAttribute(static_cast<int>(row++), 0);
                if (cell != kEmptyCell) {
                    WriteAtColumn(cell + "\n", 0);
                    ReadLine();
                    continue;
                }
            }
            CopyCurrentLine();
            ReadLine();
        }
    }
};

}  // namespace tolvik::test
