// Printing a table for a terminal, as JSON or as CSV, and reading the JSON
// form back.
//
// JSON: {"columns": N, "rows": [[cell, ...], ...]} with null for an empty cell
// and "\b" for the deletion mark. Cells are bytes: each byte is written as the
// character with that code (U+0000 to U+00FF), so any file content survives a
// round trip unchanged. A table read from a file also carries
// "fingerprint": {"file": name, "size": N, "mtime": text, "hash": text}, the
// state of the file as it was read.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "Fingerprint.h"
#include "tolvik32.hpp"

namespace tool {

using Cell = std::optional<std::string>;

// A table's cells copied out of a library table.
struct Grid {
    std::size_t columns = 0;
    std::vector<std::vector<Cell>> rows;
    // The state of the file the table was read from, when it came with one.
    std::optional<Fingerprint> fingerprint;
};

Grid CopyOut(const tolvik32::Table& table);
tolvik32::Table CopyIn(const Grid& grid);

// Aligned columns under `names` (numbered when fewer names than columns);
// an empty cell shows as "...", control bytes as escapes.
void PrintText(std::ostream& out, const Grid& grid, const std::vector<std::string>& names);
void PrintJson(std::ostream& out, const Grid& grid);
void PrintCsv(std::ostream& out, const Grid& grid);
// A JSON string holding `bytes`, each byte the character of that code, as in
// a table's cells.
std::string JsonString(const std::string& bytes);

// Parses the JSON form; throws tool::BadTable with a message on any mismatch.
Grid ParseJson(const std::string& text);

struct BadTable : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace tool
