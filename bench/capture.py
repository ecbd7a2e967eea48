"""The cost of a block of 512 samples on the audio thread; see capture.cpp."""

import json
import os
import statistics
import subprocess

from figures import Row

BLOCKS = 5 * 60 * 16000 // 512


def measure(binaries):
    command = [binaries / "bench_capture", "--benchmark_format=json"]
    env = {**os.environ, "QT_QPA_PLATFORM": "offscreen"}
    done = subprocess.run(command, env=env, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=120)
    runs = {}
    for run in json.loads(done.stdout)["benchmarks"]:
        if run["run_type"] == "iteration":
            runs.setdefault(run["name"].split("/")[0], []).append(run)

    def over(name, counter, combine=statistics.median):
        return combine(run[counter] for run in runs[name])

    ours, stand_in, bare = "capturedBlock", "standInAlone", "bareAppend"
    note = (
        f"of which the stand-in of the sound card has {over(stand_in, 'median_us'):.2f} us; p99 "
        f"{over(ours, 'p99_us'):.1f} us (page faults: each second block touches a new page), bare append "
        f"{over(bare, 'p99_us'):.1f} us; {len(runs[ours])} recordings"
    )
    longest = (
        f"with interruptions by the scheduler {over(ours, 'longest_us', max):.0f} us, bare append "
        f"{over(bare, 'longest_us', max):.0f} us"
    )
    return [
        Row("block of 512 samples, median", over(ours, "median_us"), "us", over(bare, "median_us"), "<= 5 us", note),
        Row(
            "block of 512 samples, longest in 5 minutes",
            over(ours, "longest_uninterrupted_us"),
            "us",
            over(bare, "longest_uninterrupted_us"),
            "",
            longest,
        ),
        Row(
            "allocations in 5 minutes of blocks",
            int(over(ours, "allocations", max) - over(stand_in, "allocations")),
            "",
            int(over(bare, "allocations", max)),
            "0",
            f"by operator new, on the audio thread, in {BLOCKS} blocks; without those of the stand-in",
        ),
    ]
