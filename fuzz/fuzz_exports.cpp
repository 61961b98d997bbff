// Fuzz target over the whole C interface: the input's first byte picks a file
// kind, the rest is the file. Each kind is read, written back with the table it
// gave, and read again. Nothing may crash, hang or touch memory it does not
// own, whatever the file holds.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "tolvik32.h"

namespace {

namespace fs = std::filesystem;

struct Session {
    Session()
    {
        dir = fs::temp_directory_path() / ("tolvik-fuzz-" + std::to_string(std::rand()));
        fs::create_directories(dir);
        fs::current_path(dir);  // temporary files are made in the current directory
        TolvikSetMessageHook([](const char*, const char*, uint32_t) {});
    }
    fs::path dir;
};

char g_empty[] = "";

// Reads every cell, as a host would.
void Touch(uint32_t handle, uint16_t rows, uint16_t cols)
{
    static char value[70000];
    uint16_t length = 0;
    for (uint16_t r = 0; r < rows && r < 200; ++r)
        for (uint16_t c = 0; c < cols; ++c)
            IntpGetAttrValue(&handle, &r, &c, value, &length);
}

void Cycle(int kind, char* file)
{
    char err[8192];
    uint32_t handle = 0;
    uint16_t rows = 0, cols = 0;
    for (int round = 0; round < 2; ++round) {
        std::strcpy(err, kind == 6 ? "1024" : "0");
        int32_t ok = 0;
        switch (kind) {
            case 0:
                ok = IntpOpenReadMDLFile(file, &handle, &rows, &cols, err);
                break;
            case 1:
                ok = IntpOpenReadVORLHead(file, &handle, &rows, &cols, err);
                break;
            case 2:
                ok = IntpOpenReadBPACValues(file, &handle, &rows, &cols, err);
                break;
            case 3:
                ok = IntpOpenReadTextStrings(file, &handle, &rows, &cols, g_empty, g_empty, err);
                break;
            case 4:
                ok = IntpOpenReadVpacVariables(file, &handle, &rows, &cols, g_empty, g_empty, err);
                break;
            case 5:
                ok = IntpOpenReadTaskStub(file, &handle, &rows, &cols, "Stub", err);
                break;
            case 6:
                ok = IntpOpenReadProfileFile(file, &handle, &rows, &cols, err);
                break;
            default:
                ok = IntpOpenReadEmbeddedFile(file, &handle, "Stub", err);
                break;
        }
        if (!ok || !handle)
            return;
        Touch(handle, rows, cols);
        std::strcpy(err, kind == 6 ? "1024" : "0");
        switch (kind) {
            case 0:
                IntpCloseUpdateMDLFile(file, &handle, err);
                break;
            case 1:
                IntpCloseUpdateVORLHead(file, &handle, err);
                break;
            case 2:
                IntpCloseUpdateBPACValues(file, &handle, err);
                break;
            case 3:
                IntpCloseWriteTextStrings(file, &handle, g_empty, g_empty, err);
                break;
            case 4:
                IntpCloseWriteVpacVariables(file, &handle, g_empty, g_empty, err);
                break;
            case 5:
                IntpCloseUpdateTaskStub(file, &handle, "Stub", err);
                break;
            case 6:
                IntpCloseWriteProfileFile(file, &handle, err);
                break;
            default:
                IntpCloseRead(&handle);
                break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Session session;
    if (size == 0)
        return 0;
    const int kind = data[0] % 8;
    static const char* const kNames[] = {"F.MDL", "F.tse", "F.bpe", "F.txe",
                                         "F.dpe", "F.tse", "F.ini", "F.tse"};
    std::string name = kNames[kind];
    {
        std::ofstream out(name, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data + 1), static_cast<std::streamsize>(size - 1));
    }
    Cycle(kind, name.data());
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(session.dir, ignored))
        fs::remove(entry.path(), ignored);
    return 0;
}
