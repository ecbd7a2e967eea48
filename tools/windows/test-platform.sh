#!/usr/bin/env bash
# Cross-compiles the Windows platform layer and runs its test under Wine, on a display that nobody sees. What it builds
# and Wine's files stay in build/, so that a second run is quick. Arguments go to the test program.
set -euo pipefail
. "$(dirname "$0")/../lib.sh"

build="$root/build/windows-platform"
wine_home="$root/build/wine" # Wine's drives and registry, and a home folder of their own
program="$build/quillo_windows_platform_test.exe"
time_limit=120 # seconds

in_wine() {
    # The user has an accent, so that the folders of Windows have one as well.
    env HOME="$wine_home" USER=Zoë LC_ALL=C.UTF-8 DISPLAY=":$display" WINEPREFIX="$wine_home/prefix" WINEARCH=win64 \
        WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d" "$@"
}

build_test() {
    say "Cross-compiling the Windows platform layer"
    mkdir -p "$build"
    local launcher=()
    if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
    logged "$build/configure.log" cmake -S "$root/tests/platform/windows" -B "$build" -G Ninja "${launcher[@]}" \
        -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchains/mingw64.cmake" \
        -DCMAKE_BUILD_TYPE=Debug -DQUILLO_WARNINGS_AS_ERRORS=ON
    logged "$build/build.log" cmake --build "$build" --parallel "$jobs"
}

start_display() {
    local pipe
    pipe="$(mktemp -u "$build/display.XXXXXX")"
    mkfifo "$pipe"
    Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$pipe" >"$build/xvfb.log" 2>&1 &
    xvfb=$!
    read -r -t 60 display <"$pipe" || fail "Xvfb does not start (see $build/xvfb.log)"
    rm -f "$pipe"
}

prepare_wine() {
    [ ! -e "$wine_home/.complete" ] || return 0
    say "Setting up Wine (once, about half a minute)"
    rm -rf "$wine_home"
    mkdir -p "$wine_home"
    logged "$build/wineboot.log" in_wine timeout 300 wineboot --init
    logged "$build/wineboot.log" in_wine timeout 300 wineserver --wait # until the registry is on the disk
    touch "$wine_home/.complete"
}

clean_up() {
    if [ -n "$display" ]; then in_wine timeout 30 wineserver --kill || true; fi
    if [ -n "$xvfb" ]; then kill "$xvfb" || true; fi
}

"$root/tools/install-packages.sh" windows
build_test
display='' xvfb=''
trap clean_up EXIT
start_display
prepare_wine
say "Running $(basename "$program") under Wine"
if in_wine timeout --kill-after=10 "$time_limit" wine "$program" "$@"; then
    say "The Windows platform layer passes its test"
else
    fail "the Windows platform layer fails its test"
fi
