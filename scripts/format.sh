#!/usr/bin/env bash
# ./dev format: clang-format over all sources, in place. With --check nothing is written and a
# difference is a failure.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
need clang-format
cd "$project"

mode=(-i)
[ "${1:-}" != --check ] || mode=(--dry-run -Werror)
list_sources | xargs -0 -r -n 40 clang-format "${mode[@]}"
