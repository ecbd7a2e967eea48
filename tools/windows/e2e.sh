#!/usr/bin/env bash
# Cross-builds Quillo and tries the whole program under Wine: a private display, a microphone without hardware, keys,
# and another Windows program to dictate into. What it looked like is kept in build/windows/screenshots.
set -euo pipefail
. "$(dirname "$0")/../lib.sh"
. "$(dirname "$0")/wine.sh"

"$root/tools/install-packages.sh" build demo windows
"$root/tools/windows/build.sh" quillo edit_window
"$root/tools/build.sh" dev desktop_editor desktop_keys
start_wine "$root/build/windows-logs"
end_wine # it only had to be set up: the test has a display of its own
say "Trying the Windows program under Wine"
QUILLO_WINDOWS_BINARIES="$root/build/windows/bin" QUILLO_HELPERS="$root/build/dev/bin" \
    QUILLO_WINE_HOME="$wine_home" QUILLO_SCREENSHOTS="$root/build/windows/screenshots" \
    timeout 600 python3 -B "$root/tests/e2e/windows/test_windows.py" -v "$@"
