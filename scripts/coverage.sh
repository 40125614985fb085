#!/bin/bash
# Runs the tests and prints how many lines and branches of the library, the modules and the command
# they reach. The same as pages: build/coverage/report/index.html.
. "$(dirname "$0")/lib.sh"

scripts/setup.sh --coverage
need gcovr
configure coverage
build coverage
find build/coverage -name '*.gcda' -delete
# A limit on the size of files would cut off the counters that a process leaves as well.
quietly ctest --test-dir build/coverage -j "$jobs" --no-tests=error -E '_disk_full$'
mkdir -p build/coverage/report
gcovr --root . --object-directory build/coverage -j "$jobs" \
    --filter src/ --filter modules/ --filter tools/ \
    --exclude-throw-branches --exclude-unreachable-branches \
    --html-details build/coverage/report/index.html --txt build/coverage/report/lines.txt \
    --print-summary build/coverage
cat build/coverage/report/lines.txt
