#include "TableFormat.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

namespace tool {

namespace {

// The UTF-8 form of bytes taken as the characters U+0000 to U+00FF.
std::string BytesToUtf8(const std::string& bytes)
{
    std::string text;
    text.reserve(bytes.size());
    for (const char ch : bytes) {
        const auto byte = static_cast<unsigned char>(ch);
        if (byte < 0x80) {
            text += ch;
        } else {
            text += static_cast<char>(0xC0 | (byte >> 6));
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return text;
}

// The bytes back from their UTF-8 form; a character above U+00FF is refused.
std::string Utf8ToBytes(const std::string& text)
{
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto lead = static_cast<unsigned char>(text[i]);
        if (lead == 0) {
            throw BadTable("a cell can not hold a NUL character");
        } else if (lead < 0x80) {
            bytes += text[i];
        } else if ((lead == 0xC2 || lead == 0xC3) && i + 1 < text.size()) {
            const auto next = static_cast<unsigned char>(text[++i]);
            bytes += static_cast<char>(((lead & 0x03) << 6) | (next & 0x3F));
        } else {
            throw BadTable("a cell holds a character above U+00FF (cells are bytes)");
        }
    }
    return bytes;
}

// A cell as one line of terminal text.
std::string Printable(const Cell& cell)
{
    if (!cell)
        return "...";
    std::string text;
    for (const char ch : *cell) {
        const auto byte = static_cast<unsigned char>(ch);
        if (ch == '\n') {
            text += "\\n";
        } else if (ch == '\r') {
            text += "\\r";
        } else if (ch == '\t') {
            text += "\\t";
        } else if (ch == '\b') {
            text += "\\b";
        } else if (byte < 0x20 || byte == 0x7F) {
            static constexpr char kHex[] = "0123456789abcdef";
            text += "\\x";
            text += kHex[byte >> 4];
            text += kHex[byte & 0x0F];
        } else {
            text += ch;
        }
    }
    return text;
}

std::string CsvField(const Cell& cell)
{
    if (!cell)
        return std::string();
    if (cell->find_first_of(",\"\r\n") == std::string::npos)
        return *cell;
    std::string field = "\"";
    for (const char ch : *cell) {
        if (ch == '"')
            field += '"';
        field += ch;
    }
    return field + '"';
}

}  // namespace

Grid CopyOut(const tolvik32::Table& table)
{
    Grid grid;
    grid.columns = table.Columns();
    grid.rows.resize(table.Rows());
    for (std::size_t r = 0; r < table.Rows(); ++r) {
        grid.rows[r].reserve(grid.columns);
        for (std::size_t c = 0; c < grid.columns; ++c)
            grid.rows[r].push_back(table.Get(r, c));
    }
    return grid;
}

tolvik32::Table CopyIn(const Grid& grid)
{
    tolvik32::Table table(grid.rows.size(), grid.columns);
    for (std::size_t r = 0; r < grid.rows.size(); ++r) {
        for (std::size_t c = 0; c < grid.columns; ++c) {
            if (grid.rows[r][c])
                table.Set(r, c, *grid.rows[r][c]);
        }
    }
    return table;
}

void PrintText(std::ostream& out, const Grid& grid, const std::vector<std::string>& names)
{
    std::vector<std::vector<std::string>> lines;
    std::vector<std::string> head;
    for (std::size_t c = 0; c < grid.columns; ++c)
        head.push_back(c < names.size() ? names[c] : std::to_string(c));
    lines.push_back(head);
    for (const auto& row : grid.rows) {
        std::vector<std::string> line;
        for (const Cell& cell : row)
            line.push_back(Printable(cell));
        lines.push_back(line);
    }
    std::vector<std::size_t> widths(grid.columns, 0);
    for (const auto& line : lines) {
        for (std::size_t c = 0; c < line.size(); ++c)
            widths[c] = std::max(widths[c], line[c].size());
    }
    for (const auto& line : lines) {
        std::string text;
        for (std::size_t c = 0; c < line.size(); ++c) {
            text += line[c];
            if (c + 1 < line.size())
                text += std::string(widths[c] - line[c].size() + 2, ' ');
        }
        text.erase(text.find_last_not_of(' ') + 1);
        out << text << '\n';
    }
}

void PrintJson(std::ostream& out, const Grid& grid)
{
    // One row per line, so that a table diffs and edits well.
    out << "{\"columns\": " << grid.columns << ", \"rows\": [";
    for (std::size_t r = 0; r < grid.rows.size(); ++r) {
        out << (r ? ",\n  [" : "\n  [");
        for (std::size_t c = 0; c < grid.rows[r].size(); ++c) {
            const Cell& cell = grid.rows[r][c];
            out << (c ? ", " : "") << (cell ? JsonString(*cell) : std::string("null"));
        }
        out << ']';
    }
    out << (grid.rows.empty() ? "]" : "\n]");
    if (const auto& state = grid.fingerprint) {
        out << ",\n\"fingerprint\": {\"file\": " << JsonString(state->file)
            << ", \"size\": " << state->size << ", \"mtime\": " << JsonString(state->mtime)
            << ", \"hash\": " << JsonString(state->hash) << '}';
    }
    out << "}\n";
}

std::string JsonString(const std::string& bytes)
{
    return nlohmann::json(BytesToUtf8(bytes)).dump();
}

void PrintCsv(std::ostream& out, const Grid& grid)
{
    for (const auto& row : grid.rows) {
        for (std::size_t c = 0; c < row.size(); ++c)
            out << (c ? "," : "") << CsvField(row[c]);
        out << '\n';
    }
}

Grid ParseJson(const std::string& text)
{
    const nlohmann::json doc = nlohmann::json::parse(text, nullptr, false);
    if (doc.is_discarded())
        throw BadTable("not valid JSON");
    if (!doc.is_object() || !doc.contains("columns") || !doc.contains("rows"))
        throw BadTable("expected an object with \"columns\" and \"rows\"");
    const nlohmann::json& columns = doc["columns"];
    if (!columns.is_number_unsigned() || columns.get<std::size_t>() == 0 ||
        columns.get<std::size_t>() > 65535)
        throw BadTable("\"columns\" must be a number from 1 to 65535");
    Grid grid;
    grid.columns = columns.get<std::size_t>();
    if (!doc["rows"].is_array())
        throw BadTable("\"rows\" must be an array of rows");
    for (const nlohmann::json& row : doc["rows"]) {
        const std::string where = "row " + std::to_string(grid.rows.size());
        if (!row.is_array() || row.size() != grid.columns)
            throw BadTable(where + ": expected an array of " + std::to_string(grid.columns) +
                           " cells");
        std::vector<Cell> cells;
        for (const nlohmann::json& cell : row) {
            if (cell.is_null())
                cells.emplace_back(std::nullopt);
            else if (cell.is_string())
                cells.emplace_back(Utf8ToBytes(cell.get<std::string>()));
            else
                throw BadTable(where + ": a cell is a string or null");
        }
        grid.rows.push_back(std::move(cells));
    }
    if (doc.contains("fingerprint")) {
        const nlohmann::json& state = doc["fingerprint"];
        if (!state.is_object() || !state.contains("file") || !state["file"].is_string() ||
            !state.contains("size") || !state["size"].is_number_unsigned() ||
            !state.contains("mtime") || !state["mtime"].is_string() || !state.contains("hash") ||
            !state["hash"].is_string())
            throw BadTable(
                "\"fingerprint\" must be an object with \"file\", \"size\", \"mtime\" and "
                "\"hash\"");
        grid.fingerprint = Fingerprint{
            Utf8ToBytes(state["file"].get<std::string>()), state["size"].get<std::uint64_t>(),
            state["mtime"].get<std::string>(), state["hash"].get<std::string>()};
    }
    return grid;
}

}  // namespace tool
