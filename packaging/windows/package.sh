#!/usr/bin/env bash
# Builds installer and portable zip for Windows and prints where they lie:   packaging/windows/package.sh
set -euo pipefail
. "$(dirname "$0")/../../tools/lib.sh"

"$root/tools/install-packages.sh" windows package >&2
"$root/tools/windows/build.sh" quillo >&2
build="$root/build/windows"
"$root/tools/check-hardening.sh" "$build"/bin/Quillo.exe "$build"/bin/{,gpu/}ggml*.dll >&2
say "Packing" >&2
# Both packages hold the same bytes: stripping a program writes a time into it.
SOURCE_DATE_EPOCH="$(stat -c %Y "$build/bin/Quillo.exe")"
export SOURCE_DATE_EPOCH
logged "$build-cpack.log" cpack --config "$build/CPackConfig.cmake" -B "$root/build/windows-package"
ls "$root"/build/windows-package/Quillo-*.{exe,zip}
