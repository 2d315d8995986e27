#!/usr/bin/env bash
# ./dev wine PROGRAM ARGS...: standard output, standard error and the exit code are the program's own
# (of the exit code the low eight bits, which is what Linux has room for).
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
source "$(dirname "${BASH_SOURCE[0]}")/wine-lib.sh"
[ $# -ge 1 ] || die "which program? ./dev wine build/windows/bin/Lathwind.exe -h"

[ -e "$wine_prefix/.made-by" ] || setup_wine >&2
warm_up
wine64=$(wine_program wine64)
[ ! -t 0 ] || exec </dev/null
if [ ! -t 1 ] && [ ! -t 2 ]; then
    exec "$wine64" "$@"
fi

# On a terminal Wine would draw the output as a console of its own, cursor movements and all. With a
# pipe in front of both streams the program's bytes come out as it wrote them.
(
    (
        "$wine64" "$@" 2>&4 3>&- 4>&- | cat >&3
        exit "${PIPESTATUS[0]}"
    ) 4>&1 | cat >&2
    exit "${PIPESTATUS[0]}"
) 3>&1
