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

# fuzz_target NAME: in the background, one for each processor; what it has to say comes at its end.
fuzz_target() {
    local target=$1 corpus=("build/fuzz/$1") dictionary=() log status=0
    log=$(log_folder)/fuzz-$target.log
    mkdir -p "build/fuzz/$target"
    [ ! -d "fuzz/corpus/$target" ] || corpus+=("fuzz/corpus/$target")
    [ ! -e "fuzz/$target.dict" ] || dictionary=("-dict=fuzz/$target.dict")
    fixed_addresses "build/clang/bin/${target}Fuzzer" "-max_total_time=$seconds" -timeout=10 \
        -rss_limit_mb=2048 -print_final_stats=1 "-artifact_prefix=build/fuzz/artifacts/$target-" \
        "${dictionary[@]}" "${corpus[@]}" >"$log" 2>&1 || status=1
    if [ $status -eq 0 ]; then
        printf '%s\n' "--- $target" \
            "$(grep -E 'DONE|stat::(number_of_executed_units|peak_rss_mb)' "$log" || true)"
    else
        printf '%s\n' "--- $target: FAILED" "$(tail -n 60 "$log")"
        echo "$target" >>build/fuzz/failed
    fi
}

targets=()
for program in build/clang/bin/*Fuzzer; do
    target=$(basename "$program" Fuzzer)
    # A program whose source is gone is a leftover.
    if [ -e "fuzz/${target}Fuzzer.cpp" ] && { [ "$name" = all ] || [ "$name" = "$target" ]; }; then
        targets+=("$target")
    fi
done
[ ${#targets[@]} -gt 0 ] || die "no such fuzz target: $name"

say "Fuzzing ${#targets[@]} targets for $seconds seconds each"
rm -f build/fuzz/failed
for target in "${targets[@]}"; do
    while [ "$(jobs -rp | wc -l)" -ge "$(nproc)" ]; do
        wait -n || true
    done
    fuzz_target "$target" &
done
wait
if [ -e build/fuzz/failed ]; then
    die "failing inputs are in build/fuzz/artifacts; targets: $(tr '\n' ' ' <build/fuzz/failed)"
fi
echo "Fuzzing: ${#targets[@]} targets, 0 failures"
