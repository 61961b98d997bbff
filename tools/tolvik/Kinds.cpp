#include "Kinds.h"

namespace tool {

namespace {

const std::vector<std::string> kStringColumns{"Name", "Index", "Tag", "Value", "Comment"};
const std::vector<std::string> kVariableColumns{"Type", "Name", "Address", "Values", "Comment"};

std::vector<Kind> MakeKinds()
{
    using tolvik32::Table;
    std::vector<Kind> kinds;
    kinds.push_back({
        .name = "mdl",
        .summary = "model file: one row per task, data package or text file",
        .columns = {"File", "Kind", "Switches", "Comment"},
        .read = [](const std::string& file,
                   const KindOptions&) { return tolvik32::ReadModel(file); },
        .apply =
            [](const std::string& file, Table&& table, const KindOptions& o) {
                if (o.write)
                    tolvik32::WriteModel(file, std::move(table));
                else
                    tolvik32::UpdateModel(file, std::move(table));
            },
    });
    kinds.push_back({
        .name = "header",
        .summary = "program header: the declaration at the top of a module",
        .columns = {"Kind", "Name", "Options", "PLA", "ELA", "LN", "Pages", "Cycle", "PRI", "$BUF",
                    "BlkSize", "Def_L", "Def_X", "Def_I", "Def_R"},
        .oneRecord = true,
        .read = [](const std::string& file,
                   const KindOptions&) { return tolvik32::ReadHeader(file); },
        .apply = [](const std::string& file, Table&& table,
                    const KindOptions&) { tolvik32::UpdateHeader(file, std::move(table)); },
    });
    kinds.push_back({
        .name = "values",
        .summary = "BPAC values: rows 0 and 1 the column letters and names, then the values",
        .columns = {},
        .read = [](const std::string& file,
                   const KindOptions&) { return tolvik32::ReadValues(file); },
        .apply = [](const std::string& file, Table&& table,
                    const KindOptions&) { tolvik32::UpdateValues(file, std::move(table)); },
    });
    kinds.push_back({
        .name = "strings",
        .summary = "text strings file: one row per string (--start, --end select a region)",
        .columns = kStringColumns,
        .read =
            [](const std::string& file, const KindOptions& o) {
                return tolvik32::ReadTextStrings(file, o.start, o.end);
            },
        .apply =
            [](const std::string& file, Table&& table, const KindOptions& o) {
                tolvik32::WriteTextStrings(file, std::move(table), o.start, o.end);
            },
    });
    kinds.push_back({
        .name = "vars",
        .summary = "VPAC variables file: one row per variable (--start, --end select a region)",
        .columns = kVariableColumns,
        .read = [](const std::string& file,
                   const KindOptions& o) { return tolvik32::ReadVariables(file, o.start, o.end); },
        .apply =
            [](const std::string& file, Table&& table, const KindOptions& o) {
                tolvik32::WriteVariables(file, std::move(table), o.start, o.end);
            },
    });
    kinds.push_back({
        .name = "task-stub",
        .summary = "a task's declarations kept as the embedded file --stub NAME",
        .columns = {"Type", "Name", "Values", "Comment"},
        .needsStub = true,
        .read = [](const std::string& file,
                   const KindOptions& o) { return tolvik32::ReadTaskStub(file, o.stub); },
        .apply =
            [](const std::string& file, Table&& table, const KindOptions& o) {
                tolvik32::UpdateTaskStub(file, std::move(table), o.stub);
            },
    });
    kinds.push_back({
        .name = "text-stub",
        .summary = "text strings kept as the embedded file --stub NAME",
        .columns = kStringColumns,
        .needsStub = true,
        .read = [](const std::string& file,
                   const KindOptions& o) { return tolvik32::ReadTextStub(file, o.stub); },
        .apply =
            [](const std::string& file, Table&& table, const KindOptions& o) {
                tolvik32::WriteTextStub(file, std::move(table), o.stub);
            },
    });
    kinds.push_back({
        .name = "vpac-stub",
        .summary = "VPAC variables kept as the embedded file --stub NAME",
        .columns = kVariableColumns,
        .needsStub = true,
        .read = [](const std::string& file,
                   const KindOptions& o) { return tolvik32::ReadVpacStub(file, o.stub); },
        .apply =
            [](const std::string& file, Table&& table, const KindOptions& o) {
                tolvik32::WriteVpacStub(file, std::move(table), o.stub);
            },
    });
    kinds.push_back({
        .name = "embedded",
        .summary = "the embedded file --stub NAME as one cell of text (apply replaces it where it "
                   "stands, or inserts it after --point)",
        .columns = {"Text"},
        .needsStub = true,
        .textBody = true,
        .read =
            [](const std::string& file, const KindOptions& o) {
                Table table(1, 1);
                table.Set(0, 0, tolvik32::ReadEmbedded(file, o.stub));
                return table;
            },
        .apply =
            [](const std::string& file, Table&& table, const KindOptions& o) {
                if (table.Rows() != 1 || table.Columns() != 1)
                    throw tolvik32::Error::Invalid(
                        "an embedded file's table is one row of one cell");
                tolvik32::InsertEmbedded(file, o.point, o.stub, table.Get(0, 0).value_or(""), true);
            },
    });
    kinds.push_back({
        .name = "profile",
        .summary = "profile file: a row per section and parameter, or with --select a row per "
                   "section and a column per --want NAME",
        .columns = {"Type", "Name", "Value", "Comment"},
        .read =
            [](const std::string& file, const KindOptions& o) {
                return tolvik32::ReadProfile(file, o.ProfileFlags(), o.names, o.sections);
            },
        .apply =
            [](const std::string& file, Table&& table, const KindOptions& o) {
                tolvik32::WriteProfile(file, std::move(table), o.ProfileFlags());
            },
    });
    return kinds;
}

}  // namespace

unsigned KindOptions::ProfileFlags() const
{
    return (select ? tolvik32::kSelection : tolvik32::kListing) |
           (strictSections ? tolvik32::kStrictSections : 0u) |
           (strictParameters ? tolvik32::kStrictParameters : 0u);
}

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
