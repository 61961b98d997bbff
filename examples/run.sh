#!/usr/bin/env bash
# The main job: the command-line tool on the example project. Lists the model,
# a program header, a task stub, the BPAC values and the profile, and checks
# that every file of the project reads; it only reads.
#   examples/run.sh [path/to/tolvik]      (default: build/tolvik)
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
tool="$(cd "$(dirname "${1:-build/tolvik}")" && pwd)/$(basename "${1:-build/tolvik}")"
cd "$root/examples/project"

run() {
    printf '\n$ tolvik %s\n' "$*"
    "$tool" "$@"
}

run read mdl PLANT.MDL
run read header PUMP.tse
run read task-stub PUMP.tse --stub PumpLocals
run read values RECIPE.dpe
run read profile PLANT.INI
run profile get PLANT.INI Pump Timeout
run check PLANT.MDL PLANT.INI
