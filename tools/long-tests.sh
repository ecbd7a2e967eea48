#!/usr/bin/env bash
# The end-to-end tests that take minutes, with their figures: 300 dictations in one process, 1,000 presses of the hotkey
# at random moments, 200 races of two starts:   tools/long-tests.sh
set -euo pipefail
. "$(dirname "$0")/lib.sh"
cd "$root"

tools/install-packages.sh build test
tools/build.sh dev
say "Long tests"
QUILLO_LONG=1 ctest --preset dev --verbose --tests-regex '^e2e_(soak|endings)$'
