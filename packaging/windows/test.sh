#!/usr/bin/env bash
# Tries the packages of packaging/windows/package.sh under a fresh Wine: installs without questions, starts what was
# installed, removes it; the user's data stay. The same start out of the zip.
set -euo pipefail
. "$(dirname "$0")/../../tools/lib.sh"
. "$root/tools/windows/wine.sh"

packages="$root/build/windows-package"
logs="$root/build/windows-package-logs"
wine_home="$root/build/wine-fresh" # of its own: no library of another test lies there
rm -rf "$wine_home"
start_wine "$logs"
drive="$wine_home/prefix/drive_c"
data="$drive/users/Zoë/AppData/Roaming/Quillo"

wine_run() { logged "$logs/wine.log" in_wine timeout 120 wine "$@"; }
expect() { "$@" || fail "does not hold: $*"; }

# starts PROGRAM: whether it comes so far that it waits for the hotkey
starts() {
    local output="$logs/started.log"
    in_wine timeout 60 wine "$1" --verbose >"$output" 2>&1 &
    local deadline=$((SECONDS + 60)) started=$!
    until grep -q 'Hotkey registered' "$output"; do
        [ "$SECONDS" -lt "$deadline" ] && kill -0 "$started" || { cat "$output" >&2; return 1; }
        sleep 0.2
    done
    wine_run taskkill /f /im Quillo.exe
    wait "$started" || true
}

say "Installing"
wine_run "$packages"/Quillo-*.exe /S
installed="$drive/Program Files/Quillo"
expect test -e "$installed/Quillo.exe"
expect test -e "$installed/ggml-cpu-x64.dll"
expect test -n "$(find "$drive" -name 'Quillo.lnk')"
expect starts "$installed/Quillo.exe"

say "Removing"
mkdir -p "$data"
touch "$data/history.json"
wine_run "$installed/Uninstall.exe" /S
for ((tries = 100; tries > 0; --tries)); do # it goes on in a copy of itself
    [ -e "$installed" ] || break
    sleep 0.2
done
expect test ! -e "$installed"
expect test -e "$data/history.json"
expect test -z "$(find "$drive" -name 'Quillo.lnk')"

say "Starting out of the zip"
(cd "$drive" && python3 -m zipfile -e "$packages"/Quillo-*.zip portable)
expect starts "$(echo "$drive"/portable/*/Quillo.exe)"
say "All of it holds"
