#!/usr/bin/env bash
# ./dev lint [FILE...]: clang-format as a check, the clang build (whose thread-safety warnings are
# errors), and clang-tidy over the files named, or over all of them.
#
# A file that clang-tidy has found clean is not looked at again until what it is compiled from (its
# own text, its headers, the flags) or .clang-tidy changes: the first run takes minutes, the next
# ones seconds.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
need_preset clang
need clang-tidy clang-format jq
cd "$project"
failed=0

say "clang-format"
scripts/format.sh --check || failed=1

say "Thread-safety analysis"
build clang || failed=1

say "clang-tidy"
export clean_folder=$project/build/lint database=build/clang/compile_commands.json
mkdir -p "$clean_folder"

# The fingerprint of what clang-tidy would see: the file after preprocessing, comments included (they
# carry NOLINT), and the checks.
fingerprint() {
    local command
    command=$(jq -r --arg file "$project/$1" \
        'first(.[] | select(.file == $file)) | .command' "$database")
    command=${command#*ccache }
    { cd "$project/build/clang" && eval "${command%% -o *} -E -CC ${command##* -c }" 2>/dev/null
        cat "$project/.clang-tidy"; } | sha256sum | cut -d' ' -f1
}

tidy() {
    local mark
    mark=$clean_folder/$(fingerprint "$1")
    [ ! -e "$mark" ] || return 0
    echo "  $1"
    clang-tidy --quiet -p build/clang "$1" 2>/dev/null && touch "$mark"
}
export -f fingerprint tidy
export project

# Only what the clang build compiles has flags to be looked at with: not the other platform's half.
compiled() { jq -r '.[].file' "$database" | sed -n "s|^$project/||p" | grep -v '^build/' | sort -u; }
if [ $# -gt 0 ]; then
    files=$(printf '%s\n' "$@")
else
    files=$(compiled)
fi
echo "$files" | xargs -r -P "$(nproc)" -n 1 bash -c 'tidy "$0"' || failed=1

[ $failed -eq 0 ] || die "lint has found something"
say "Lint: nothing found in $(echo "$files" | wc -l) files"
