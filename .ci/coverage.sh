#!/usr/bin/env bash
# Line coverage of src/ by every test: a Debug build with gcov counters in
# build-cov/, the tests run there, and gcovr's summary. Fails when fewer than
# TOLVIK_MIN_COVERAGE percent (90) of the lines of src/ ran; the number is
# printed either way. Needs gcovr (.ci/run installs it).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
min=${TOLVIK_MIN_COVERAGE:-90}

log=build-cov/ci.log
mkdir -p build-cov
cmake -S . -B build-cov -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTOLVIK_COVERAGE=ON \
    -DTOLVIK_BUILD_BENCH=OFF -DCMAKE_COMPILE_WARNING_AS_ERROR=ON >"$log" 2>&1 ||
    { cat "$log"; exit 1; }
cmake --build build-cov -j2 >>"$log" 2>&1 || { cat "$log"; exit 1; }
# Counters from an earlier run would add to this one.
find build-cov -name '*.gcda' -delete
ctest --test-dir build-cov -j2 --output-on-failure >>"$log" 2>&1 || { cat "$log"; exit 1; }
grep -E '^[0-9]+% tests passed' "$log"
gcovr --root . --filter 'src/' --print-summary --fail-under-line "$min" \
    --txt build-cov/coverage.txt build-cov || {
    echo "FAILED: line coverage of src/ is below $min% (per file: build-cov/coverage.txt)" >&2
    exit 1
}
