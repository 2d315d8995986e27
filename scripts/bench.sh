#!/usr/bin/env bash
# ./dev bench [NAME...]: builds native, then runs every program bench/NameBench.cpp and every script
# scripts/bench-NAME.sh or .py, or those named. Each prints ratios to its reference. A script gets the
# tool and a scratch folder as its arguments.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
need openssl python3
build native
cd "$project"
programs=$project/build/native/bin
scratch=$project/build/bench
mkdir -p "$scratch"

ran=0 failed=()
for source in bench/*Bench.cpp scripts/bench-*; do
    [ -e "$source" ] || continue
    name=$(basename "${source%.*}" Bench)
    name=${name#bench-}
    [ $# -eq 0 ] || [[ " $* " == *" $name "* ]] || continue
    ran=$((ran + 1))
    say "$name"
    case $source in
        *.cpp) "$programs/${name}Bench" ;;
        *.sh) bash "$source" "$programs/Lathwind" "$scratch" ;;
        *.py) python3 "$source" "$programs/Lathwind" "$scratch" ;;
    esac || failed+=("$name")
done

[ $ran -gt 0 ] || die "no such benchmark: $*"
[ ${#failed[@]} -eq 0 ] || die "failed: ${failed[*]}"
