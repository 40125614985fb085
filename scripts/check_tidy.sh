#!/bin/bash
# clang-tidy over the library, the modules, the command, the fuzz harnesses and the benchmarks;
# .clang-tidy names its checks. Arguments are the files to look at, in place of all.
. "$(dirname "$0")/lib.sh"

need clang clang++ clang-tidy
configure clang -DVOR_BUILD_BENCH=ON

files=("$@")
if [ ${#files[@]} -eq 0 ]; then
    mapfile -t files < <(find src modules tools fuzz bench -name '*.cpp' -o -name '*.c' | sort)
fi
[ ${#files[@]} -gt 0 ] || die "no sources found"
# A file at a time keeps both processors busy to the end.
printf '%s\0' "${files[@]}" |
    xargs -0 -n 1 -P "$jobs" clang-tidy --quiet -p build/clang 2>build/clang/tidy.err || {
    grep -v 'warnings generated\|^Suppressed\|^Use -header' build/clang/tidy.err >&2
    exit 1
}
echo "${#files[@]} files without a finding"
