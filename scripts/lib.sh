# What the scripts share; to be sourced by a bash script. It moves to the root of the project.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

# How many jobs run side by side.
jobs=${JOBS:-$(nproc)}

say() { printf '%s\n' "$*" >&2; }

die() {
    say "$(basename "$0"): $*"
    exit 1
}

# need PROGRAM...: ends the script if one is not installed, so that no check passes for want of it.
need() {
    local program
    for program; do
        command -v "$program" >/dev/null || die "'$program' is missing; run scripts/setup.sh"
    done
}

# quietly COMMAND...: shows what the command prints only if it fails. Its status is passed on.
quietly() {
    local log status=0
    log=$(mktemp)
    "$@" >"$log" 2>&1 </dev/null || status=$?
    if [ "$status" -ne 0 ]; then
        say "failed: $*"
        cat "$log" >&2
    fi
    rm -f "$log"
    return "$status"
}

# configure PRESET [ARG...]: prepares build/PRESET, with ccache where it is installed.
configure() {
    local preset=$1
    shift
    need cmake ninja
    if command -v ccache >/dev/null; then
        set -- -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache "$@"
    fi
    quietly cmake --preset "$preset" "$@"
}

# build PRESET [TARGET...]: brings build/PRESET up to date, all of it if no target is named.
build() {
    local preset=$1
    shift
    if [ $# -gt 0 ]; then set -- --target "$@"; fi
    quietly cmake --build "build/$preset" --parallel "$jobs" "$@"
}
