#!/usr/bin/env bash
# ./dev test: everything that says whether the tree is sound. One step's failure does not keep the
# next from running; the table at the end counts single tests, and the last line is their sum.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
source "$(dirname "${BASH_SOURCE[0]}")/wine-lib.sh"
cd "$project"
fuzz_seconds=${LATHWIND_FUZZ_SECONDS:-10}
table=() total=0 total_failed=0

# record NAME TESTS FAILED SECONDS
record() {
    table+=("$(printf '%-12s %7d %7d %8ds' "$1" "$2" "$3" "$4")")
    total=$((total + $2))
    total_failed=$((total_failed + $3))
}

# attribute_sum NAME FILE...: the sum of one count over GoogleTest's result files.
attribute_sum() {
    local name=$1
    shift
    sed -n "s/^<testsuites .*\b$name=\"\([0-9]*\)\".*/\1/p" "$@" 2>/dev/null |
        awk '{ sum += $1 } END { print sum + 0 }'
}

# run_tests PRESET [CTEST OPTION...]: build it, run its tests, count them.
run_tests() {
    local preset=$1 start=$SECONDS results=build/$1/test-results status=0 tests failures run=()
    shift
    case $preset in asan | tsan) run=(fixed_addresses) ;; esac
    say "$preset: build"
    if ! build "$preset"; then
        record "$preset" 1 1 $((SECONDS - start))
        return
    fi
    say "$preset: tests"
    rm -rf "$results"
    "${run[@]}" ctest --test-dir "build/$preset" --output-on-failure --no-tests=error "$@" ||
        status=1
    tests=$(attribute_sum tests "$results"/*.xml)
    failures=$(($(attribute_sum failures "$results"/*.xml) + $(attribute_sum errors "$results"/*.xml)))
    # A program that died wrote no results: at least one failure then.
    [ $status -eq 0 ] || [ "$failures" -gt 0 ] || failures=1
    # A filter that lets nothing through is no success either.
    [ "$tests" -gt 0 ] || { tests=1 failures=1; }
    record "$preset" "$tests" "$failures" $((SECONDS - start))
}

# run_step NAME COMMAND...: one step that passes or fails as a whole.
run_step() {
    local name=$1 start=$SECONDS failed=0
    shift
    say "$name"
    "$@" || failed=1
    record "$name" 1 $failed $((SECONDS - start))
}

check_structure() { scripts/check-structure --self-test && scripts/check-structure; }

# All packages first: a machine without them should say so at once, not after ten minutes.
# shellcheck disable=SC2086
need $packages_native $packages_clang $packages_wine python3
setup_wine
windows=$(windows_preset)
need_preset "$windows"
sanitizer_options

run_step structure check_structure
run_tests native -j2
run_tests asan -j2
GTEST_FILTER='*Threads*' run_tests tsan -j2
run_step kills scripts/kill-test.py build/native/bin/LathwindAgent build/native/bin/Lathwind
warm_up
run_tests "$windows"
run_step fuzz scripts/fuzz.sh all "$fuzz_seconds"

say "Summary ($((SECONDS / 60)) min $((SECONDS % 60)) s)"
printf '%-12s %7s %7s %9s\n' "" tests failed time
printf '%s\n' "${table[@]}"
[ "$windows" = windows ] || warn "The 32-bit Windows build was NOT run: Wine has no 32-bit half here."
printf '\n%d%% tests passed, %d tests failed out of %d\n' \
    $((total > 0 ? 100 * (total - total_failed) / total : 0)) "$total_failed" "$total"
[ "$total_failed" -eq 0 ]
