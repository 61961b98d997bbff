#include "Kinds.h"

namespace tool {

namespace {

std::vector<Kind> MakeKinds()
{
    std::vector<Kind> kinds;
    kinds.push_back(
        {"mdl",
         "model file: one row per task, data package or text file",
         {"File", "Kind", "Switches", "Comment"},
         false,
         [](const std::string& file, const KindOptions&) { return tolvik32::ReadModel(file); },
         [](const std::string& file, tolvik32::Table&& table, const KindOptions& o) {
             if (o.write)
                 tolvik32::WriteModel(file, std::move(table));
             else
                 tolvik32::UpdateModel(file, std::move(table));
         }});
    kinds.push_back(
        {"header",
         "program header: the declaration at the top of a module",
         {"Kind", "Name", "Options", "PLA", "ELA", "LN", "Pages", "Cycle", "PRI", "$BUF", "BlkSize",
          "Def_L", "Def_X", "Def_I", "Def_R"},
         true,
         [](const std::string& file, const KindOptions&) { return tolvik32::ReadHeader(file); },
         [](const std::string& file, tolvik32::Table&& table, const KindOptions&) {
             tolvik32::UpdateHeader(file, std::move(table));
         }});
    return kinds;
}

}  // namespace

const std::vector<Kind>& Kinds()
{
    static const std::vector<Kind> kinds = MakeKinds();
    return kinds;
}

const Kind* FindKind(std::string_view name)
{
    for (const Kind& kind : Kinds()) {
        if (kind.name == name)
            return &kind;
    }
    return nullptr;
}

std::vector<std::string> KindNames()
{
    std::vector<std::string> names;
    for (const Kind& kind : Kinds())
        names.push_back(kind.name);
    return names;
}

}  // namespace tool
