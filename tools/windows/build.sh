#!/usr/bin/env bash
# Cross-builds Quillo for Windows into build/windows:   tools/windows/build.sh [TARGET...]
# Without targets all is built, tests included. The program is build/windows/bin/Quillo.exe, beside ggml's libraries.
set -euo pipefail
. "$(dirname "$0")/../lib.sh"

"$root/tools/install-packages.sh" windows
QUILLO_WINDOWS_PREFIX="$("$root/tools/windows/build-deps.sh")"
export QUILLO_WINDOWS_PREFIX

cd "$root"
say "Building (windows)"
mkdir -p build
logged build/windows-configure.log cmake $(unless_found_in build/windows "$QUILLO_WINDOWS_PREFIX") --preset windows
cmake --build --preset windows --parallel "$jobs" ${1:+--target "$@"}
