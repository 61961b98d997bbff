// IntpInsertDecl and IntpRemoveDecl: one declaration into or out of the block of
// a file that opens with "{" and the declaration's keyword.
#include "../declarations/DeclarationParser.h"
#include "../textfile/Charset.h"
#include "Frame.h"
#include "tolvik32.h"

using namespace tolvik;

namespace {

// The declaration is checked in memory first; only a declaration that parses
// reaches the file, which is then rewritten in one step.
std::int32_t ChangeDeclaration(const char* file, const char* keyword, const char* declaration,
                               char* err, DeclarationAction action)
{
    return FileExport({file, err}, [&](const std::string& name) {
        std::string text = "{ " + TextOf(keyword) + ' ' + TextOf(declaration) + "\n}";
        AnsiToOem(text);
        std::unique_ptr<CAttributeList> parsed;
        {
            CDeclarationParser reader(text, true, kRead, action);
            Outcome checked = RunHandler(reader, parsed, name);
            if (!checked.ok())
                return checked;
        }
        return RunHandler(
            [action](const std::string& source, int mode) -> std::unique_ptr<CSourceParser> {
                return std::make_unique<CDeclarationParser>(source, false, mode, action);
            },
            name, kUpdate, parsed);
    });
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
