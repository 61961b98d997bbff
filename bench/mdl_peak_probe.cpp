// Reads and updates a model file through the C interface and prints the peak
// resident memory of this process (VmHWM, KiB) before and after:
//   idle_kb=N peak_kb=N            mdl_peak_probe MODEL
//   idle_kb=N warm_kb=N peak_kb=N  mdl_peak_probe MODEL WARMUP
// With WARMUP, that model is read and updated first and warm_kb is the peak
// after it. tolvik_bench_mdl starts it as a process of its own, so that none
// of the benchmark's memory counts. Linux only: the peak comes from /proc.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tolvik32.h"

namespace {

// The process's peak resident memory in KiB, -1 when it cannot be read.
long PeakKiB()
{
#ifdef __linux__
    std::FILE* status = std::fopen("/proc/self/status", "r");
    if (status == nullptr)
        return -1;
    long peak = -1;
    char line[256];
    while (std::fgets(line, sizeof line, status) != nullptr) {
        if (std::strncmp(line, "VmHWM:", 6) == 0) {
            peak = std::strtol(line + 6, nullptr, 10);
            break;
        }
    }
    std::fclose(status);
    return peak;
#else
    return -1;
#endif
}

// A host's round trip: read the model, change one comment, write it back.
bool ReadAndUpdate(const char* file)
{
    uint32_t handle = 0;
    uint16_t rows = 0, cols = 0, row = 0, col = 3;
    char err[4096] = "";
    if (IntpOpenReadMDLFile(file, &handle, &rows, &cols, err) == 0)
        return false;
    char comment[] = "changed by the memory probe";
    IntpSetAttrValue(&handle, &row, &col, comment);
    return IntpCloseUpdateMDLFile(file, &handle, err) != 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: %s MODEL [WARMUP]\n", argv[0]);
        return 64;
    }
    const long idle = PeakKiB();
    long warm = -1;
    if (argc == 3) {
        if (!ReadAndUpdate(argv[2]))
            return 1;
        warm = PeakKiB();
    }
    if (idle < 0 || !ReadAndUpdate(argv[1]))
        return 1;
    const long peak = PeakKiB();
    if (argc == 3)
        std::printf("idle_kb=%ld warm_kb=%ld peak_kb=%ld\n", idle, warm, peak);
    else
        std::printf("idle_kb=%ld peak_kb=%ld\n", idle, peak);
    return 0;
}
