#!/usr/bin/env python3
"""Measures Quillo and prints a table; see README.md. It judges nothing: the goals stand beside the figures."""

import argparse
import os
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tools"))
sys.dont_write_bytecode = True

import capture  # noqa: E402
import cloud  # noqa: E402
import dictation  # noqa: E402
import download  # noqa: E402
import files  # noqa: E402
import listening  # noqa: E402
import recognition  # noqa: E402
import resident  # noqa: E402
import settings  # noqa: E402
import start  # noqa: E402
from desktop import Desktop  # noqa: E402
from figures import print_table  # noqa: E402
from whisper_cli import WhisperCli  # noqa: E402

MODEL = ROOT / "tests/data/ggml-mini.bin"
SUBJECTS = ["capture", "recognition", "files", "download", "resident", "start", "settings", "listening", "dictation", "cloud"]


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--binaries", type=Path, required=True, help="folder of quillo and the bench programs")
    arguments.add_argument("--whisper", default="", help="where whisper.cpp is installed, if not in the system")
    arguments.add_argument("--quick", action="store_true", help="few repetitions: only to see that all works")
    arguments.add_argument("subjects", nargs="*", metavar="SUBJECT", help=f"some of: {', '.join(SUBJECTS)}")
    options = arguments.parse_args()
    if unknown := set(options.subjects) - set(SUBJECTS):
        arguments.error(f"no such subject: {', '.join(unknown)}")
    binaries = options.binaries.resolve()
    cli = WhisperCli(options.whisper, MODEL)

    rows = []
    try:
        with Desktop(binaries, binaries / "quillo") as desktop:
            for subject in options.subjects or SUBJECTS:
                print(f"Measuring: {subject} (load average {os.getloadavg()[0]:.1f})", flush=True)
                rows += measure(subject, desktop, binaries, cli, options.quick)
    finally:
        print()
        print_table(rows)  # what is measured is not lost with what fails


def measure(subject, desktop, binaries, cli, quick):
    match subject:
        case "capture":
            return capture.measure(binaries)
        case "recognition":
            return recognition.measure(desktop, binaries, MODEL, cli, 2 if quick else 20)
        case "files":
            return files.measure(binaries, quick)
        case "download":
            return download.measure(binaries, quick)
        case "resident":
            return resident.measure(desktop, binaries, 1 if quick else 3)
        case "start":
            return start.measure(desktop, binaries, ROOT, MODEL, 2 if quick else 20)
        case "settings":
            return settings.measure(desktop, binaries, 2 if quick else 20)
        case "listening":
            return listening.measure(desktop, MODEL, 1 if quick else 5)
        case "dictation":
            return dictation.measure(desktop, binaries, MODEL, cli, quick)
        case "cloud":
            return cloud.measure(binaries, 3 if quick else 20)


if __name__ == "__main__":
    main()
