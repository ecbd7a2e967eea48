#!/usr/bin/env bash
# Cross-builds for Windows all that Quillo links there, once, and prints the folder it is installed in: Qt (Core, Gui,
# Widgets, Test), PortAudio and libcurl from Debian's source packages, whisper.cpp from its pinned release with ggml's
# back-ends, one DLL for each kind of processor and one for graphics processors. Qt takes half an hour on two cores, the
# others a quarter.
#
# QUILLO_WINDOWS_PREFIX_ARCHIVE may name a packed folder of that kind ("prefix/..."), which saves building what is in
# it. A file SHA256SUMS beside the archive is checked.
#
# With QUILLO_FEW_BACKENDS set, ggml has two back-ends only, which is enough to try everything and saves five minutes:
# the one for any processor and the one for AVX2.
#
#   tools/windows/build-deps.sh             all that is missing
#   tools/windows/build-deps.sh NAME...     builds these anew: qtbase portaudio curl ggml whisper
#   tools/windows/build-deps.sh --at-hand   builds nothing: succeeds when Qt, which takes longest, is there already or
#                                           in an archive
set -euo pipefail
. "$(dirname "$0")/../lib.sh"

qtbase_version=6.4.2 # the version of Debian's qt6-base-dev too, whose tools take part
portaudio_version=19.6.0
curl_version=7.88.1
sources="$("$root/tools/get-whisper.sh" --source)"
whisper_version="${sources##*-}"

name="windows-qt$qtbase_version-portaudio$portaudio_version-curl$curl_version-whisper$whisper_version-$build_revision"
[ -z "${QUILLO_FEW_BACKENDS:-}" ] || name+="-few"
prefix="$cache/$name"
packages="$cache/windows-source-packages"
work="$cache/windows-build"
marks="$prefix/built" # one file for each dependency that is installed completely
logs="$cache/$name-logs"

progress() { say "$@" >&2; }

# Debian's source packages, from where this machine gets its binary ones, by lists of our own: apt's stay as they are.
fetch_packages() {
    local lists="$packages/apt"
    [ ! -e "$packages/.complete" ] || return 0
    progress "Fetching Debian's source packages of Qt, PortAudio and curl"
    rm -rf "$packages"
    mkdir -p "$lists/lists/partial" "$lists/cache/archives/partial"
    apt-get indextargets --format '$(ORIGIN) deb-src $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
        sed -n 's/^Debian //p' | sort -u >"$lists/sources.list"
    local options=(-o "Dir::Etc::SourceList=$lists/sources.list" -o Dir::Etc::SourceParts=/dev/null
        -o "Dir::State::Lists=$lists/lists" -o "Dir::Cache=$lists/cache" -o APT::Sandbox::User=root)
    logged "$logs/apt.log" apt-get "${options[@]}" update
    (cd "$packages" && logged "$logs/apt.log" apt-get "${options[@]}" source --download-only \
        qt6-base portaudio19 curl)
    touch "$packages/.complete"
}

# unpack NAME PATTERN: a fresh source tree $work/NAME out of the package's tarball
unpack() {
    local tarball
    fetch_packages
    tarball="$(compgen -G "$packages/$2")" || fail "Debian has another version than the one we want: no $2"
    rm -rf "${work:?}/$1"
    mkdir -p "$work/$1"
    tar xf "$tarball" -C "$work/$1" --strip-components=1
}

