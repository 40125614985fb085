#!/bin/bash
# Runs checks by name, all of them if none is named, and prints a table of results. What a check
# prints is kept in build/checks/NAME.log and shown if it fails.
#
#   includes    which folder includes which, and that there are no circles
#   format      the sources as clang-format has them
#   tests       build with GCC, and every test
#   exports     the list of exported names, the public headers and the built library agree
#   demo        the demonstration
#   warnings    build with clang, warnings being errors
#   tidy        clang-tidy without a finding
#   sanitizers  every test under AddressSanitizer and UndefinedBehaviorSanitizer
#   fuzz        a short run of each fuzz harness
#   bench       every benchmark runs; its times decide nothing
. "$(dirname "$0")/lib.sh"

all=(includes format tests exports demo warnings tidy sanitizers fuzz bench)

run_check() {
    case $1 in
    tests) scripts/test.sh ;;
    demo) scripts/demo.sh ;;
    bench) scripts/bench.sh --brief ;;
    includes) python3 scripts/check_includes.py ;;
    exports)
        configure release && build release vor &&
            python3 scripts/check_exports.py build/release/src/libvor-6.0.so
        ;;
    *) "scripts/check_$1.sh" ;;
    esac
}

names=("$@")
[ ${#names[@]} -gt 0 ] || names=("${all[@]}")
for name in "${names[@]}"; do
    case " ${all[*]} " in
    *" $name "*) ;;
    *) die "no check '$name'; there are: ${all[*]}" ;;
    esac
done

scripts/setup.sh
mkdir -p build/checks
table=
failures=0
for name in "${names[@]}"; do
    say "--- $name"
    log=build/checks/$name.log
    start=$SECONDS
    result=good
    run_check "$name" >"$log" 2>&1 </dev/null || result=FAILED
    if [ "$result" = FAILED ]; then
        failures=$((failures + 1))
        cat "$log"
    fi
    table+=$(printf '%-12s %-8s %4d s' "$name" "$result" $((SECONDS - start)))$'\n'
done

printf '\n%s' "$table"
# The closing lines of the tests end the output, so that they are found without a search.
case " ${names[*]} " in
*" tests "*) printf '\n' && sed -n '/tests passed/,$p' build/checks/tests.log ;;
esac
[ "$failures" -eq 0 ]
