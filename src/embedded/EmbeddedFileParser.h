// CEmbeddedFileParser: files carried inside a source file between the comment
// lines
//   ; EmbeddedFileStart  "name"
//   ...the embedded file's lines, verbatim...
//   ; EmbeddedFileEnd  "name"
// New embedded files go after an embedding point, the line "; EmbeddPoint name".
// One handler reads an embedded file out (into the table's two text blocks),
// removes it, inserts a new one, or replaces one in place in a single pass.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "../textfile/SourceParser.h"

namespace tolvik {

class CEmbeddedFileParser : public CSourceParser {
public:
    // What Run does.
    enum class Action {
        kReadOut,  // read mode: the embedded file's text into the table's text blocks
        kRemove,   // update mode: the embedded file is taken out
        kInsert,   // update mode: a new embedded file after the embedding point
                   // (or, with a start line, at that line)
        kReplace,  // update mode: the embedded file is written anew where it stands
    };

    // `pointName` and `content` are needed only to insert or replace.
    CEmbeddedFileParser(std::string_view fileName, std::string_view embeddedName,
                        std::optional<std::string> pointName, std::optional<std::string> content,
                        int mode, bool sourceInMemory = false);

    // Read mode: true when the file holds the start marker of the embedded name.
    bool Exists();

    // Chooses what Run does. `startLine` > 0 makes kInsert put the new embedded
    // file at that line instead of after the embedding point.
    void SetAction(Action action, int startLine = 0);

    bool Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found) override;

    // The line of the start marker that the run found (0 when none was found).
    int startLine = 0;
    // Read mode: the first body line that neither text block could hold (0
    // when the whole body was read).
    int firstDroppedLine = 0;

private:
    bool IsMarkerLine(std::string_view word, const std::string& name);
    bool IsEndMarkerLine();
    // Goes to the next marker line of `word` and `name`, copying every line
    // passed over in update mode. False at the end of the input.
    bool FindMarker(std::string_view word, const std::string& name);
    // Passes over the body up to its end marker (keeping its lines in read
    // mode) and checks the end marker.
    bool PassBody();
    // Whether the block to write reads back as the name and content given;
    // reports the failure when not.
    bool WritableBlock();
    void WriteBlock();
    // Update mode: the text before the start marker on the current line, on a
    // line of its own.
    void KeepTextBeforeMarker();
    void NextLine();
    void Fail(std::string_view marker, const std::string& name, std::string token);
    void RunAction();
    void ReadOut();
    void Remove(bool writeNew);
    void Insert();

    std::string embeddedName_;
    std::optional<std::string> pointName_;
    std::optional<std::string> content_;
    Action action_ = Action::kReadOut;
    int insertAt_ = 0;
    bool previousLineEnded_ = true;
    // Marker lines are looked for by searching the bytes (see
    // SkipLinesWithout), not line by line.
    bool searchBytes_ = false;
};

// The combined length of a table's two text blocks.
std::size_t TextLength(const CAttributeList& list);

}  // namespace tolvik
