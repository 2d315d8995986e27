#!/usr/bin/env bash
# ./dev demo tool [windows]: makes a sample installation under build/demo and runs the tool's modes on it.
# Each command is echoed before its output; its exit code comes after.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
platform=${1:-native}

case $platform in
    native)
        build native Lathwind
        run=("$project/build/native/bin/Lathwind")
        native_path() { echo "$1"; }
        ;;
    windows)
        source "$project/scripts/wine-lib.sh"
        setup_wine
        preset=$(windows_preset)
        build "$preset" Lathwind
        run=("$project/dev" wine "$project/build/$preset/bin/Lathwind.exe")
        # Wine's drive Z: is the root of this system.
        native_path() { echo "Z:${1//\//\\}"; }
        ;;
    *) die "usage: ./dev demo tool [windows]" ;;
esac

# The sample: folders and watch lists of an installation, the prevention service's log, and the
# state file that an old version left behind.
sample=$project/build/demo/tool-$platform
rm -rf "$sample"
mkdir -p "$sample"
cp -r "$project/tests/data/golden/v05/install/." "$sample"
chmod -R u+w "$sample"
mkdir -p "$sample"/{IDS/bin,IDS/system,IDS/Data,IPS,rvmklog}
cp "$project/tests/data/golden/v05/FileWatch.dat" "$sample/IDS/bin/"
chmod u+w "$sample/IDS/bin/FileWatch.dat"

root=$(native_path "$sample")
log=$(native_path "$sample/rvmklog/QVRIPSService.log")

# hand_over PATH OFFSET: the record in which the prevention agent leaves its place in the log: a byte
# that nobody reads, the path (1024 bytes of UTF-16LE, zero-terminated), the offset (32 bits,
# little-endian), 3336 more bytes. 4365 bytes in all.
hand_over() {
    printf '\0'
    { printf '%s' "$1" | iconv -f UTF-8 -t UTF-16LE; head -c 1024 /dev/zero; } | head -c 1024
    # shellcheck disable=SC2059
    printf "$(printf '\\x%02x' $(($2 & 255)) $(($2 >> 8 & 255)) $(($2 >> 16 & 255)) $(($2 >> 24)))"
    head -c 3336 /dev/zero
}
hand_over "$log" 120 >"$sample/IPS/agentfilepointer"

failed=0
demonstrate() {
    local status=0
    say "$1"
    shift
    printf '$ Lathwind'
    printf ' %s' -p "$root" -l "$log" "$@"
    printf '\n'
    "${run[@]}" -p "$root" -l "$log" "$@" || status=$?
    echo "exit code $status"
    [ $status -eq 0 ] || failed=1
}

echo
echo "Sample installation: $sample"
(cd "$sample" && find . -type f -printf '%8s  %P\n' | sort -k 2)
demonstrate "View the old state file" -v
demonstrate "Upgrade it to the newest format" -c
demonstrate "View the upgraded one" -v
demonstrate "Initialise: watch the service's log only" -i
demonstrate "View the fresh one" -v
demonstrate "Delete (no mode named)"
exit $failed
