#!/bin/bash
# Runs each fuzz harness for a while on its corpus, under the sanitizers. Arguments: the seconds for
# each (6), then names of harnesses, in place of all. Inputs that fail stay in build/asan/finds.
. "$(dirname "$0")/lib.sh"

seconds=${1:-6}
shift $(($# > 0))
harnesses=("$@")
if [ ${#harnesses[@]} -eq 0 ]; then
    mapfile -t harnesses < <(find fuzz -name 'fuzz_*.cpp' -printf '%f\n' | sed 's/\.cpp$//' | sort)
fi
[ ${#harnesses[@]} -gt 0 ] || die "no harnesses found"

need clang clang++
configure asan
build asan "${harnesses[@]}"

finds=build/asan/finds
mkdir -p "$finds"

run_harness() {
    local name=$1 fresh
    # What a run adds to its corpus is not kept: only what someone has looked at is.
    fresh=$(mktemp -d)
    build/asan/fuzz/"$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -artifact_prefix="$finds/$name-" -print_final_stats=1 "$fresh" "fuzz/corpus/$name" \
        >"build/asan/$name.log" 2>&1 || {
        cat "build/asan/$name.log"
        rm -rf "$fresh"
        return 1
    }
    rm -rf "$fresh"
    printf '%-20s %s runs\n' "$name" \
        "$(sed -n 's/stat::number_of_executed_units: //p' "build/asan/$name.log")"
}
export -f run_harness
export seconds finds
printf '%s\n' "${harnesses[@]}" | xargs -n 1 -P "$jobs" bash -c 'run_harness "$0"'
