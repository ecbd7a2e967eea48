#!/usr/bin/env bash
# Configures and builds a CMake preset:   tools/build.sh PRESET [TARGET...]
# The packages of tools/install-packages.sh must be there; whisper.cpp is obtained where the system has none.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

preset="$1"
shift
whisper="$("$root/tools/get-whisper.sh")"

cd "$root"
say "Building ($preset)"
mkdir -p build
logged "build/$preset-configure.log" cmake $(unless_found_in "build/$preset" "$whisper") --preset "$preset" \
    -DCMAKE_PREFIX_PATH="$whisper"
cmake --build --preset "$preset" --parallel "$jobs" ${1:+--target "$@"}
