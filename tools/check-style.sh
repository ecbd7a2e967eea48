#!/usr/bin/env bash
# Checks that every C++ file is formatted as .clang-format says:   tools/check-style.sh [--fix]
set -euo pipefail
. "$(dirname "$0")/lib.sh"
cd "$root"
say "Checking the format of the sources"
mode=(--dry-run --Werror)
[ "${1:-}" != --fix ] || mode=(-i)
find src tests bench tools -name '*.cpp' -o -name '*.h' | xargs clang-format "${mode[@]}"
