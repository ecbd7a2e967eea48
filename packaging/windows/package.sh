#!/usr/bin/env bash
# Builds installer and portable zip for Windows and prints where they lie:   packaging/windows/package.sh
set -euo pipefail
. "$(dirname "$0")/../../tools/lib.sh"

"$root/tools/install-packages.sh" windows package >&2
"$root/tools/windows/build.sh" quillo >&2
build="$root/build/windows"
"$root/tools/check-hardening.sh" "$build/bin/Quillo.exe" >&2
say "Packing" >&2
logged "$build-cpack.log" cpack --config "$build/CPackConfig.cmake" -B "$root/build/windows-package"
ls "$root"/build/windows-package/Quillo-*.{exe,zip}
