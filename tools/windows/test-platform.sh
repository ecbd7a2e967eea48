#!/usr/bin/env bash
# Cross-compiles the Windows platform layer and runs its test under Wine, on a display that nobody sees. What it builds
# and Wine's files stay in build/, so that a second run is quick. Arguments go to the test program.
set -euo pipefail
. "$(dirname "$0")/../lib.sh"
. "$(dirname "$0")/wine.sh"

build="$root/build/windows-platform"
program="$build/quillo_windows_platform_test.exe"
time_limit=120 # seconds

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

"$root/tools/install-packages.sh" windows
build_test
start_wine "$build"
say "Running $(basename "$program") under Wine"
if in_wine timeout --kill-after=10 "$time_limit" wine "$program" "$@"; then
    say "The Windows platform layer passes its test"
else
    fail "the Windows platform layer fails its test"
fi
