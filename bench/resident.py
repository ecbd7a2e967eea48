"""What the idle program costs, without a model: start, memory and wake-ups, against a bare tray program."""

import re
import statistics
import time
from pathlib import Path

from desktop import Program
from figures import Row, spread

SETTLING_SECONDS = 3
WATCHED_SECONDS = 10


def memory_kib(pid, what):
    return int(re.search(rf"^{what}: +(\d+) kB", Path(f"/proc/{pid}/smaps_rollup").read_text(), re.M)[1])


def switches(pid):
    """Voluntary context switches of all threads so far, by thread: how often each has gone to sleep."""
    found = {}
    for task in Path(f"/proc/{pid}/task").iterdir():
        count = re.search(r"^voluntary_ctxt_switches:\s+(\d+)", (task / "status").read_text(), re.M)
        found[f"{(task / 'comm').read_text().strip()} {task.name}"] = int(count[1])
    return found


def observe(command, env, ready):
    """Milliseconds from the start to the line `ready`, memory in MiB, and wake-ups by thread, of one run."""
    begin = time.monotonic_ns()
    program = Program(command, env)
    try:
        program.wait_for_line(ready)
        started = next(at for line, at in zip(program.lines, program.times) if re.search(ready, line))
        time.sleep(SETTLING_SECONDS)
        pid = program.process.pid
        pss, rss = (memory_kib(pid, what) / 1024 for what in ("Pss", "Rss"))
        before = switches(pid)
        time.sleep(WATCHED_SECONDS)
        woken = {thread: count - before.get(thread, 0) for thread, count in switches(pid).items()}
        return (started - begin) / 1e6, pss, rss, woken
    finally:
        program.close()


def measure(desktop, binaries, runs):
    desktop.remove_models()
    ours, bare = [], []
    for _ in range(runs):
        ours.append(observe([binaries / "quillo", "--verbose"], desktop.env, r"\[Quillo\] Hotkey registered: "))
        bare.append(observe([binaries / "bare_tray"], desktop.env, "^ready"))

    def row(name, index, unit, goal):
        a, b = ([run[index] for run in side] for side in (ours, bare))
        note = f"Quillo {spread(a, unit)}; bare tray {spread(b, unit)}"
        return Row(name, statistics.median(a), unit, statistics.median(b), goal, note)

    woken = [sum(run[3].values()) for run in ours], [sum(run[3].values()) for run in bare]
    threads = {name.rsplit(" ", 1)[0]: count for run in ours for name, count in run[3].items() if count}
    return [
        row("resident memory, PSS", 1, "MiB", "ratio <= 2"),
        row("resident memory, RSS", 2, "MiB", "ratio <= 2"),
        Row(
            f"wake-ups in {WATCHED_SECONDS} idle seconds, all threads",
            statistics.median(woken[0]),
            "",
            statistics.median(woken[1]),
            "0",
            f"runs {woken[0]}, bare tray {woken[1]}; threads that woke: {threads or 'none'}",
        ),
        row("process start to hotkey registered", 0, "ms", ""),
    ]
