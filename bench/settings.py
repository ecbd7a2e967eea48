"""From the wish for the settings window to its first picture, with a full history, against an empty one; see settings.cpp."""

import statistics
import subprocess
import tempfile

from figures import Row, spread


def measure(desktop, binaries, rounds):
    times = {"quillo": [], "bare": []}
    for turn in range(rounds + 1):
        for which, measured in times.items():
            with tempfile.TemporaryDirectory(prefix="settings-") as folder:
                command = [binaries / "bench_settings", which, folder]
                done = subprocess.run(
                    command, env=desktop.env, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=60
                )
            if turn:  # the first round warms up
                measured.append([float(time) for time in done.stdout.split()])

    def row(what, index, goal):
        ours, bare = ([run[index] for run in times[which]] for which in ("quillo", "bare"))
        note = f"{spread(ours, 'ms')}; empty window {spread(bare, 'ms')}"
        return Row(f"settings window, {what}", statistics.median(ours), "ms", statistics.median(bare), goal, note)

    return [row("first show", 0, "< 150 ms"), row("second show", 1, "< 30 ms")]
