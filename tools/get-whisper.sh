#!/usr/bin/env bash
# Obtains whisper.cpp, builds it once and prints the prefix it is installed in. A system package that is new enough
# makes this unnecessary: then nothing is printed. Releases are pinned here, and only here.
#   tools/get-whisper.sh             the prefix, built for this machine's processor
#   tools/get-whisper.sh --portable  the same for packages: a back-end for each kind of processor and one for graphics
#                                    processors (Vulkan), loaded at run time
#   tools/get-whisper.sh --default   the same as whisper.cpp's makers configure it, for comparison
#   tools/get-whisper.sh --source    the folder of the source instead, without building
set -euo pipefail
. "$(dirname "$0")/lib.sh"

version=1.9.1
commit=f049fff95a089aa9969deb009cdd4892b3e74916
repository=https://github.com/ggml-org/whisper.cpp
npm_package=nodejs-whisper@0.3.1 # carries the unchanged source tree under cpp/whisper.cpp
npm_sha512=71ea2295456b691b91e459cdc97a46413d9ab80478f0e7370100449a45e75694a7f6237ac95473401142a954c659b93a59d8bde4d86fc1737316fb91edeacb5b

sources="$cache/whisper.cpp-patched-$version"
prefix="$cache/whisper-$version-$build_revision"

system_has_it() {
    local probe
    probe="$(mktemp -d)"
    cat >"$probe/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(probe CXX)
find_package(whisper REQUIRED)
if(WHISPER_VERSION VERSION_LESS $version)
    message(FATAL_ERROR "too old")
endif()
END
    local found=0
    cmake -S "$probe" -B "$probe/build" >/dev/null 2>&1 || found=1
    rm -rf "$probe"
    return "$found"
}

fetch_from_npm() {
    command -v npm >/dev/null || return 1
    (cd "$work" && npm pack --silent "$npm_package" >/dev/null) || return 1
    echo "$npm_sha512  $(echo "$work"/*.tgz)" | sha512sum --check --status ||
        fail "the checksum of $npm_package is not the recorded one"
    tar xzf "$work"/*.tgz -C "$work"
    mv "$work/package/cpp/whisper.cpp" "$work/source"
}

fetch_from_git() {
    git -c advice.detachedHead=false clone --quiet --depth 1 --branch "v$version" "$repository" "$work/git" || return 1
    [ "$(git -C "$work/git" rev-parse HEAD)" = "$commit" ] || fail "tag v$version is not the recorded commit"
    mv "$work/git" "$work/source"
}

# Last, because a packaged npm brings along hundreds of packages.
fetch_from_packaged_npm() {
    "$root/tools/install-packages.sh" npm
    fetch_from_npm
}

fetch() {
    [ ! -e "$sources" ] || return 0
    say "Fetching whisper.cpp $version" >&2
    mkdir -p "$cache"
    work="$(mktemp -d "$cache/fetch.XXXXXX")"
    trap 'rm -rf "$work"' EXIT
    fetch_from_npm || fetch_from_git || fetch_from_packaged_npm >&2 ||
        fail "whisper.cpp $version could be fetched neither by npm nor by git"
    for patch in "$root"/tools/patches/*.patch; do
        patch --silent --forward -d "$work/source" -p1 <"$patch"
    done
    mv "$work/source" "$sources"
}

# ggml's own kernels for small matrix products halve the time of the encoder.
fast=(-DGGML_LLAMAFILE=ON)

if [ "${1:-}" = --source ]; then
    fetch
    echo "$sources"
    exit 0
fi

case "${1:-}" in
    --portable)
        prefix="$prefix-portable"
        variant=("${fast[@]}" -DGGML_NATIVE=OFF -DGGML_BACKEND_DL=ON -DGGML_CPU_ALL_VARIANTS=ON -DGGML_VULKAN=ON
            -DWHISPER_BUILD_EXAMPLES=OFF)
        targets=(all)
        "$root/tools/install-packages.sh" vulkan >&2
        ;;
    --default)
        prefix="$prefix-default"
        variant=(-DWHISPER_BUILD_EXAMPLES=ON)
        targets=(whisper parakeet whisper-cli)
        ;;
    *)
        variant=("${fast[@]}" -DGGML_NATIVE=ON -DWHISPER_BUILD_EXAMPLES=ON)
        targets=(whisper parakeet whisper-cli)
        ;;
esac
if [ -e "$prefix/.complete" ]; then
    echo "$prefix"
    exit 0
fi
if [ $# -eq 0 ] && system_has_it; then exit 0; fi
fetch

linux_hardening=-fstack-clash-protection
# Libraries that call themselves directly need not have each function looked up at every start of the program.
linking=-Wl,-z,relro,-z,now,-z,noexecstack,-Bsymbolic-functions
say "Building whisper.cpp $version (once, some minutes on two cores)" >&2
build="$prefix-build"
log="$prefix"
rm -rf "$build" "$prefix"
logged "$log-configure.log" cmake -S "$sources" -B "$build" -G Ninja \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_RPATH='$ORIGIN;$ORIGIN/../lib' \
    -DCMAKE_BUILD_WITH_INSTALL_RPATH=ON -DCMAKE_INSTALL_LIBDIR=lib -DBUILD_SHARED_LIBS=ON -DGGML_OPENMP=ON -DGGML_CCACHE=ON \
    -DWHISPER_BUILD_TESTS=OFF -DWHISPER_BUILD_SERVER=OFF "${variant[@]}" \
    -DCMAKE_C_FLAGS="$hardening $linux_hardening" -DCMAKE_CXX_FLAGS="$hardening $linux_hardening" \
    -DCMAKE_SHARED_LINKER_FLAGS="$linking" -DCMAKE_MODULE_LINKER_FLAGS="$linking"
logged "$log-build.log" cmake --build "$build" --parallel "$jobs" --target "${targets[@]}"
if [ -e "$build/bin/whisper-cli" ]; then
    install -D "$build/bin/whisper-cli" "$prefix/bin/whisper-cli" # what our figures are compared with
fi
# The install step wants every target that is configured: leave the examples that were not built out of it.
logged "$log-install.log" cmake -S "$sources" -B "$build" -DWHISPER_BUILD_EXAMPLES=OFF
logged "$log-install.log" cmake --install "$build"
touch "$prefix/.complete"
rm -rf "$build"
echo "$prefix"
