#!/bin/sh
# Runs cases of the command: each folder has a script `cmd`, which runs in an empty folder and with a
# home of its own, and what it must give: `stdout`, `stderr` (none: nothing) and `status` (none: 0).
#
#   run_case.sh [--renew] CASE...
#
# --renew writes what the script gives now as what it must give. The programs are found by PATH.
set -u

renew=
if [ "${1-}" = --renew ]; then
    renew=yes
    shift
fi

# keep FILE WANTED: FILE becomes WANTED, or WANTED goes if FILE holds nothing.
keep() {
    if [ -s "$1" ]; then cp "$1" "$2"; else rm -f "$2"; fi
}

# compare FILE WANTED: says how they differ.
compare() {
    if [ -f "$2" ]; then
        diff -u "$2" "$1" && return 0
    else
        [ -s "$1" ] || return 0
        diff -u /dev/null "$1"
    fi
    failed=1
}

run() {
    case=$(cd "$1" && pwd) || exit 2
    work=$(mktemp -d) || exit 2
    mkdir "$work/in"
    (cd "$work/in" && QUORVENTAHOME=$work sh "$case/cmd" >"$work/stdout" 2>"$work/stderr" </dev/null)
    status=$?
    : >"$work/status"
    [ "$status" -eq 0 ] || echo "$status" >"$work/status"
    for name in stdout stderr status; do
        if [ "$renew" ]; then
            keep "$work/$name" "$case/$name"
        else
            compare "$work/$name" "$case/$name"
        fi
    done
    rm -rf "$work"
}

failed=0
for argument in "$@"; do
    run "$argument"
done
exit "$failed"
