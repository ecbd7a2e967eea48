#!/usr/bin/env bash
# Runs a Windows program under Wine. Its output passes through a file: the first program starts Wine's services, which
# keep its output open, and whoever read that from a pipe would wait for them.
set -euo pipefail
output="$(mktemp)"
trap 'cat "$output"; rm -f "$output"' EXIT
wine "$@" >"$output" 2>&1
