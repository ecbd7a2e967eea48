#!/usr/bin/env bash
# Installs the Debian packages that are missing for the named purposes:
#   build    compile and run Quillo         test     everything that ./test needs, the demo included
#   npm      the last resort of tools/get-whisper.sh
#   package  build and check the Debian package
#   demo     ./run --demo                   windows  cross-compile for Windows and run the tests under Wine
#   vulkan   build whisper.cpp's back-end for graphics processors
set -euo pipefail
. "$(dirname "$0")/lib.sh"

build=(build-essential cmake ninja-build ccache pkg-config ca-certificates git
    qt6-base-dev portaudio19-dev libcurl4-openssl-dev libx11-dev libice-dev libxi-dev libxtst-dev
    libasound2-plugins)
demo=(python3 xvfb openbox trayer iproute2 xdotool x11-utils imagemagick pulseaudio pulseaudio-utils libasound2-plugins
    espeak-ng sox openssl fonts-dejavu-core)
test=("${demo[@]}" util-linux mount libgtest-dev libgmock-dev libbenchmark-dev libsndfile1-dev clang-format clang-tidy
    clang libclang-rt-dev llvm)
package=(desktop-file-utils appstream dpkg-dev file nsis zip libvulkan1 mesa-vulkan-drivers)
vulkan=(glslc libvulkan-dev spirv-headers)
windows=("${vulkan[@]}" cmake ninja-build ccache pkg-config perl patch xz-utils ca-certificates git qt6-base-dev
    g++-mingw-w64-x86-64-posix googletest wine wine64 xvfb python3 espeak-ng sox openssl fonts-dejavu-core)

wanted=()
for purpose in "$@"; do
    case "$purpose" in
        build) wanted+=("${build[@]}") ;;
        demo) wanted+=("${demo[@]}") ;;
        test) wanted+=("${test[@]}") ;;
        package) wanted+=("${package[@]}") ;;
        npm) wanted+=(npm) ;;
        vulkan) wanted+=("${vulkan[@]}") ;;
        windows) wanted+=("${windows[@]}") ;;
        *) fail "unknown purpose: $purpose" ;;
    esac
done
installed="$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' 2>/dev/null | sed -n 's/^installed //p')"
missing=()
for package in "${wanted[@]}"; do
    grep -qxF "$package" <<<"$installed" || missing+=("$package")
done
[ "${#missing[@]}" -gt 0 ] || exit 0

say "Installing ${#missing[@]} Debian packages: ${missing[*]}"
mkdir -p "$cache"
export DEBIAN_FRONTEND=noninteractive
logged "$cache/apt.log" as_root apt-get update -qq
logged "$cache/apt.log" as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
