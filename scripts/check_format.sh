#!/bin/bash
# Every source file is as clang-format leaves it.
. "$(dirname "$0")/lib.sh"

need clang-format
find src modules tools tests fuzz bench docs -regex '.*\.\(h\|c\|cpp\)' -print0 |
    xargs -0 clang-format --dry-run -Werror
