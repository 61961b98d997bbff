#include "Charset.h"

#include <array>
#include <atomic>

#include "Platform.h"

namespace tolvik {

namespace {

#include "CodePageTables.inc"

enum CodePageChoice : int { kPlatformDefault = 0, kNoConversion = 1, kCp437 = 2, kCp850 = 3 };

std::atomic<int> g_choice{kPlatformDefault};

struct Table {
    std::array<unsigned char, 256> toAnsi{};
    std::array<unsigned char, 256> toOem{};
};

Table MakeTable(const unsigned char (&high)[128])
{
    Table table;
    for (int i = 0; i < 256; ++i)
        table.toAnsi[i] = table.toOem[i] = static_cast<unsigned char>(i);
    for (int i = 0; i < 128; ++i) {
        table.toAnsi[128 + i] = high[i];
        table.toOem[high[i]] = static_cast<unsigned char>(128 + i);
    }
    return table;
}

const Table* ChosenTable(int choice)
{
    static const Table cp437 = MakeTable(kCp437ToAnsi);
    static const Table cp850 = MakeTable(kCp850ToAnsi);
    if (choice == kCp437)
        return &cp437;
    if (choice == kCp850)
        return &cp850;
    return nullptr;
}

void Convert(std::string& text, bool toAnsi)
{
    const int choice = g_choice.load();
    if (choice == kNoConversion)
        return;
    if (const Table* table = ChosenTable(choice)) {
        const auto& map = toAnsi ? table->toAnsi : table->toOem;
        for (char& c : text)
            c = static_cast<char>(map[static_cast<unsigned char>(c)]);
        return;
    }
    if (toAnsi)
        CurrentPlatform().OemToAnsi(text);
    else
        CurrentPlatform().AnsiToOem(text);
}

}  // namespace

bool SetCodePages(std::uint32_t oem, std::uint32_t ansi)
{
    if (oem == 0 && ansi == 0)
        g_choice.store(kNoConversion);
    else if (oem == 437 && ansi == 1252)
        g_choice.store(kCp437);
    else if (oem == 850 && ansi == 1252)
        g_choice.store(kCp850);
    else
        return false;
    return true;
}

void OemToAnsi(std::string& text)
{
    Convert(text, true);
}
void AnsiToOem(std::string& text)
{
    Convert(text, false);
}

bool ConversionKeepsAsciiApart()
{
    std::string bytes(256, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i);
    OemToAnsi(bytes);
    if (bytes.size() != 256)
        return false;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const bool ascii = static_cast<unsigned char>(bytes[i]) < 0x80;
        if (i < 0x80 ? bytes[i] != static_cast<char>(i) : ascii)
            return false;
    }
    return true;
}

void MakeUpper(std::string& text)
{
    for (char& c : text)
        c = UpperChar(c);
}

std::string ToUpper(std::string_view text)
{
    std::string result(text);
    MakeUpper(result);
    return result;
}

bool EqualsNoCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (UpperChar(a[i]) != UpperChar(b[i]))
            return false;
    return true;
}

}  // namespace tolvik
