#!/usr/bin/env bash
# ./dev fuzz [NAME [SECONDS]]: fuzz one parser (NameFuzzer) or, without a name or with "all", every
# one, for so many seconds each. The seeds in fuzz/corpus/Name are read and never written: what the
# fuzzer finds on its way goes to build/fuzz/Name, an input that fails to build/fuzz/artifacts.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
name=${1:-all}
seconds=${2:-60}
build clang fuzzers

cd "$project"
sanitizer_options
mkdir -p build/fuzz/artifacts
failed=() ran=0
for program in build/clang/bin/*Fuzzer; do
    [ -x "$program" ] || break
    target=$(basename "$program" Fuzzer)
    # A program whose source is gone is a leftover.
    [ -e "fuzz/${target}Fuzzer.cpp" ] || continue
    [ "$name" = all ] || [ "$name" = "$target" ] || continue
    ran=$((ran + 1))
    say "Fuzzing $target for $seconds seconds"
    mkdir -p "build/fuzz/$target"
    corpus=("build/fuzz/$target")
    [ ! -d "fuzz/corpus/$target" ] || corpus+=("fuzz/corpus/$target")
    dictionary=()
    [ ! -e "fuzz/$target.dict" ] || dictionary=("-dict=fuzz/$target.dict")
    log=$(log_folder)/fuzz-$target.log
    if fixed_addresses "$program" "-max_total_time=$seconds" -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 "-artifact_prefix=build/fuzz/artifacts/$target-" \
        "${dictionary[@]}" "${corpus[@]}" >"$log" 2>&1; then
        grep -E 'DONE|stat::(number_of_executed_units|peak_rss_mb)' "$log" || true
    else
        failed+=("$target")
        tail -n 60 "$log"
    fi
done

[ $ran -gt 0 ] || die "no such fuzz target: $name"
if [ ${#failed[@]} -gt 0 ]; then
    die "failing inputs are in build/fuzz/artifacts; targets: ${failed[*]}"
fi
echo "Fuzzing: $ran targets, 0 failures"
