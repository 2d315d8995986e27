#!/usr/bin/env bash
# ./dev build PRESET [TARGET...]
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
[ $# -ge 1 ] || die "which preset? native, asan, tsan, windows, windows64 or clang"
build "$@"
