#!/usr/bin/env bash
# Runs clang-tidy with the checks of .clang-tidy over src/:   tools/check-tidy.sh BUILD_FOLDER
# A file is looked at again only when something that its result depends on has changed.
set -euo pipefail
. "$(dirname "$0")/lib.sh"
cd "$root"
build="$1"
say "Running clang-tidy over src/"
# clang-tidy needs the headers of the standard library and of Qt unchanged: the state of our own files is what counts.
state="$(find src -name '*.h' -o -name '*.cpp' | sort | xargs cat .clang-tidy "$build/build.ninja" | sha256sum)"
[ "$state" != "$(cat "$build/tidy.ok" 2>/dev/null)" ] || exit 0
sources_built() { sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$build/compile_commands.json"; }
sources_built | grep "^$root/src/" | sort -u | xargs -P "$jobs" -n 2 clang-tidy -p "$build" --quiet
printf '%s' "$state" >"$build/tidy.ok"
