// Character sets: OEM <-> ANSI conversion of file text, and Windows-1252
// upper-casing, which every platform uses for case-insensitive matching.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tolvik {

// Chooses the code-page pair. (0, 0) turns conversion off; (437, 1252) and
// (850, 1252) use built-in tables. False (and no change) for any other pair.
bool SetCodePages(std::uint32_t oem, std::uint32_t ansi);

// Conversion in place with the chosen pair; before any choice, the platform's
// own conversion (none off Windows). Both directions are exact inverses of each
// other, so text read and written back keeps every byte.
void OemToAnsi(std::string& text);
void AnsiToOem(std::string& text);
// Whether the conversion in use keeps every byte below 0x80 as it is and
// turns no other byte into one: a search for ASCII text may then skip it.
bool ConversionKeepsAsciiApart();

namespace detail {
constexpr std::array<char, 256> MakeUpperTable()
{
    std::array<char, 256> upper{};
    for (int i = 0; i < 256; ++i) {
        int u = i;
        if ((i >= 'a' && i <= 'z') || (i >= 0xE0 && i <= 0xFE && i != 0xF7))
            u = i - 0x20;
        else if (i == 0x9A || i == 0x9C || i == 0x9E)  // s, oe, z with caron/ligature
            u = i - 0x10;
        else if (i == 0xFF)  // y with diaeresis
            u = 0x9F;
        upper[static_cast<std::size_t>(i)] = static_cast<char>(u);
    }
    return upper;
}
inline constexpr std::array<char, 256> kUpperCase = MakeUpperTable();
}  // namespace detail

inline char UpperChar(char c)
{
    return detail::kUpperCase[static_cast<unsigned char>(c)];
}
// Upper-cases in place, as Windows-1252 defines upper case.
void MakeUpper(std::string& text);
std::string ToUpper(std::string_view text);
// Equal without regard to case (Windows-1252 letters).
bool EqualsNoCase(std::string_view a, std::string_view b);

}  // namespace tolvik