# debian_patches NAME PATTERN [PATCH...]: the named patches of the package, or all; they carry its security fixes
debian_patches() {
    local tarball folder="$work/$1" series
    tarball="$(compgen -G "$packages/$2" | tail -n 1)"
    mkdir -p "$folder/debian"
    tar xf "$tarball" -C "$folder/debian" --strip-components=1 debian/patches
    mapfile -t series < <(grep -Ev '^[[:space:]]*(#|$)' "$folder/debian/patches/series")
    for patch in "${@:3}"; do [[ " ${series[*]} " == *" $patch "* ]] || fail "$1 has no patch $patch"; done
    [ $# -le 2 ] || series=("${@:3}")
    for patch in "${series[@]}"; do
        patch --silent --forward -d "$folder" -p1 <"$folder/debian/patches/$patch"
    done
}

# build NAME SOURCE OPTIONS...: configures, builds and installs with CMake
build() {
    local name="$1" source="$2"
    rm -rf "${work:?}/$name-build"
    logged "$logs/$name-configure.log" env CFLAGS="$hardening" CXXFLAGS="$hardening" cmake -S "$source" -B "$work/$name-build" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchains/mingw64.cmake" -DCMAKE_INSTALL_PREFIX="$prefix" \
        -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache "${@:3}"
    logged "$logs/$name-build.log" cmake --build "$work/$name-build" --parallel "$jobs"
    logged "$logs/$name-install.log" cmake --install "$work/$name-build" --strip
}

build_qtbase() {
    local off=() feature
    unpack qtbase "qt6-base_$qtbase_version*.orig.tar.xz"
    debian_patches qtbase "qt6-base_$qtbase_version*.debian.tar.xz" cve-2023-32763.diff # others are for other systems
    # direct2d stays on, since the Windows platform plugin wants DirectWrite's fonts, which this version builds only
    # with it; Debian's tarball lacks what tabletevent needs.
    for feature in network sql dbus xml printsupport concurrent opengl vulkan vkgen icu glib zstd jpeg gif pdf \
        textodfwriter textmarkdownreader textmarkdownwriter tabletevent direct2d1_1 sessionmanager pkg_config \
        system_zlib system_png system_freetype system_harfbuzz system_pcre2 system_doubleconversion \
        androiddeployqt windeployqt macdeployqt; do
        off+=("-DFEATURE_$feature=OFF")
    done
    build qtbase "$work/qtbase" -DQT_QMAKE_TARGET_MKSPEC=win32-g++ -DBUILD_SHARED_LIBS=OFF \
        -DFEATURE_static_runtime=ON -DFEATURE_freetype=ON -DFEATURE_harfbuzz=ON -DFEATURE_png=ON -DINPUT_opengl=no \
        -DQT_BUILD_EXAMPLES=OFF -DQT_BUILD_TESTS=OFF "${off[@]}"
}

build_portaudio() {
    unpack portaudio "portaudio19_$portaudio_version*.orig.tar.gz"
    # windows.h of mingw-w64 has defined NTDDI_VERSION by then, so that neither of the two blocks of includes would be
    # taken: send it into the first, with the headers' names as a file system wants them that tells cases apart.
    local wasapi="$work/portaudio/src/hostapi/wasapi/pa_win_wasapi.c"
    sed -i -e '58s/^#if .*/#if defined(__MINGW64_VERSION_MAJOR)/' -e '59s/Avrt\.h/avrt.h/' \
        -e '61s/Audioclient\.h/audioclient.h/' -e '65s/functiondiscoverykeys\.h/functiondiscoverykeys_devpkey.h/' \
        "$wasapi"
    grep -q 'defined(__MINGW64_VERSION_MAJOR)' "$wasapi" || fail "PortAudio's WASAPI source is not the one we know"
    build portaudio "$root/tools/windows/portaudio" -DQUILLO_PORTAUDIO_SOURCE="$work/portaudio"
}

build_curl() {
    unpack curl "curl_$curl_version*.orig.tar.gz"
    # The last patches only tell Debian's variants with other TLS libraries apart.
    local patches
    mapfile -t patches < <(tar xOf "$(compgen -G "$packages/curl_$curl_version-*.debian.tar.xz")" \
        debian/patches/series | grep -Ev '^[[:space:]]*(#|$)|^(90_gnutls|99_nss)')
    debian_patches curl "curl_$curl_version-*.debian.tar.xz" "${patches[@]}"
    build curl "$work/curl" -DCMAKE_C_FLAGS="$hardening -D_WIN32_WINNT=0x0A00" \
        -DBUILD_SHARED_LIBS=OFF -DBUILD_CURL_EXE=OFF -DBUILD_TESTING=OFF -DENABLE_MANUAL=OFF -DHTTP_ONLY=ON \
        -DCURL_USE_SCHANNEL=ON -DCURL_WINDOWS_SSPI=ON -DENABLE_UNICODE=ON -DUSE_WIN32_IDN=ON \
        -DENABLE_THREADED_RESOLVER=ON -DENABLE_IPV6=ON -DENABLE_UNIX_SOCKETS=OFF \
        -DCURL_ZLIB=OFF -DCURL_BROTLI=OFF -DCURL_ZSTD=OFF -DUSE_LIBIDN2=OFF -DUSE_WIN32_LDAP=OFF \
        -DCURL_USE_LIBPSL=OFF -DCURL_USE_LIBSSH2=OFF
}

# Windows aligns the stack to 16 bytes and the compiler knows no better for its 32 byte vectors: all vector moves must
# be of the kind that bears it.
vector_moves=-Wa,-muse-unaligned-vector-move

# Vulkan's headers without this system's others, and a library that leads to what the drivers bring along.
prepare_vulkan() {
    mkdir -p "$work/vulkan/include"
    cp -R /usr/include/{vulkan,vk_video,spirv} "$work/vulkan/include"
    printf 'LIBRARY vulkan-1.dll\nEXPORTS\n' >"$work/vulkan/vulkan-1.def"
    printf '%s\n' vkGetInstanceProcAddr vkGetDeviceProcAddr vkCmdCopyBuffer vkGetPhysicalDeviceFeatures2 \
        >>"$work/vulkan/vulkan-1.def"
    x86_64-w64-mingw32-dlltool -d "$work/vulkan/vulkan-1.def" -l "$work/vulkan/libvulkan-1.a"
}

# DLLs, since the back-ends are loaded when the program runs and all share ggml-base.
build_ggml() {
    rm -rf "$work/ggml"
    mkdir -p "$work"
    cp -R "$sources/ggml" "$work/ggml"
    touch "$work/ggml/ggml.pc.in" # wanted by its description, lacking in the npm package
    # The compiler's AMX instructions take 32 bit strides on Windows, which do not assemble; that kind of server has
    # all else of zen4.
    sed -i '/ggml_add_cpu_backend_variant(sapphirerapids /d' "$work/ggml/src/CMakeLists.txt"
    if [ -n "${QUILLO_FEW_BACKENDS:-}" ]; then
        sed -i -E '/ggml_add_cpu_backend_variant\((x64|haswell)\b/!{/^ *ggml_add_cpu_backend_variant\([a-z]/d}' \
            "$work/ggml/src/CMakeLists.txt"
    fi
    prepare_vulkan
    build ggml "$work/ggml" -DBUILD_SHARED_LIBS=ON -DGGML_BACKEND_DL=ON -DGGML_CPU_ALL_VARIANTS=ON -DGGML_NATIVE=OFF \
        -DGGML_LLAMAFILE=ON -DGGML_VULKAN=ON -DVulkan_INCLUDE_DIR="$work/vulkan/include" \
        -DVulkan_LIBRARY="$work/vulkan/libvulkan-1.a" -DVulkan_GLSLC_EXECUTABLE=/usr/bin/glslc \
        -DSPIRV-Headers_DIR=/usr/share/cmake/SPIRV-Headers -DGGML_OPENMP=ON -DGGML_BUILD_TESTS=OFF -DGGML_BUILD_EXAMPLES=OFF \
        -DCMAKE_C_FLAGS="$hardening -include $root/tools/windows/mingw-compat.h $vector_moves" \
        -DCMAKE_CXX_FLAGS="$hardening $vector_moves"
}

# Part of the program, so that its exceptions never cross the border of a DLL.
build_whisper() {
    rm -rf "$work/whisper" # a copy, since configuring writes into the source
    mkdir -p "$work/whisper"
    tar cf - -C "$sources" CMakeLists.txt cmake include src bindings/javascript LICENSE | tar xf - -C "$work/whisper"
    build whisper "$work/whisper" -DBUILD_SHARED_LIBS=OFF -DWHISPER_USE_SYSTEM_GGML=ON \
        -DQUILLO_WINDOWS_PREFIX="$prefix" -DCMAKE_CXX_FLAGS="$hardening -isystem $prefix/include" \
        -DWHISPER_BUILD_TESTS=OFF -DWHISPER_BUILD_EXAMPLES=OFF -DWHISPER_BUILD_SERVER=OFF
}

# Takes Qt and curl out of the archive, and the rest where this script has built it.
unpack_archive() {
    local archive="$1" sums
    sums="$(dirname "$archive")/SHA256SUMS"
    [ -e "$archive" ] || fail "QUILLO_WINDOWS_PREFIX_ARCHIVE names no file: $archive"
    progress "Unpacking $(basename "$archive")"
    if [ -e "$sums" ]; then
        (cd "$(dirname "$archive")" && sha256sum --check --strict --status --ignore-missing SHA256SUMS) &&
            grep -qF " $(basename "$archive")" "$sums" ||
            fail "the checksum of $archive is not the one in SHA256SUMS"
    fi
    rm -rf "$prefix" "$prefix.part"
    mkdir -p "$prefix.part"
    tar xf "$archive" -C "$prefix.part" --strip-components=1
    if [ ! -e "$prefix.part/built" ]; then
        mkdir "$prefix.part/built"
        [ ! -e "$prefix.part/lib/libQt6Widgets.a" ] || touch "$prefix.part/built/qtbase"
        [ ! -e "$prefix.part/lib/libcurl.a" ] || touch "$prefix.part/built/curl"
        (cd "$prefix.part" && rm -rf lib/*ggml*.a lib/libwhisper.a lib/libparakeet.a lib/cmake/{ggml,whisper,parakeet} \
            include/{ggml,gguf,whisper,parakeet}*.h lib/libportaudio.a include/p{ortaudio,a_win_*}.h lib/cmake/PortAudio)
    fi
    mv "$prefix.part" "$prefix"
}

if [ "${1:-}" = --at-hand ]; then
    [ -n "${QUILLO_WINDOWS_PREFIX_ARCHIVE:-}" ] || [ -e "$marks/qtbase" ]
    exit
fi

mkdir -p "$cache" "$logs"
if [ -n "${QUILLO_WINDOWS_PREFIX_ARCHIVE:-}" ] && [ ! -e "$marks" ]; then
    unpack_archive "$QUILLO_WINDOWS_PREFIX_ARCHIVE"
fi
mkdir -p "$marks"
for dependency in "$@"; do
    declare -F "build_$dependency" >/dev/null || fail "there is no dependency named $dependency"
    rm -f "$marks/$dependency"
done
for dependency in portaudio curl ggml whisper qtbase; do
    [ ! -e "$marks/$dependency" ] || continue
    progress "Building $dependency for Windows (log: $logs/$dependency-build.log)"
    started=$SECONDS
    "build_$dependency"
    touch "$marks/$dependency"
    rm -rf "$work/$dependency" "$work/$dependency-build"
    progress "$dependency took $((SECONDS - started)) s"
done
echo "$prefix"
