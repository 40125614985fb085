#!/bin/bash
# Every test under AddressSanitizer, with its search for leaks, and UndefinedBehaviorSanitizer.
# Arguments go on to ctest.
. "$(dirname "$0")/lib.sh"

configure asan
build asan
export ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1
export UBSAN_OPTIONS=print_stacktrace=1
ctest --test-dir build/asan -j "$jobs" --output-on-failure --no-tests=error "$@"
