// Loads Tolvik32.dll the way a host that links at run time does: every export
// of windows/Tolvik32.def must resolve by name and by ordinal to the same
// address, and a few calls go through the resolved pointers.
//
// Usage: tolvik_dll_loader [path-to-Tolvik32.dll]
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "tolvik32.h"

namespace {

struct DefExport {
    const char* name;      // the exported name hosts look up
    const char* internal;  // the 32-bit symbol behind it
    WORD ordinal;
};

// Generated from windows/Tolvik32.def at configure time.
const DefExport kDefExports[] = {
#include "DefExports.inc"
};

int g_passed = 0;
int g_failed = 0;

void Check(bool ok, const char* what)
{
    if (ok) {
        ++g_passed;
    } else {
        ++g_failed;
        std::printf("FAILED: %s\n", what);
    }
}

void CheckInt(long long actual, long long expected, const char* what)
{
    if (actual != expected)
        std::printf("  %s: got %lld, expected %lld\n", what, actual, expected);
    Check(actual == expected, what);
}

FARPROC ByOrdinal(HMODULE dll, WORD ordinal)
{
    return ::GetProcAddress(dll, MAKEINTRESOURCEA(ordinal));
}

// Both lookups of each export give the same non-null address; the decorated
// symbol behind an export is not itself exported; ordinals between the listed
// ones stay free.
void CheckExportTable(HMODULE dll)
{
    WORD lowest = 0xFFFF, highest = 0;
    for (const DefExport& e : kDefExports) {
        char what[160];
        FARPROC byName = ::GetProcAddress(dll, e.name);
        FARPROC byOrdinal = ByOrdinal(dll, e.ordinal);
        std::snprintf(what, sizeof what, "%s resolves by name", e.name);
        Check(byName != nullptr, what);
        std::snprintf(what, sizeof what, "%s resolves by ordinal %u", e.name, e.ordinal);
        Check(byOrdinal != nullptr, what);
        std::snprintf(what, sizeof what, "%s: name and ordinal %u give one address", e.name,
                      e.ordinal);
        Check(byName == byOrdinal, what);
        if (std::strcmp(e.name, e.internal) != 0) {
            std::snprintf(what, sizeof what, "%s is not exported", e.internal);
            Check(::GetProcAddress(dll, e.internal) == nullptr, what);
        }
        if (e.ordinal < lowest)
            lowest = e.ordinal;
        if (e.ordinal > highest)
            highest = e.ordinal;
    }
    for (WORD ordinal = lowest; ordinal <= highest; ++ordinal) {
        bool listed = false;
        for (const DefExport& e : kDefExports)
            listed = listed || e.ordinal == ordinal;
        if (!listed && ByOrdinal(dll, ordinal) != nullptr) {
            char what[64];
            std::snprintf(what, sizeof what, "ordinal %u is free", ordinal);
            Check(false, what);
        }
    }
}

template <typename Fn>
Fn Resolve(HMODULE dll, const char* name)
{
    return reinterpret_cast<Fn>(reinterpret_cast<void*>(::GetProcAddress(dll, name)));
}

void CheckIdentification(HMODULE dll)
{
    auto id = Resolve<decltype(&TolvikDLLIDRequest)>(dll, "TolvikDLLIDRequest");
    if (!id)
        return Check(false, "TolvikDLLIDRequest to call");
    char name[64];
    std::memset(name, 'x', sizeof name);
    std::uint8_t info[16];
    std::memset(info, 0xEE, sizeof info);
    CheckInt(id(name, info), -1, "TolvikDLLIDRequest result");
    Check(std::memcmp(name, "Tolvik File Management Library", 31) == 0,
          "TolvikDLLIDRequest name text");
    const std::uint8_t expected[16] = {0xEE, 0xEE, 0xEE, 0xEE, 1, 0,    1,    10,
                                       0,    0,    0,    1,    0, 0xEE, 0xEE, 0xEE};
    Check(std::memcmp(info, expected, sizeof info) == 0,
          "TolvikDLLIDRequest fills bytes 4..12 only");
}

void CheckTableRoundTrip(HMODULE dll)
{
    auto openWrite = Resolve<decltype(&IntpOpenWrite)>(dll, "IntpOpenWrite");
    auto setValue = Resolve<decltype(&IntpSetAttrValue)>(dll, "IntpSetAttrValue");
    auto getValue = Resolve<decltype(&IntpGetAttrValue)>(dll, "IntpGetAttrValue");
    auto closeRead = Resolve<decltype(&IntpCloseRead)>(dll, "IntpCloseRead");
    if (!openWrite || !setValue || !getValue || !closeRead)
        return Check(false, "table exports to call");

    std::uint32_t handle = 0;
    std::uint16_t rows = 2, cols = 3;
    CheckInt(openWrite(&handle, &rows, &cols), -1, "IntpOpenWrite result");
    Check(handle != 0, "IntpOpenWrite gives a handle");

    std::uint16_t row = 1, col = 2, length = 0;
    char text[] = "Pump1";
    CheckInt(setValue(&handle, &row, &col, text), -1, "IntpSetAttrValue result");
    char value[64] = "";
    CheckInt(getValue(&handle, &row, &col, value, &length), -1, "IntpGetAttrValue result");
    Check(std::strcmp(value, "Pump1") == 0, "IntpGetAttrValue reads back the value");
    CheckInt(length, 5, "IntpGetAttrValue length");

    row = 0;
    col = 0;
    CheckInt(getValue(&handle, &row, &col, value, &length), 0, "empty cell result");
    Check(std::strcmp(value, "...") == 0, "empty cell reads as dots");
    CheckInt(length, 3, "empty cell length");

    CheckInt(closeRead(&handle), -1, "IntpCloseRead result");
    CheckInt(handle, 0, "IntpCloseRead clears the handle");
    CheckInt(closeRead(&handle), 0, "IntpCloseRead refuses a cleared handle");
}

void CheckFilterDllMsg(HMODULE dll)
{
    using FilterDllMsg = std::int32_t(TOLVIK_CALL*)(void*);
    auto filter = Resolve<FilterDllMsg>(dll, "_FilterDllMsg@4");
    if (!filter)
        return Check(false, "_FilterDllMsg@4 to call");
    MSG message{};
    CheckInt(filter(&message), 0, "_FilterDllMsg@4 result");
}

}  // namespace

int main(int argc, char** argv)
{
    const char* path = argc > 1 ? argv[1] : "Tolvik32.dll";
    HMODULE dll = ::LoadLibraryA(path);
    if (!dll) {
        std::printf("FAILED: LoadLibraryA(%s), error %lu\n", path, ::GetLastError());
        std::printf("0 passed, 1 failed\n");
        return 1;
    }
    CheckExportTable(dll);
    CheckIdentification(dll);
    CheckTableRoundTrip(dll);
    CheckFilterDllMsg(dll);
    Check(::FreeLibrary(dll) != 0, "FreeLibrary");

    std::printf("%d passed, %d failed\n", g_passed, g_failed);
    return g_failed == 0 ? 0 : 1;
}
