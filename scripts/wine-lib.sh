# shellcheck shell=bash
# Wine for ./dev: sourced after lib.sh.
#
# 32-bit programs run on 64-bit Wine alone. What that lacks is the Windows half of the 32-bit
# libraries, which are plain files: they are taken out of the i386 package and laid beside their
# 64-bit brothers. Nothing of the i386 architecture is installed.
#
# There is one prefix, build/wine. Its server stays for five minutes after the last program, so that
# a run of many programs pays for the start once and nothing has to be stopped afterwards.
wine_libraries=/usr/lib/x86_64-linux-gnu/wine
wine_prefix=$project/build/wine

export WINEPREFIX=$wine_prefix
export WINEARCH=win64
# Standard error belongs to the program.
export WINEDEBUG=-all
# No offers to install Mono or Gecko, no menu entries, no debugger that waits for a click.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe,winedbg.exe=d"
unset DISPLAY WAYLAND_DISPLAY

wine_program() { PATH="$PATH:/usr/lib/wine" command -v "$1"; }

wine_version() { dpkg-query -W -f '${Version}' libwine; }

can_run_32() {
    [ -e "$wine_libraries/i386-windows/ntdll.dll" ] || return 1
    # Files of another version than the rest of Wine would not load.
    local from=$wine_libraries/i386-windows/.version
    [ ! -e "$from" ] || [ "$(cat "$from")" = "$(wine_version)" ]
}

# add_32_bit_libraries: false if the package cannot be had. LATHWIND_WINE32_PACKAGE names a copy of
# it for a machine without a network.
add_32_bit_libraries() {
    local work package
    work=$(mktemp -d)
    # shellcheck disable=SC2064
    trap "rm -rf '$work'" RETURN
    package=${LATHWIND_WINE32_PACKAGE:-}
    if [ -z "$package" ]; then
        dpkg --print-foreign-architectures | grep -qx i386 || as_root dpkg --add-architecture i386
        LATHWIND_INDEX_UPDATED='' update_package_index
        # The download runs as a user of its own where there is one.
        chmod 755 "$work"
        (cd "$work" && as_root apt-get download -q "libwine:i386=$(wine_version)") || return 1
        package=$(echo "$work"/libwine_*_i386.deb)
    fi
    dpkg-deb -x "$package" "$work/unpacked" || return 1
    as_root mkdir -p "$wine_libraries/i386-windows" &&
        as_root cp -r "$work/unpacked/usr/lib/i386-linux-gnu/wine/i386-windows/." \
            "$wine_libraries/i386-windows/" &&
        wine_version | as_root tee "$wine_libraries/i386-windows/.version" >/dev/null
}

# What a prefix was made by; a prefix made by something else is made anew.
wine_stamp() { echo "$(wine_version) $(can_run_32 && echo 32 || echo 64)"; }

make_prefix() {
    say "Making the Wine prefix in build/wine"
    "$(wine_program wineserver)" -k 2>/dev/null || true
    rm -rf "$wine_prefix"
    mkdir -p "$wine_prefix"
    "$(wine_program wine64)" wineboot --init </dev/null >"$(log_folder)/wineboot.log" 2>&1 ||
        die "Wine could not make a prefix; see build/logs/wineboot.log"
    "$(wine_program wineserver)" -w
    wine_stamp >"$wine_prefix/.made-by"
}

# setup_wine: everything that running a program needs. Quick when it is all there.
setup_wine() {
    # shellcheck disable=SC2086
    need $packages_wine
    if ! can_run_32; then
        say "Adding the 32-bit libraries of Wine"
        add_32_bit_libraries ||
            warn "THE 32-BIT LIBRARIES OF WINE CANNOT BE HAD." \
                "The 64-bit Windows build stands in; the 32-bit one is NOT run."
    fi
    mkdir -p "$project/build"
    exec 9>"$project/build/.wine-lock"
    flock 9
    if [ "$(cat "$wine_prefix/.made-by" 2>/dev/null)" != "$(wine_stamp)" ]; then
        make_prefix
    fi
    exec 9>&-
}

# windows_preset: the Windows build that can be run here.
windows_preset() { can_run_32 && echo windows || echo windows64; }

# warm_up: have the server and Wine's own services running before the first program does, or they
# would hold that program's output open for as long as they live.
warm_up() {
    exec 9>"$project/build/.wine-lock"
    flock 9
    if ! "$(wine_program wineserver)" -k0 2>/dev/null; then
        "$(wine_program wineserver)" -p300 </dev/null >/dev/null 2>&1 9>&- || true
        "$(wine_program wine64)" cmd /c exit </dev/null >/dev/null 2>&1 9>&- || true
    fi
    exec 9>&-
}
