#!/usr/bin/env bash
# Renders what Quillo shows into PNG files, at three scales:   tools/pictures/run.sh OUT_DIR
set -euo pipefail
out="$(realpath -m "${1:?usage: run.sh OUT_DIR}")"
. "$(dirname "$0")/../lib.sh"

"$root/tools/build.sh" dev quillo_pictures
for scale in 1 1.5 2; do
    say "Scale $scale"
    QT_QPA_PLATFORM=offscreen QT_SCALE_FACTOR="$scale" "$root/build/dev/bin/quillo_pictures" "$out/$scale"
done
