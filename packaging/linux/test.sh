#!/usr/bin/env bash
# Tries the Debian package of packaging/linux/package.sh: unpacks it into a folder and dictates with what lies there on a
# private desktop, also as on a processor without AVX, on Mesa's software device as on a graphics processor, and with
# drivers that misbehave. Of this system nothing is changed.
set -euo pipefail
. "$(dirname "$0")/../../tools/lib.sh"

"$root/tools/install-packages.sh" build package demo
build="$root/build/package"
package="$(ls "$build"/quillo_*.deb)"
logged "$build-helpers.log" cmake --build "$build" --parallel "$jobs" --target desktop_editor desktop_keys
tree="$(mktemp -d)"
trap 'rm -rf "$tree"' EXIT

expect() { "$@" || fail "does not hold: $*"; }
dictates() {
    logged "$build-demo.log" timeout 120 "$root/tools/demo.py" --binary "$tree/usr/bin/quillo" --helpers "$build/bin" \
        --model "$root/tests/data/ggml-mini.bin" --out "$build/demo"
}

say "Looking into the package"
logged "$build-apt.log" apt-get install --simulate "$package" # all that it depends on is to be had
dpkg-deb --extract "$package" "$tree"
expect test "$(readlink "$tree/usr/bin/quillo")" = ../lib/quillo/quillo
expect grep -q 'The ggml authors' "$tree/usr/share/doc/quillo/copyright"

say "Dictating"
dictates

say "Dictating with graphics processors, good and bad (four minutes)"
expect test -e "$tree/usr/lib/quillo/gpu/libggml-vulkan.so"
c++ -std=c++20 -O1 -shared -fPIC -o "$build/libbad_driver.so" "$root/tests/e2e/graphics/bad_driver.cpp"
QUILLO_BINARY="$tree/usr/bin/quillo" QUILLO_HELPERS="$build/bin" QUILLO_DRIVER_LAYER="$build/libbad_driver.so" \
    logged "$build-graphics.log" timeout 1200 python3 -B "$root/tests/e2e/graphics/test_graphics.py" -v

say "Dictating without AVX"
find "$tree/usr/lib/quillo" -name 'libggml-cpu-*.so' ! -name libggml-cpu-x64.so -delete # none other would be taken
expect test -e "$tree/usr/lib/quillo/libggml-cpu-x64.so"
dictates
say "All of it holds"
