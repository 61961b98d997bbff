#!/usr/bin/env bash
# Fuzzes the whole C interface for a minute (TOLVIK_FUZZ_SECONDS) with
# libFuzzer, AddressSanitizer and UBSan (clang, build-fuzz/), starting from the
# golden inputs under tests/data and the example project. Any finding (a crash,
# a leak, undefined behaviour, an input that runs longer than 10 seconds) fails.
# Needs clang and its libFuzzer runtime (.ci/run installs them).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
ROOT=$PWD
seconds=${TOLVIK_FUZZ_SECONDS:-60}
out=$ROOT/build-fuzz

mkdir -p "$out"
cmake -S . -B "$out" -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTOLVIK_FUZZ=ON -DTOLVIK_SANITIZE=ON \
    -DTOLVIK_BUILD_TESTS=OFF -DTOLVIK_BUILD_TOOLS=OFF -DTOLVIK_BUILD_BENCH=OFF \
    -DCMAKE_COMPILE_WARNING_AS_ERROR=ON >"$out/ci.log" 2>&1 || { cat "$out/ci.log"; exit 1; }
cmake --build "$out" -j2 --target tolvik_fuzz >>"$out/ci.log" 2>&1 || { cat "$out/ci.log"; exit 1; }

# --- Seeds --------------------------------------------------------------------
# The fuzz target takes an input's first byte (modulo 8) as the kind of file
# and the rest as the file: 0 model file, 1 program header, 2 BPAC values,
# 3 text strings, 4 VPAC variables, 5 task stub "Stub", 6 profile, 7 embedded
# file "Stub". Each golden input goes in behind the byte of its kind.
corpus=$(mktemp -d)
trap 'rm -rf "$corpus"' EXIT
count=(0 0 0 0 0 0 0 0)
seed() { # seed KIND < TEXT
    local kind=$1
    {
        # shellcheck disable=SC2059 # the byte is written by the format itself
        printf "\\x0$kind"
        cat
    } >"$corpus/seed-$kind-${count[kind]}"
    count[kind]=$((count[kind] + 1))
}
# Stubs are kept as embedded files; the target reads the one named "Stub".
named_stub() { sed -E 's/(Embedded(File)?(Start|End)[[:space:]]+)"[^"]*"/\1"Stub"/' "$1"; }

data=tests/data
examples=examples/project
# Every golden case keeps its file as tests/data/KIND/CASE/input.
inputs() { find "$data/$1" -name input -print0; }
while IFS= read -r -d '' f; do seed 0 <"$f"; done < <(inputs mdl; find "$examples" -iname '*.mdl' -print0)
while IFS= read -r -d '' f; do seed 1 <"$f"; done < <(inputs header; find "$examples" \( -name '*.tse' -o -name '*.dpe' -o -name '*.txe' \) -print0)
while IFS= read -r -d '' f; do seed 2 <"$f"; done < <(inputs bpac; grep -lZ '{ *BPAC' "$examples"/*.dpe)
while IFS= read -r -d '' f; do seed 3 <"$f"; done < <(inputs strings; find "$examples" -name '*.txe' -print0)
while IFS= read -r -d '' f; do seed 4 <"$f"; done < <(inputs vars; grep -lZ '{ *VPAC' "$examples"/*.dpe)
while IFS= read -r -d '' f; do seed 5 < <(named_stub "$f"); done < <(inputs taskstub)
while IFS= read -r -d '' f; do seed 6 <"$f"; done < <(inputs profile; find "$examples" -iname '*.ini' -print0)
while IFS= read -r -d '' f; do seed 7 < <(named_stub "$f"); done < <(inputs embedded; find "$examples" -name '*.tse' -print0)
echo "seeds per kind (0-7): ${count[*]}"
for kind in 0 1 2 3 4 5 6 7; do
    ((count[kind] > 0)) || { echo "FAILED: no seed of kind $kind: did the golden inputs under $data move?" >&2; exit 1; }
done

# --- Run ----------------------------------------------------------------------
# A finding is saved under build-fuzz/findings/ (crash-*, leak-*, timeout-*):
# the whole input, kind byte first. `build-fuzz/fuzz/tolvik_fuzz FILE` runs it
# again. Fix the fault and keep the input as a test case: put the file as it is
# into fuzz/regressions/, whose inputs the fuzz.replay test runs on every build.
findings=$out/findings
rm -rf "$findings" && mkdir -p "$findings"
set +e
UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ASAN_OPTIONS=detect_leaks=1 \
    "$out/fuzz/tolvik_fuzz" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$findings/" "$corpus" >"$out/fuzz.log" 2>&1
rc=$?
set -e
grep -E '^(INFO: seed corpus|#[0-9]+[[:space:]]+INITED|Done [0-9]+ runs|stat::(number_of_executed_units|average_exec_per_sec|new_units_added|peak_rss_mb))' \
    "$out/fuzz.log" || true
if ((rc != 0)); then
    tail -n 60 "$out/fuzz.log"
    echo "FAILED: the fuzzer found an input that fails (exit $rc); saved as:" >&2
    find "$findings" -type f -printf '    %p\n' >&2
    exit 1
fi
echo "fuzzing for ${seconds}s found nothing"
