// Character sets: OEM <-> ANSI conversion of file text, and Windows-1252
// upper-casing, which every platform uses for case-insensitive matching.
#pragma once

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

char UpperChar(char c);
// Upper-cases in place, as Windows-1252 defines upper case.
void MakeUpper(std::string& text);
std::string ToUpper(std::string_view text);
// Equal without regard to case (Windows-1252 letters).
bool EqualsNoCase(std::string_view a, std::string_view b);

}  // namespace tolvik
