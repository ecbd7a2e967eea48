#!/usr/bin/env python3
"""Runs clang-tidy with the checks of .clang-tidy over src/:   tools/check-tidy.py BUILD_FOLDER

A file that passed is not looked at again, in this checkout or another, until itself, a header of ours that it includes,
the checks or its compiler options change. The build must be up to date: it knows who includes what.
"""

import hashlib
import json
import os
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
CACHE = Path(os.environ.get("QUILLO_CACHE") or Path(os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache") / "quillo")
PASSED = CACHE / "tidy"


def included_files(build):
    """Of each object file, the files of ours that it was made from."""
    made_from = {}
    for line in subprocess.check_output(["ninja", "-C", build, "-t", "deps"], text=True).splitlines():
        if line and not line.startswith(" "):
            files = made_from.setdefault(line.split(":")[0], [])
        elif (file := (build / line.strip()).resolve()).is_relative_to(ROOT / "src"):
            files.append(file)
    return made_from


def object_of(entry):
    words = entry["command"].split()
    return words[words.index("-o") + 1]


def key(entry, files):
    state = hashlib.sha256((ROOT / ".clang-tidy").read_bytes())
    state.update(entry["command"].replace(str(ROOT), "").encode())
    for file in sorted(files):
        state.update(file.read_bytes())
    return state.hexdigest()


def main():
    build = Path(sys.argv[1]).resolve()
    made_from = included_files(build)
    PASSED.mkdir(parents=True, exist_ok=True)
    sources = [e for e in json.loads((build / "compile_commands.json").read_text()) if e["file"].startswith(f"{ROOT}/src/")]
    keys = {e["file"]: PASSED / key(e, made_from[object_of(e)]) for e in sources}
    new = [file for file, passed in keys.items() if not passed.exists()]
    print(f"{len(new)} of {len(keys)} files to look at", flush=True)

    def passes(file):
        found = subprocess.run(["clang-tidy", "-p", build, "--quiet", file], capture_output=True, text=True)
        if found.returncode == 0:
            keys[file].touch()
        else:
            print(found.stdout, found.stderr, flush=True)
        return found.returncode == 0

    with ThreadPoolExecutor(os.cpu_count()) as pool:
        return 0 if all(list(pool.map(passes, new))) else 1


if __name__ == "__main__":
    sys.exit(main())
