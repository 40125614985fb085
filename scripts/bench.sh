#!/bin/bash
# Builds the benchmarks and runs them all; each prints what it measured and how the peers compare.
#
#   scripts/bench.sh [--brief] [ARG...]
#
# Each is measured several times, in turn with the others, and the best counts. --brief runs each just
# long enough to show that it works; its figures mean nothing. Other arguments
# go on to the programs, for instance --benchmark_filter=log.
. "$(dirname "$0")/lib.sh"

scripts/setup.sh
measured=(--benchmark_min_time=0.2 --benchmark_repetitions=7
    --benchmark_enable_random_interleaving=true)
if [ "${1-}" = --brief ]; then
    shift
    measured=(--benchmark_min_time=0.001)
    export VOR_BENCH_BRIEF=1
fi
configure release -DVOR_BUILD_BENCH=ON
build release vor_benchmarks
for program in build/release/bench/bench_*; do
    [ -x "$program" ] || die "no benchmarks found"
    "$program" "${measured[@]}" "$@"
done
