// IntpInsertDecl and IntpRemoveDecl: one declaration into or out of the block of
// a file that opens with "{" and the declaration's keyword.
#include "../textfile/Charset.h"
#include "../values/DeclarationParser.h"
#include "ExportFrame.h"
#include "tolvik32.h"

using namespace tolvik;

namespace {

constexpr std::int32_t kTrue = -1;
constexpr std::int32_t kFalse = 0;

// The declaration is checked in memory first; only a declaration that parses
// reaches the file, which is then rewritten in one step.
std::int32_t ChangeDeclaration(const char* file, const char* keyword, const char* declaration,
                               char* err, DeclarationAction action)
{
    const std::string name = CopyFileName(file);
    std::string text = "{ ";
    text += keyword ? keyword : "";
    text += ' ';
    text += declaration ? declaration : "";
    text += "\n}";
    AnsiToOem(text);

    std::unique_ptr<CAttributeList> parsed;
    {
        CDeclarationParser reader(text, true, kRead, action);
        const HandlerOutcome outcome = RunHandler(reader, parsed);
        if (!outcome.ok) {
            WriteOutcomeRecord(err, outcome, name);
            return kFalse;
        }
    }

    HandlerOutcome outcome;
    if (name.size() <= kMaxFileName) {
        CDeclarationParser writer(name, false, kUpdate, action);
        outcome = RunHandler(writer, parsed);
    } else {
        outcome.status = kMissing;
    }
    WriteOutcomeRecord(err, outcome, name);
    return outcome.ok ? kTrue : kFalse;
}

}  // namespace

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL IntpInsertDecl(const char* file, const char* keyword,
                                              const char* declaration, char* err)
{
    return ChangeDeclaration(file, keyword, declaration, err, DeclarationAction::kInsert);
}

TOLVIK_API int32_t TOLVIK_CALL IntpRemoveDecl(const char* file, const char* keyword,
                                              const char* declaration, char* err)
{
    return ChangeDeclaration(file, keyword, declaration, err, DeclarationAction::kRemove);
}

}  // extern "C"
