#!/usr/bin/env python3
"""Measures Quillo and prints tables; see README.md. It judges nothing: the goals stand beside the figures."""

import argparse
import datetime
import os
import platform
import re
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
import growth  # noqa: E402
import listening  # noqa: E402
import microphone  # noqa: E402
import recognition  # noqa: E402
import resident  # noqa: E402
import settings  # noqa: E402
import sizes  # noqa: E402
import start  # noqa: E402
from desktop import Desktop  # noqa: E402
from figures import as_markdown  # noqa: E402
from whisper_cli import WhisperCli  # noqa: E402

MODEL = ROOT / "tests/data/ggml-mini.bin"
BEGIN, END = "<!-- written by bench/run -->\n", "<!-- end of what bench/run writes -->\n"


def subjects(options, desktop):
    """What can be measured, by its name and in its order."""
    binaries, quick = options.binaries.resolve(), options.quick
    cli = WhisperCli(options.whisper, MODEL)
    found = {
        "dictation": lambda: dictation.measure(desktop, binaries, MODEL, cli, quick),
        "recognition": lambda: recognition.measure(desktop, binaries, MODEL, cli, 2 if quick else 20),
        "portable": lambda: recognition.measure_portable(
            desktop, binaries, options.portable, MODEL, 2 if quick else 20
        ),
        "sizes": lambda: sizes.measure(desktop, binaries, options.default, quick),
        "capture": lambda: capture.measure(binaries),
        "cloud": lambda: cloud.measure(binaries, 3 if quick else 20),
        "files": lambda: files.measure(binaries, quick),
        "download": lambda: download.measure(binaries, quick),
        "start": lambda: start.measure(desktop, binaries, ROOT, MODEL, 2 if quick else 20),
        "windows": lambda: start.measure_windows(
            desktop, binaries, options.windows, options.wine_home, ROOT, 2 if quick else 10
        ),
        "resident": lambda: resident.measure(desktop, binaries, 1 if quick else 3),
        "listening": lambda: listening.measure(desktop, MODEL, 1 if quick else 5),
        "settings": lambda: settings.measure(desktop, binaries, 2 if quick else 20),
        "microphone": lambda: microphone.measure(desktop, binaries, 3 if quick else 20),
        "growth": lambda: growth.measure(desktop, binaries, quick),
    }
    for name, at_hand in {"portable": options.portable, "windows": options.windows, "sizes": options.default}.items():
        if not at_hand:
            print(f"Left out, since its programs are not built: {name}")
            del found[name]
    return found


def machine():
    """In one line, and when."""
    model = re.search(r"^model name\s*: (.*)", Path("/proc/cpuinfo").read_text(), re.M)
    memory = int(re.search(r"^MemTotal: +(\d+)", Path("/proc/meminfo").read_text())[1]) / 2**20
    system = platform.freedesktop_os_release()["PRETTY_NAME"]
    return (
        f"{datetime.date.today()}, {os.cpu_count()} cores ({model[1] if model else platform.machine()}), "
        f"{memory:.0f} GiB, {system}"
    )


def measure(options):
    results, loads = [], []
    try:
        with Desktop(options.binaries, options.binaries / "quillo") as desktop:
            known = subjects(options, desktop)
            if unknown := set(options.subjects) - set(known):
                raise SystemExit(f"no such subject: {', '.join(unknown)}; there are: {', '.join(known)}")
            for subject in options.subjects or known:
                loads.append(os.getloadavg()[0])
                print(f"Measuring: {subject} (load average {loads[-1]:.1f})", flush=True)
                results += known[subject]()
    finally:  # what is measured is not lost with what fails
        load = f", load average {min(loads):.1f} to {max(loads):.1f}" if loads else ""
        page = f"{machine()}{load}\n\n{as_markdown(results)}\n"
        print(f"\n{page}")
    return page


def write(page, file):
    """Replaces what was written there the last time."""
    before, begin, rest = file.read_text().partition(BEGIN)
    _, end, after = rest.partition(END)
    if not end:
        raise SystemExit(f"{file} has no place for the figures")
    file.write_text(before + begin + "\n" + page + "\n" + end + after)


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--binaries", type=Path, required=True, help="folder of quillo and the bench programs")
    arguments.add_argument("--whisper", default="", help="where whisper.cpp is installed, if not in the system")
    arguments.add_argument("--portable", type=Path, help="folder of bench_recognition as packages have it")
    arguments.add_argument("--default", type=Path, help="where whisper.cpp as its makers configure it is installed")
    arguments.add_argument("--windows", type=Path, help="folder of the Windows programs")
    arguments.add_argument("--wine-home", type=Path, help="folder of the Wine to start them with")
    arguments.add_argument("--quick", action="store_true", help="few repetitions: only to see that all works")
    arguments.add_argument("--write", type=Path, metavar="FILE", help="puts tables and notes into this page")
    arguments.add_argument("subjects", nargs="*", metavar="SUBJECT", help="what to measure instead of everything")
    options = arguments.parse_args()
    if options.write and (options.quick or options.subjects):
        arguments.error("--write wants everything measured, with all repetitions: neither --quick nor a subject")
    page = measure(options)
    if options.write:
        write(page, options.write)


if __name__ == "__main__":
    main()
