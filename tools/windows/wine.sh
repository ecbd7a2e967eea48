# Sourced: a Wine of our own, on a display that nobody sees. Wine's files stay in build/, so that a second run is quick.
#   start_wine FOLDER   starts both, with their logs in FOLDER; both end with the script, or with end_wine
#   in_wine COMMAND...  runs a command of this machine with that Wine and that display
wine_home="$root/build/wine" # Wine's drives and registry, and a home folder of their own

in_wine() {
    # The user has an accent, so that the folders of Windows have one as well.
    env HOME="$wine_home" USER=Zoë LC_ALL=C.UTF-8 DISPLAY=":$display" WINEPREFIX="$wine_home/prefix" WINEARCH=win64 \
        WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d" "$@"
}

start_display() {
    local pipe
    pipe="$(mktemp -u "$1/display.XXXXXX")"
    mkfifo "$pipe"
    Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$pipe" >"$1/xvfb.log" 2>&1 &
    xvfb=$!
    read -r -t 60 display <"$pipe" || fail "Xvfb does not start (see $1/xvfb.log)"
    rm -f "$pipe"
}

# Sets Wine up once: its registry, and a font of this machine for the ones that programs for Windows ask for.
prepare_wine() {
    [ ! -e "$wine_home/.complete" ] || return 0
    say "Setting up Wine (once, about half a minute)"
    (make_prefix "$1") || make_prefix "$1" # Wine's own set-up fails now and then
}

make_prefix() {
    local font
    rm -rf "$wine_home"
    mkdir -p "$wine_home"
    logged "$1/wineboot.log" in_wine timeout 300 wineboot --init
    for font in "Segoe UI" "MS Shell Dlg" "MS Shell Dlg 2" Tahoma; do
        logged "$1/wineboot.log" in_wine timeout 60 wine reg add 'HKCU\Software\Wine\Fonts\Replacements' \
            /v "$font" /d "DejaVu Sans" /f
    done
    logged "$1/wineboot.log" in_wine timeout 300 wineserver --wait # until the registry is on the disk
    touch "$wine_home/.complete"
}

end_wine() {
    trap - EXIT
    if [ -n "$display" ]; then in_wine timeout 30 wineserver --kill || true; fi
    if [ -n "$xvfb" ]; then kill "$xvfb" || true; fi
}

start_wine() {
    display='' xvfb=''
    mkdir -p "$1"
    trap end_wine EXIT
    start_display "$1"
    prepare_wine "$1"
    # Else it would end with each program, and the next one may find it in the midst of that. Wine's services, which come
    # with the first program and stay, keep that program's output open.
    logged "$1/wineserver.log" in_wine wineserver --persistent
    logged "$1/wineserver.log" in_wine timeout 120 wine cmd /c exit
}
