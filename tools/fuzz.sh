#!/usr/bin/env bash
# Builds the fuzzers of tests/fuzz and lets each search for faults:   tools/fuzz.sh [SECONDS] [TARGET...]
# Ten seconds and all of them, if nothing else is said. What a fuzzer learns, and each input that breaks a promise,
# stays in build/fuzz/TARGET; a finding makes this fail. Give its file to build/fuzz/bin/fuzz_TARGET to see it again.
set -euo pipefail
. "$(dirname "$0")/lib.sh"
cd "$root"

seconds="${1:-10}"
targets=("${@:2}")
if [ "${#targets[@]}" = 0 ]; then
    for source in tests/fuzz/*_fuzzer.cpp; do targets+=("$(basename "$source" _fuzzer.cpp)"); done
fi

tools/install-packages.sh build test
tools/build.sh fuzz "${targets[@]/#/fuzz_}"

scratch="$(mktemp -d -p "$(test -w /dev/shm && echo /dev/shm || echo "${TMPDIR:-/tmp}")" quillo-fuzz.XXXXXX)"
trap 'rm -rf "$scratch"' EXIT

# One fuzzer, and a line with its figures.
fuzz() {
    local target="$1" work="build/fuzz/$1" log="build/fuzz/$1.log" result=0
    mkdir -p "$work/corpus" "$scratch/$target"
    TMPDIR="$scratch/$target" UBSAN_OPTIONS=print_stacktrace=1 timeout "$((2 * seconds + 120))" \
        "build/fuzz/bin/fuzz_$target" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
        -artifact_prefix="$work/" "$work/corpus" "tests/fuzz/corpus/$target" >"$log" 2>&1 || result=$?
    if [ "$result" != 0 ]; then
        tail -n 60 "$log"
        printf 'error: fuzz_%s failed (%s), whole log: %s\n' "$target" "$result" "$log"
    else
        local figures='^#([0-9]+)\tDONE +(cov: [0-9]+ ft: [0-9]+).* exec/s: ([0-9]+).*'
        sed -nE "s|$figures|$target: \1 inputs, \3 a second, \2|p" "$log"
    fi
    return "$result"
}
export -f fuzz
export scratch seconds

say "Fuzzing for $seconds s each: ${targets[*]}"
printf '%s\n' "${targets[@]}" | xargs -P "$jobs" -I TARGET bash -c 'set -euo pipefail; fuzz TARGET' \
    || fail "a fuzzer found something"
