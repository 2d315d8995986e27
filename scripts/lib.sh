# shellcheck shell=bash
# Shared by the scripts behind ./dev; sourced, never run.
set -euo pipefail
project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# One locale for everybody: messages of compilers in English, file names in UTF-8.
export LC_ALL=C.UTF-8
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}

say() { printf '\n=== %s\n' "$*"; }
warn() { printf '\n!!! %s\n' "$*" >&2; }
die() {
    printf 'dev: %s\n' "$*" >&2
    exit 1
}

# as_root COMMAND...: run it as root, or say what to do.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        die "this needs root and there is no sudo; as root run: $*"
    fi
}

# Packages by purpose. Nothing here is part of the product.
# shellcheck disable=SC2034
packages_build="g++ cmake ninja-build ccache googletest"
packages_native="$packages_build libbenchmark-dev"
packages_clang="$packages_build clang llvm libclang-rt-dev"
packages_windows="$packages_build g++-mingw-w64-i686-posix"
packages_windows64="$packages_build g++-mingw-w64-x86-64-posix"
packages_wine="wine64"

is_installed() {
    dpkg -s "$1" 2>/dev/null | grep -q '^Status: install ok installed'
}

# need PACKAGE...: install those Debian packages that are missing, and nothing else.
need() {
    local package missing=()
    command -v dpkg >/dev/null ||
        die "this is no Debian; install the counterparts of these packages by hand: $*"
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    {
        say "Installing ${missing[*]}"
        update_package_index
        as_root env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y -q --no-install-recommends "${missing[@]}"
    } >&2 || die "could not install: ${missing[*]}"
}

# Once in a run. An index that fails to load (a foreign architecture's, an unrelated source's) is no
# reason to stop: the installation that follows says whether its packages were found.
update_package_index() {
    [ -z "${LATHWIND_INDEX_UPDATED:-}" ] || return 0
    export LATHWIND_INDEX_UPDATED=1
    as_root apt-get update -q || warn "apt-get update had failures; going on with what there is"
}

# need_preset PRESET: the packages that its build takes.
need_preset() {
    # Word splitting of the lists is meant.
    # shellcheck disable=SC2086
    case $1 in
        asan | tsan) need $packages_build ;;
        native) need $packages_native ;;
        clang) need $packages_clang ;;
        windows) need $packages_windows ;;
        windows64) need $packages_windows64 ;;
        *) die "no such preset: $1 (native, asan, tsan, windows, windows64, clang)" ;;
    esac
}

# build PRESET [TARGET...]: configure and build.
build() {
    local preset=$1
    shift
    need_preset "$preset"
    cd "$project"
    cmake --preset "$preset" >"$(log_folder)/configure-$preset.log" 2>&1 || {
        cat "$(log_folder)/configure-$preset.log" >&2
        return 1
    }
    cmake --build --preset "$preset" ${1:+--target "$@"}
}

log_folder() {
    mkdir -p "$project/build/logs"
    echo "$project/build/logs"
}

# list_sources: every C++ file that is ours, separated by zero bytes.
list_sources() {
    (
        shopt -s nullglob  # a folder that is not there yet is no failure
        cd "$project" && find src/ tools*/ agent*/ tests/ fuzz/ bench/ -type f \
            \( -name '*.cpp' -o -name '*.h' \) -print0 | sort -z
    )
}

# Sanitizers of these compilers dislike the largest address-space randomisation; where the kernel
# allows it their programs run without.
fixed_addresses() {
    if setarch "$(uname -m)" -R true 2>/dev/null; then
        setarch "$(uname -m)" -R "$@"
    else
        "$@"
    fi
}

sanitizer_options() {
    export ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1
    export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
    export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
}
