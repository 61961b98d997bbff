// The file kinds the tool reads and writes back, each a pair of calls of
// tolvik32.hpp and the options it needs.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tolvik32.hpp"

namespace tool {

// Everything a kind may need besides the file; each kind reads what it uses.
struct KindOptions {
    bool write = false;  // model files: write anew instead of updating
    std::string stub;    // stubs and embedded files: the embedded file's name
    std::string start;   // strings, vars: the first name of the region
    std::string end;     // strings, vars: the last name (a pattern) of the region
    std::string point;   // embedded: the embedding point a new embedded file follows
    // profile: a selection instead of the listing, the wanted names and the
    // section patterns, and which mismatches are errors
    bool select = false;
    std::vector<std::string> names;
    std::vector<std::string> sections;
    bool strictSections = false;
    bool strictParameters = false;

    unsigned ProfileFlags() const;
};

struct Kind {
    std::string name;
    std::string summary;
    std::vector<std::string> columns;  // names for the terminal; empty: numbered
    bool oneRecord = false;            // one row: printed as "name value" lines
    bool needsStub = false;            // --stub is required
    bool textBody = false;             // one cell holding a text, printed as it is
    std::function<tolvik32::Table(const std::string& file, const KindOptions&)> read;
    std::function<void(const std::string& file, tolvik32::Table&&, const KindOptions&)> apply;
};

const std::vector<Kind>& Kinds();
const Kind* FindKind(std::string_view name);
std::vector<std::string> KindNames();

}  // namespace tool
