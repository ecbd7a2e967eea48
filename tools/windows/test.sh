#!/usr/bin/env bash
# Cross-builds Quillo and its tests and runs those under Wine, on a display that nobody sees. Arguments go to ctest.
set -euo pipefail
. "$(dirname "$0")/../lib.sh"
. "$(dirname "$0")/wine.sh"

"$root/tools/windows/build.sh"
start_wine "$root/build/windows-logs"
say "Tests under Wine"
cd "$root"
# One at a time: they share Wine's folders of the user.
in_wine ctest --preset windows "$@"
