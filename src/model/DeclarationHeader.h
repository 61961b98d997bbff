// CDeclarationHeaderParser: the grammar of a program module's declaration body (TASK,
// VPAC/QPAC, BPAC, TEXT): its attribute lines, the table column each attribute
// fills, and the texts that report a mismatch. The frame around the body
// ("{", keyword, "}") and the rest of the file belong to the handler that
// derives from it.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "textfile/SourceParser.h"

namespace tolvik {

// Declaration kind codes (column 0 of a declaration's row).
enum DeclarationKind : int {
    kTaskDeclaration = 1,
    kValuePackageDeclaration = 3,
    kBlockPackageDeclaration = 4,
    kQueuePackageDeclaration = 5,
    kTextPackageDeclaration = 6,
    kCompiledTaskModule = 7,
    kCompiledDataModule = 8,
};

// Table columns of a declaration's attributes.
enum DeclarationColumn : int {
    kKindColumn = 0,
    kNameColumn = 1,
    kOptionColumn = 2,
    kPlaColumn = 3,
    kElaColumn = 4,
    kLineNumberColumn = 5,
    kPagesColumn = 6,
    kCycleColumn = 7,
    kPriorityColumn = 8,
    kBufferColumn = 9,
    kBlockSizeColumn = 10,
    kDefLColumn = 11,
    kDefXColumn = 12,
    kDefIColumn = 13,
    kDefRColumn = 14,
};

// Columns of a declaration's attributes.
inline constexpr int kAttributeColumns = 15;

class CDeclarationHeaderParser : public CSourceParser {
public:
    // Sets the character classes of a declaration: "\n", "/", "=", "{" and "}"
    // are punctuators, ";" starts a comment, there is no quote character.
    CDeclarationHeaderParser(std::string_view source, bool sourceInMemory, int mode, bool binary);

    // One parse function per kind, called with the kind keyword as the current
    // token; each parses the body up to the first token that can not begin a
    // body line (normally "}") and returns parseOk.
    bool ParseTask();
    bool ParseValuePackage();  // VPAC and QPAC
    bool ParseBlockPackage();
    bool ParseTextPackage();

    // The attribute parsers that are more than one keyword and its value,
    // called with the attribute's keyword (or "/") as the current token; each
    // leaves the token after the attribute current.
    bool ParseCycle();
    bool ParseDefaults();  // the DEF_L/DEF_X/DEF_I/DEF_R chain
    bool ParseOption();

    // The text a cycle byte of a compiled module reads as: "500 ms", "2 s",
    // "1.5 s".
    static std::string CycleText(int cycleByte);
    // The name a column's value is written under ("" for none).
    static std::string_view ColumnName(int column);

    // Read mode: puts `text` into `column` of the current row. Update mode:
    // writes the attribute back (column -1: `text` as it stands), from the file
    // or from the table as the cell asks.
    void StoreAttribute(int column, std::string_view text);
    // Writes the table's new value of `column` (not for 0x08 or an empty cell)
    // and marks the cell as written. True when something was written.
    bool FlushAttribute(int column);
    // Writes every new value not written yet, one line each.
    void FlushRemaining();

    int declarationKind = 0;
    bool attributeEmitted = false;

protected:
    // Update mode: called once the keyword has been taken, with the token after
    // it current, before the first body line.
    virtual void BeginBody() {}

    // The line expectation text of the declaration being parsed ("" before a
    // kind was taken).
    std::string_view LineExpectation() const;
    // Update mode: checks that every new value of the caller's table can be
    // written into this kind of declaration and reads back as written. On the
    // first that can not, reports it and returns false.
    bool CheckNewValues();

private:
    struct KindGrammar;
    // 0 TASK, 1 VPAC/QPAC, 2 BPAC, 3 TEXT.
    static const KindGrammar& Grammar(int index);
    bool ParseDeclaration(const KindGrammar& grammar, int kind);
    bool ParseBodyLine();
    bool ParseAttribute();
    bool IsBodyAttributeStart() const;
    bool ParseSimpleAttribute(int attribute);
    bool ExpectEqualsAndWord();
    bool ValueReadsBack(int column, std::string_view value) const;
    // Update mode: whether `length` more characters fit on the output line.
    bool FitsOnLine(std::size_t length) const;
    // StoreAttribute, starting a new line first when a value kept from the
    // file would not fit on the current one.
    void StoreValue(int column, const std::string& text);
    // Update mode: the comment that ends a body line, with its line end.
    void WriteBodyComment(const std::string& comment);

    const KindGrammar* grammar_ = nullptr;
    // Update mode: an option of the file has been met; the table's new value of
    // column 2 replaces all of the file's options.
    bool optionSeen_ = false;
    bool optionsReplaced_ = false;
    // Update mode: columns whose new value from the table has been met.
    std::array<bool, kAttributeColumns> newValueWritten_{};
};

}  // namespace tolvik
