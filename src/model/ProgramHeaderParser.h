// CProgramHeaderParser: the declaration at the top of a program module. Read
// mode gives one row of 15 columns; update mode rewrites the declaration from
// the caller's table and keeps every other byte of the file. A compiled module
// (".TSC", ".DPC", ".TXC") has its header bytes read or patched instead.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "DeclarationHeader.h"

namespace tolvik {

class CProgramHeaderParser : public CDeclarationHeaderParser {
public:
    // `binary`: the source is a compiled module.
    CProgramHeaderParser(std::string_view source, bool sourceInMemory, int mode, bool binary);

    bool Run(std::unique_ptr<CAttributeList>& list, Diagnostic& found) override;

    // The byte a cycle cell stands for, as decimal text for WriteByteAt: "N ms"
    // gives N / 100, "N s" (N with at most one decimal) N x 10, anything else is
    // taken as it stands.
    static std::string CycleByteText(std::string_view cell);

protected:
    void BeginBody() override;

private:
    bool ParseSource();
    void PassLeadingLines();
    bool ReadCompiledHeader();
    bool UpdateCompiledHeader();
    int ReadModuleType(std::string& typeText);
    void ReportWrongModule(std::string_view expected, const std::string& typeText);
    void StoreHeaderByte(std::uint64_t offset, int column);
    void PatchHeaderByte(std::uint64_t offset, int column);
    void PatchCycleByte();

    // The kind keyword as the file spells it.
    std::string keyword_;
    // Stands in for a caller's table that has no cells for the row: every
    // value of the file is kept.
    std::unique_ptr<CAttributeList> keepAll_;
};

}  // namespace tolvik
