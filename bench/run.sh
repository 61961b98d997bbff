#!/usr/bin/env bash
# Builds the benchmarks (Release, in their own build folder) and prints every
# speed figure as a ratio against its anchor, both measured in the same run.
#
#   bench/run.sh                              the whole run
#   TOLVIK_BENCH_EMBED_MIB=8 bench/run.sh     a quick run (an 8 MiB source for
#                                             the embedded insert instead of 100)
#   bench/run.sh --benchmark_min_time=0.2     arguments go to every program
#
# TOLVIK_BENCH_BUILD sets the build folder (default: build-bench). The full
# output of the programs is kept in the build folder as bench-output.txt.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${TOLVIK_BENCH_BUILD:-$root/build-bench}

generator=()
command -v ninja >/dev/null && generator=(-G Ninja)
cmake -S "$root" -B "$build" "${generator[@]}" -DCMAKE_BUILD_TYPE=Release \
    -DTOLVIK_BUILD_BENCH=ON -DTOLVIK_BUILD_TESTS=OFF -DTOLVIK_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" -j2 >/dev/null

output=$build/bench-output.txt
: >"$output"
for kind in embedded mdl profile header; do
    echo "running tolvik_bench_$kind ..." >&2
    "$build/bench/tolvik_bench_$kind" "$@" >>"$output" 2>&1
done

echo
echo "Ratios against their anchors ($(nproc 2>/dev/null || echo ?) cores, Release build):"
echo
echo "| figure | now | goal |"
echo "|---|---|---|"
grep '^FIGURE |' "$output" |
    sed -e 's/^FIGURE | *//' -e 's/ *| */ | /g' -e 's/^/| /' -e 's/$/ |/'
echo
echo "Full output: $output"
