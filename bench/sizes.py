"""What models of real size cost, against whisper.cpp's command line as its makers configure it; processes in turn."""

import os
import re
import statistics
import subprocess
import tempfile
import time

from desktop import Program
from figures import Row, spread
from model_shapes import SHAPES, write_model
from recognition import CLIPS, make_clip
from whisper_cli import OPTIONS

SECONDS = 5
"""The clip, as recognition.py has it."""


def run(command, env):
    """Both outputs of a program, and its largest resident set in MiB."""
    with tempfile.TemporaryFile("w+") as output:
        program = subprocess.Popen(list(map(str, command)), env=env, stdout=output, stderr=output)
        _, status, usage = os.wait4(program.pid, 0)
        output.seek(0)
        text = output.read()
    if status:
        raise SystemExit(f"error: {command[0]} failed:\n{text}")
    return text, usage.ru_maxrss / 1024


def ours(program, model, raw, env):
    """Milliseconds of load and of recognition, and MiB."""
    text, memory = run([program, model, raw], env)
    return (*map(float, re.match(r"([\d.]+) ([\d.]+)", text).groups()), memory)


def cli(prefix, model, wav, env):
    command = [f"{prefix}/bin/whisper-cli", "-m", model, *OPTIONS, wav]
    text, memory = run(command, env | {"LD_LIBRARY_PATH": f"{prefix}/lib"})
    times = {name: float(value) for name, value in re.findall(r"(\w+) time = +([\d.]+) ms", text)}
    return times["load"], times["total"] - times["load"], memory


def start_to_hotkey(desktop, binaries):
    """Milliseconds; the program is then ended."""
    begin = time.monotonic_ns()
    program = Program([binaries / "quillo", "--verbose"], desktop.env)
    try:
        program.wait_for_line("Hotkey registered", 120)
        return (time.monotonic_ns() - begin) / 1e6
    finally:
        program.close()


def measure_shape(desktop, binaries, prefix, shape, rounds):
    wav, raw = make_clip(desktop.env, desktop.root, SECONDS, CLIPS[SECONDS])
    model = desktop.data_dir / "models/ggml-base.bin"
    model.parent.mkdir(parents=True, exist_ok=True)
    write_model(model, shape)
    (desktop.data_dir / "config").mkdir(exist_ok=True)
    desktop.active_model_file.write_text("base")
    rows = {"ours": [], "theirs": [], "start": []}
    for turn in range(rounds + 1):
        measured = {
            "ours": ours(binaries / "bench_recognition", model, raw, desktop.env),
            "theirs": cli(prefix, model, wav, desktop.env),
            "start": (start_to_hotkey(desktop, binaries),),
        }
        if turn:  # the first round brings the file into memory
            for name, values in measured.items():
                rows[name].append(values)
    desktop.remove_models()
    load, whole, peak = zip(*rows["ours"])
    their_load, their_whole, their_peak = zip(*rows["theirs"])
    (start,) = zip(*rows["start"])

    def row(what, figures, comparisons, unit, goal):
        note = f"{spread(figures, unit)}; comparison {spread(comparisons, unit)}"
        name = f"{shape}: {what}"
        return Row(name, statistics.median(figures), unit, statistics.median(comparisons), goal, note)

    return [
        row("load", load, their_load, "ms", ""),
        row(f"recognition of {SECONDS} s", whole, their_whole, "ms", "ratio <= 0.70"),
        row("peak memory", peak, their_peak, "MiB", "ratio <= 1.1"),
        row("process start to hotkey, against the load", start, their_load, "ms", "load + 150 ms"),
    ]


def measure(desktop, binaries, prefix, quick):
    rows = []
    for shape in ["base"] if quick else SHAPES:
        rows += measure_shape(desktop, binaries, prefix, shape, 1 if quick else 7 if shape == "base" else 2)
    return rows
