#!/bin/bash
# All that there is to build, with clang; every warning is an error. The sanitizers' check runs what
# this builds. The other checks build with GCC in the same way.
. "$(dirname "$0")/lib.sh"

need clang clang++
configure asan
build asan
