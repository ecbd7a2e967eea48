# Sourced by the scripts of this folder: where things are, and how a script speaks.
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cache="${QUILLO_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/quillo}"
jobs="$(nproc)"

# Another checkout finds what this one has compiled.
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1
# Precompiled headers need both.
export CCACHE_SLOPPINESS=pch_defines,time_macros

# For the libraries that we build ourselves, what cmake/Hardening.cmake gives our own code. Libraries that are cached carry
# the number in their folder's name: raise it when they are to be built in another way.
hardening="-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2"
build_revision=4

say() { printf '\033[1m==> %s\033[0m\n' "$*"; }
fail() { printf 'error: %s\n' "$*" >&2; exit 1; }

# Runs a command as root, through sudo where we are not root already.
as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"
    elif command -v sudo >/dev/null; then sudo "$@"
    else fail "this needs root, and sudo is not installed: $*"
    fi
}

# unless_found_in BUILD PREFIX: the option that makes CMake look again for libraries that it has found elsewhere before
unless_found_in() {
    if [ -e "$1/CMakeCache.txt" ] && ! grep -qF "=$2/" "$1/CMakeCache.txt"; then echo --fresh; fi
}

# Runs a long command with its output in a log, shown only when the command fails.
logged() {
    local log="$1"
    shift
    "$@" >"$log" 2>&1 || { tail -n 60 "$log" >&2; fail "failed: $* (whole log: $log)"; }
}
