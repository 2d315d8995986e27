#!/usr/bin/env bash
# ./dev bench [NAME...]: builds native and runs every bench/NameBench.cpp and bench/NameBench.sh, or
# those named. Each prints ratios to its reference. A script gets the programs' folder in
# $LATHWIND_BIN and a scratch folder in $LATHWIND_SCRATCH.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
need openssl time
build native
cd "$project"
export LATHWIND_BIN=$project/build/native/bin
export LATHWIND_SCRATCH=$project/build/bench
mkdir -p "$LATHWIND_SCRATCH"

wanted() {
    local name=$1
    shift
    [ $# -eq 0 ] || [[ " $* " == *" $name "* ]]
}

ran=0 failed=()
for source in bench/*Bench.cpp bench/*Bench.sh; do
    [ -e "$source" ] || continue
    name=$(basename "${source%.*}" Bench)
    wanted "$name" "$@" || continue
    ran=$((ran + 1))
    say "$name"
    case $source in
        *.cpp) "$LATHWIND_BIN/${name}Bench" ;;
        *.sh) bash "$source" ;;
    esac || failed+=("$name")
done

[ $ran -gt 0 ] || die "no such benchmark: $*"
[ ${#failed[@]} -eq 0 ] || die "failed: ${failed[*]}"
