// Runs the fuzz target without a fuzzing engine: over the files named on the
// command line, and over a fixed number of deterministic mutations of them.
// CI runs it under the sanitizers as a short, repeatable fuzzing pass.
// Files after --as-is are whole inputs of the target, kind byte first (what
// the fuzzer saves for a finding): each runs once, exactly as it is.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv)
{
    int mutations = 2000;
    std::vector<std::string> seeds;
    std::vector<std::string> inputs;
    bool asIs = false;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg.rfind("--mutations=", 0) == 0) {
            mutations = std::atoi(arg.c_str() + 12);
            continue;
        }
        if (arg == "--as-is") {
            asIs = true;
            continue;
        }
        std::ifstream in(arg, std::ios::binary);
        if (!in) {
            std::fprintf(stderr, "cannot read %s\n", arg.c_str());
            return 1;
        }
        std::ostringstream text;
        text << in.rdbuf();
        (asIs ? inputs : seeds).push_back(text.str());
    }
    if (seeds.empty())
        seeds.push_back("{ TASK\n  A.tse /X ; c\n}\n");
    std::mt19937 random(12345);
    auto run = [](const std::string& input) {
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
    };
    long runs = 0;
    for (const std::string& input : inputs) {
        run(input);
        ++runs;
    }
    for (const std::string& seed : seeds)
        for (int kind = 0; kind < 8; ++kind, ++runs)
            run(std::string(1, static_cast<char>(kind)) + seed);
    const std::string alphabet =
        "{}[]()=;:/#$,\"' \t\r\n\x1a\x08\xff"
        "ABCTASKDPACTEXTValues0123";
    for (int i = 0; i < mutations; ++i, ++runs) {
        std::string input = seeds[random() % seeds.size()];
        const int edits = 1 + static_cast<int>(random() % 8);
        for (int e = 0; e < edits; ++e) {
            const std::size_t at = input.empty() ? 0 : random() % (input.size() + 1);
            switch (random() % 4) {
                case 0:
                    input.insert(at, 1, alphabet[random() % alphabet.size()]);
                    break;
                case 1:
                    if (at < input.size())
                        input.erase(at, 1 + random() % 4);
                    break;
                case 2:
                    if (at < input.size())
                        input[at] = static_cast<char>(random());
                    break;
                default:
                    input.insert(at, input.substr(at, random() % 40));
                    break;
            }
        }
        run(std::string(1, static_cast<char>(random() % 8)) + input);
    }
    std::printf("%ld passed, 0 failed\n", runs);
    return 0;
}
