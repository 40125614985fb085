#!/bin/bash
# Builds the library and all that belongs to it, and runs every test. Arguments go on to ctest, for
# instance: scripts/test.sh -R TrackSeek --output-on-failure
. "$(dirname "$0")/lib.sh"

scripts/setup.sh
configure release
build release

log=build/release/ctest.log
status=0
ctest --test-dir build/release -j "$jobs" --output-on-failure --no-tests=error "$@" \
    >"$log" 2>&1 </dev/null || status=$?
# All of a failed run, and of a good one the closing lines.
if [ "$status" -ne 0 ]; then cat "$log"; else sed -n '/tests passed/,$p' "$log"; fi
exit "$status"
