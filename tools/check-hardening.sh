#!/usr/bin/env bash
# Checks that programs and libraries were built as docs/security.md says:   tools/check-hardening.sh FILE...
# Those of Linux and, by their name, of Windows.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

failed=0
expect() { # PROGRAM, WHAT, PATTERN, then the lines on standard input
    grep -qE "$3" || { printf '%s: %s is missing\n' "$1" "$2" >&2; failed=1; }
}

check_linux() {
    local headers symbols
    headers="$(readelf --wide --file-header --program-headers --dynamic "$1")"
    symbols="$(readelf --wide --dyn-syms "$1")"
    expect "$1" "position independence" '^ *Type: +DYN' <<<"$headers"
    expect "$1" "a read-only relocation table" 'GNU_RELRO' <<<"$headers"
    expect "$1" "binding at the start" 'FLAGS.*BIND_NOW|FLAGS_1.*NOW' <<<"$headers"
    expect "$1" "a stack without the right to execute" 'GNU_STACK.* RW +0x' <<<"$headers"
    expect "$1" "the stack protector" '__stack_chk_fail' <<<"$symbols"
    # A small library may call nothing that has a checked form.
    [[ $1 == *.so* ]] || expect "$1" "_FORTIFY_SOURCE" '__[a-z]+_chk@' <<<"$symbols"
}

check_windows() {
    local headers
    headers="$(x86_64-w64-mingw32-objdump --private-headers "$1")"
    expect "$1" "high-entropy address layout" 'HIGH_ENTROPY_VA' <<<"$headers"
    expect "$1" "a free address layout" 'DYNAMIC_BASE' <<<"$headers"
    expect "$1" "data without the right to execute" 'NX_COMPAT' <<<"$headers"
    expect "$1" "the stack protector" 'stack smashing detected' < <(strings "$1") # it is linked in, with what it says
}

for program in "$@"; do
    say "Checking how $(basename "$program") was built"
    case "$program" in
        *.exe | *.dll) check_windows "$program" ;;
        *) check_linux "$program" ;;
    esac
done
exit "$failed"
