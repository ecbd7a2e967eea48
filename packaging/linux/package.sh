#!/usr/bin/env bash
# Builds the Debian package, for any processor of this architecture, and prints where it lies:   packaging/linux/package.sh
set -euo pipefail
. "$(dirname "$0")/../../tools/lib.sh"

"$root/tools/install-packages.sh" build package >&2
whisper="$("$root/tools/get-whisper.sh" --portable)"
build="$root/build/package"
say "Building the package" >&2
mkdir -p "$build"
logged "$build-configure.log" cmake --preset release -B "$build" -DQUILLO_PACKAGE=ON -DCMAKE_PREFIX_PATH="$whisper"
logged "$build-build.log" cmake --build "$build" --parallel "$jobs"
mkdir -p "$build/dependencies/debian"
touch "$build/dependencies/debian/control" # dpkg-shlibdeps wants one
libraries="$(cd "$build/dependencies" && dpkg-shlibdeps -O -xlibvulkan1 -l"$whisper/lib" --ignore-missing-info \
    "$build/bin/quillo" "$whisper"/lib/lib{whisper,ggml*}.so "$whisper"/bin/*.so 2>"$build-dependencies.log")" ||
    fail "no dependencies: $(cat "$build-dependencies.log")"
logged "$build-cpack.log" cpack --config "$build/CPackConfig.cmake" -B "$build" \
    -D CPACK_DEBIAN_PACKAGE_DEPENDS="${libraries#shlibs:Depends=}, ca-certificates"

say "Checking the package" >&2
tree="$(mktemp -d)"
trap 'rm -rf "$tree"' EXIT
package="$(ls "$build"/quillo_*.deb)"
dpkg-deb --extract "$package" "$tree"
desktop-file-validate "$tree/usr/share/applications/quillo.desktop"
appstreamcli validate --no-net "$tree/usr/share/metainfo/io.quillo.Quillo.metainfo.xml" >&2
find "$tree/usr/lib/quillo" -type f -exec "$root/tools/check-hardening.sh" {} + >&2
echo "$package"
