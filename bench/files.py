"""What is encoded and stored: the WAV file for the remote services, and the history; see wav.cpp and history.cpp."""

import json
import statistics
import subprocess
import tempfile
from pathlib import Path

from figures import Row, spread

MEMORY = Path("/dev/shm")


def wav_rows(program, repetitions):
    if not program.exists():
        print("Without libsndfile there is nothing to compare the encoding with.")
        return []
    options = [f"--benchmark_repetitions={repetitions}", "--benchmark_enable_random_interleaving=true"]
    command = [program, "--benchmark_format=json", "--benchmark_min_time=0.02", *options]
    done = subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=300)
    times = {}
    for run in json.loads(done.stdout)["benchmarks"]:
        if run["run_type"] == "iteration":
            times.setdefault(run["run_name"].split("/repeats")[0], []).append(run["cpu_time"] / 1e3)

    def row(seconds):
        ours, theirs = times[f"ours/{seconds}"], times[f"sndfile/{seconds}"]
        note = f"{spread(ours, 'us')}; libsndfile {spread(theirs, 'us')}; processor time"
        medians = statistics.median(ours), statistics.median(theirs)
        return Row(f"encodeWav of {seconds} s", medians[0], "us", medians[1], "ratio <= 1", note)

    return [row(5), row(60)]


def history_times(program, folder, entries, count):
    """Milliseconds of our appends, of bare ones, and of loading, with so many entries of 2 KB there."""
    with tempfile.TemporaryDirectory(prefix="history-", dir=folder) as data:
        command = [program, data, str(count), str(entries)]
        done = subprocess.run(command, check=True, capture_output=True, text=True, timeout=300)
    return [*zip(*(map(float, line.split()) for line in done.stdout.splitlines()))]


def history_row(program, where, folder, goal, count):
    ours, bare, _ = history_times(program, folder, 500, count)
    note = f"{spread(ours, 'ms')}; bare {spread(bare, 'ms')}"
    return Row(
        f"append to a full history, {where}", statistics.median(ours), "ms", statistics.median(bare), goal, note
    )


def measure(binaries, quick):
    count = 10 if quick else 100
    rows = [*wav_rows(binaries / "bench_wav", 3 if quick else 30)]
    rows.append(history_row(binaries / "bench_history", "in the build folder", binaries, "< 5 ms", count))
    if MEMORY.is_dir():
        rows.append(history_row(binaries / "bench_history", "in memory", MEMORY, "", count))
    return rows
