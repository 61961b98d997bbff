#!/usr/bin/env bash
# The Windows side: cross-builds Tolvik32.dll for 32- and 64-bit Windows with
# MinGW-w64, checks the DLLs' export tables against windows/Tolvik32.def and
# runs the Windows tests under wine.
#
#   build-win32/  32-bit DLL, run-time loader, plain-C host
#   build-win64/  64-bit DLL, loader, C interface tests (GoogleTest), the tool
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
ROOT=$PWD
DEF=windows/Tolvik32.def

step() { printf '\n== %s\n' "$*"; }
fail() { printf 'FAILED: %s\n' "$*" >&2; exit 1; }

# --- Tools ------------------------------------------------------------------
missing=()
command -v i686-w64-mingw32-g++-posix >/dev/null || missing+=(g++-mingw-w64-i686)
command -v x86_64-w64-mingw32-g++-posix >/dev/null || missing+=(g++-mingw-w64-x86-64)
command -v wine >/dev/null || missing+=(wine64 wine)
command -v cmake >/dev/null || missing+=(cmake)
command -v ninja >/dev/null || missing+=(ninja-build)
[[ -f /usr/src/googletest/CMakeLists.txt ]] || missing+=(googletest)
if ((${#missing[@]})); then
    step "Installing ${missing[*]}"
    sudo=""
    [[ $(id -u) -eq 0 ]] || sudo=sudo
    $sudo apt-get update -q
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q "${missing[@]}"
fi

# --- Build ------------------------------------------------------------------
# Configures and builds; any compiler or linker warning fails the build.
build() {
    local dir=$1 toolchain=$2
    shift 2
    mkdir -p "$dir"
    cmake -S . -B "$dir" -G Ninja -DCMAKE_TOOLCHAIN_FILE="cmake/$toolchain" \
        -DCMAKE_BUILD_TYPE=RelWithDebInfo >"$dir/configure.log" 2>&1 ||
        { cat "$dir/configure.log"; fail "configure $dir"; }
    ninja -C "$dir" "$@" >"$dir/build.log" 2>&1 || { cat "$dir/build.log"; fail "build $dir"; }
    if grep -qi 'warning' "$dir/build.log"; then
        cat "$dir/build.log"
        fail "warnings in $dir"
    fi
    echo "built: $*"
}

step "Building 32-bit (build-win32)"
build build-win32 mingw-i686.cmake Tolvik32 tolvik_dll_loader tolvik_hello
step "Building 64-bit (build-win64)"
build build-win64 mingw-x86_64.cmake Tolvik32 tolvik_dll_loader tolvik_capi_tests tolvik

# --- Export tables ----------------------------------------------------------
# "ordinal name" for every export line of the .def.
def_exports() {
    sed -n 's/^[[:space:]]*\([^[:space:];=][^[:space:]=]*\).*[[:space:]]@\([0-9][0-9]*\)[[:space:]]*$/\2 \1/p' "$DEF" |
        sort -n
}

# "ordinal name" for every named export of a DLL. objdump lists the names as
# "[index] name", the index counting from the ordinal base.
dll_exports() {
    "$1" -p "$2" | awk '
        /^Ordinal Base/ { base = $3 }
        /^\[Ordinal\/Name Pointer\] Table/ { names = 1; next }
        names && /^[[:space:]]*$/ { names = 0 }
        names && match($0, /\[ *[0-9]+\] /) {
            index_ = substr($0, RSTART + 1, RLENGTH - 3) + 0
            print index_ + base, substr($0, RSTART + RLENGTH)
        }' | sort -n
}

check_exports() {
    local objdump=$1 dll=$2 expected actual
    expected=$(def_exports)
    actual=$(dll_exports "$objdump" "$dll")
    [[ -n $expected ]] || fail "no exports read from $DEF"
    if [[ $expected == "$actual" ]]; then
        printf '%s: export table matches %s (%d exports)\n' "$dll" "$DEF" "$(wc -l <<<"$actual")"
        sed 's/^/    /' <<<"$actual"
    else
        diff <(echo "$expected") <(echo "$actual") | sed 's/^/    /' || true
        fail "$dll: export table differs from $DEF (< .def, > DLL)"
    fi
}

step "Export tables"
check_exports i686-w64-mingw32-objdump build-win32/Tolvik32.dll
check_exports x86_64-w64-mingw32-objdump build-win64/Tolvik32.dll

# --- Tests under wine -------------------------------------------------------
# A private prefix, no display, no Mono/Gecko prompts, no debug chatter.
export WINEPREFIX=$ROOT/build-win64/wineprefix WINEARCH=win64 WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY
trap 'wineserver -k >/dev/null 2>&1 || true' EXIT

step "Preparing wine prefix"
if [[ ! -f $WINEPREFIX/system.reg ]]; then
    wine wineboot -i >/dev/null 2>&1 || fail "wineboot"
fi
wineserver -w

# run_exe DIR EXE SUMMARY-REGEX [ARGS...]: runs EXE in DIR (next to the DLL).
# wine hands back the program's exit code, but a program it cannot start at
# all may still give 0, so the program's own summary line must appear too.
run_exe() {
    local dir=$1 exe=$2 summary=$3 log
    shift 3
    log=$ROOT/$dir/${exe%.exe}.log
    printf -- '-- %s/%s\n' "$dir" "$exe"
    set +e
    (cd "$dir" && wine "./$exe" "$@") 2>&1 | tr -d '\r' >"$log"
    local rc=${PIPESTATUS[0]}
    set -e
    grep -E 'FAILED|passed, [0-9]+ failed|^\[  PASSED  \]' "$log" || true
    [[ $rc -eq 0 ]] || fail "$dir/$exe exited with $rc (output in $log)"
    grep -Eq "$summary" "$log" || fail "$dir/$exe gave no summary line (output in $log)"
}

step "64-bit tests"
run_exe build-win64 tolvik_dll_loader.exe '^[0-9]+ passed, 0 failed$'
run_exe build-win64 tolvik_capi_tests.exe '^\[  PASSED  \] [0-9]+ tests?\.$'

step "64-bit tool"
# A read and a JSON round trip on a copy of the example project.
rm -rf build-win64/project && cp -r examples/project build-win64/project
(cd build-win64/project && wine ../tolvik.exe read mdl PLANT.MDL) 2>&1 | tr -d '\r' |
    tee build-win64/tolvik.log
grep -q '^PUMP.tse ' build-win64/tolvik.log || fail "tolvik.exe read mdl gave no table"
(cd build-win64/project && wine ../tolvik.exe read profile PLANT.INI --json >profile.json &&
    wine ../tolvik.exe apply profile PLANT.INI profile.json) || fail "tolvik.exe round trip"
cmp build-win64/project/PLANT.INI examples/project/PLANT.INI || fail "tolvik.exe changed PLANT.INI"

step "32-bit tests"
# wine64 alone has no 32-bit side; its syswow64 then holds no programs.
set +e
wine 'C:\windows\syswow64\cmd.exe' /c exit 7 >/dev/null 2>&1
wow64=$?
set -e
if [[ $wow64 -eq 7 ]]; then
    run_exe build-win32 tolvik_dll_loader.exe '^[0-9]+ passed, 0 failed$'
    run_exe build-win32 tolvik_hello.exe '^Tolvik File Management Library'
else
    echo "SKIPPED: this wine cannot run 32-bit programs (needs wine32); the 32-bit DLL was built and its exports checked only."
fi

step "All Windows checks passed"
