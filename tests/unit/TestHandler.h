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

    bool Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found) override
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
        return EndRun(list, found);
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

    // Line by line: a line whose first word has a new text in the table is
    // replaced by it; every other line is copied as it stands.
    void Rewrite()
    {
        std::uint32_t row = 0;
        while (!endOfInput) {
            std::size_t start = lineBuffer.find_first_not_of(" \t");
            bool hasWord = start != std::string::npos && lineBuffer[start] != '\n' &&
                           lineBuffer[start] != '\r' && ClassOf(lineBuffer[start]) == kWordChar;
            const CellView cell = hasWord && row < attributes->rows
                                      ? attributes->GetAttribute(static_cast<int>(row), 0)
                                      : nullptr;
            if (hasWord)
                ++row;
            if (cell && *cell != kEmptyCell)
                WriteAtColumn(std::string(*cell) + "\n", 0);
            else
                CopyCurrentLine();
            ReadLine();
        }
    }
};

}  // namespace tolvik::test
