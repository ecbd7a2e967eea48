#!/usr/bin/env bash
# Tries the packages of packaging/windows/package.sh under a fresh Wine: installs without questions, starts what was
# installed, installs over it and removes it while it runs; the user's data stay. Starts what is in the zip, and dictates
# with it as on a machine without AVX.
set -euo pipefail
. "$(dirname "$0")/../../tools/lib.sh"
. "$root/tools/windows/wine.sh"

packages="$root/build/windows-package"
logs="$root/build/windows-package-logs"
"$root/tools/install-packages.sh" build demo windows
"$root/tools/windows/build.sh" edit_window
"$root/tools/build.sh" dev desktop_editor desktop_keys
wine_home="$root/build/wine-fresh" # of its own: no library of another test lies there
rm -rf "$wine_home"
start_wine "$logs"
drive="$wine_home/prefix/drive_c"
profile="$drive/users/Zoë/AppData"
data="$profile/Roaming/Quillo"
installed="$profile/Local/Programs/Quillo"
link="$profile/Roaming/Microsoft/Windows/Start Menu/Programs/Quillo.lnk"
run_key='HKCU\Software\Microsoft\Windows\CurrentVersion\Run'

wine_run() { logged "$logs/wine.log" in_wine timeout 120 wine "$@"; }
installer() { in_wine timeout 120 wine "$packages"/Quillo-*.exe /S "$@" >"$logs/installer.log" 2>&1; }
# has_value KEY NAME TEXT: whether the registry has the text in that value
has_value() { in_wine timeout 60 wine reg query "$1" /v "$2" 2>"$logs/wine.log" | grep -qF "$3"; }
not() { ! "$@"; }
expect() { "$@" || fail "does not hold: $*"; }
eventually() {
    for ((tries = 300; tries > 0; --tries)); do
        ! "$@" || return 0
        sleep 0.2
    done
    fail "does not come true: $*"
}

has_ended() { ! kill -0 "$started" 2>/dev/null; }
is_up() { grep -q 'Hotkey registered' "$logs/started.log" || has_ended; }
# start PROGRAM: starts it and waits until it has loaded a back-end for the model and waits for the hotkey
start() {
    local log="$logs/started.log"
    : >"$log"
    in_wine timeout 300 wine "$1" --verbose >"$log" 2>&1 &
    started=$!
    eventually is_up
    for line in 'Hotkey registered' 'GPU backend: CPU'; do
        grep -qF "[Quillo] $line" "$log" || fail "no line '$line' from $1: $(cat "$log")"
    done
}
# Whether a program is there that could be asked, politely, to end
asked_to_end() { in_wine timeout 60 wine taskkill /im Quillo.exe >"$logs/wine.log" 2>&1; }
ends_well() {
    eventually has_ended
    wait "$started" || fail "the program ended with $? and not as Quit does"
}

say "Looking into the zip"
(cd "$drive" && python3 -m zipfile -e "$packages"/Quillo-*.zip portable)
portable="$(echo "$drive"/portable/*)"
for library in Qt Qt-parts FreeType HarfBuzz libpng PCRE2 zlib PortAudio curl whisper.cpp GCC mingw-w64; do
    expect test -s "$portable/licenses/$library.txt"
done
is_complete() { diff -r --exclude Uninstall.exe "$portable" "$1"; }

mkdir -p "$data/models" "$data/config"
cp "$root/tests/data/ggml-mini.bin" "$data/models/ggml-tiny.bin"
printf tiny >"$data/config/active_model.txt"

say "Installing"
expect installer
expect is_complete "$installed"
expect not has_value "$run_key" Quillo .exe
wine_run start /unix "$link"
eventually asked_to_end
eventually not asked_to_end
start "$installed/Quillo.exe"

say "Installing over the running program"
wine_run reg add "$run_key" /v Quillo /d 'C:\of-an-earlier-version\Quillo.exe' # to start at sign-in was wanted
echo old >"$installed/license.txt"
echo old >"$installed/ggml-cpu-of-an-earlier-version.dll"
expect installer
ends_well
expect is_complete "$installed"
expect has_value "$run_key" Quillo 'AppData\Local\Programs\Quillo\Quillo.exe"'

say "Installing over a program that does not end"
start "$installed/Quillo.exe"
process=$started
while child="$(pgrep -P "$process")"; do process=$child; done
kill -STOP "$process"
echo kept >"$installed/license.txt"
expect not installer
expect grep -q kept "$installed/license.txt"
kill -CONT "$process"
ends_well # it was asked

say "Removing the running program"
start "$installed/Quillo.exe"
touch "$data/history.json"
wine_run "$installed/Uninstall.exe" /S
ends_well
eventually test ! -e "$installed" # the uninstaller goes on in a copy of itself
eventually not has_value "$run_key" Quillo .exe
expect test ! -e "$link"
expect not has_value 'HKCU\Software\Microsoft\Windows\CurrentVersion\Uninstall\Quillo' DisplayName Quillo
expect test -e "$data/history.json"

say "Staying in a folder that was chosen"
expect installer '/D=C:\Own\Quillo'
expect is_complete "$drive/Own/Quillo"
rm "$drive/Own/Quillo/license.txt"
expect installer
expect is_complete "$drive/Own/Quillo"
expect test ! -e "$installed"

say "Starting out of the zip"
expect test -e "$portable/gpu/ggml-vulkan.dll"
rm -f "$data/config/graphics.txt"
start "$portable/Quillo.exe"
eventually grep -qF 'Recognition stays on the CPU' "$logs/started.log" # no graphics processor to be trusted here
expect grep -q failed "$data/config/graphics.txt"
expect asked_to_end
ends_well

say "Dictating without AVX"
find "$portable" -name 'ggml-cpu-*.dll' ! -name ggml-cpu-x64.dll -delete # none other would be taken
expect test -e "$portable/ggml-cpu-x64.dll"
end_wine # the test has a display of its own
cp "$root/build/windows/bin/edit_window.exe" "$portable"
QUILLO_WINDOWS_BINARIES="$portable" QUILLO_HELPERS="$root/build/dev/bin" QUILLO_WINE_HOME="$wine_home" \
    QUILLO_SCREENSHOTS="$logs/screenshots" logged "$logs/dictation.log" timeout 300 \
    python3 -B "$root/tests/e2e/windows/test_windows.py" -v WindowsProgram.test_spoken_sentence_is_pasted
say "All of it holds"
