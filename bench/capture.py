"""The cost of a block of 512 samples on the audio thread; see capture.cpp."""

import json
import os
import subprocess

from figures import Row


def measure(binaries):
    command = [binaries / "bench_capture", "--benchmark_format=json"]
    env = {**os.environ, "QT_QPA_PLATFORM": "offscreen"}
    done = subprocess.run(command, env=env, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=300)
    runs = {run["name"].split("/")[0]: run for run in json.loads(done.stdout)["benchmarks"]}
    ours, stand_in, bare = (runs[name] for name in ("capturedBlock", "standInAlone", "bareAppend"))
    note = (
        f"{ours['blocks']:.0f} blocks; the stand-in of the sound card has {stand_in['median_us']:.2f} us of it; p99 "
        f"{ours['p99_us']:.1f} us (page faults: each second block touches a new page), bare append "
        f"{bare['p99_us']:.1f} us"
    )
    longest = (
        f"without the {ours['interrupted']:.0f} blocks that the scheduler interrupted, bare append "
        f"{bare['interrupted']:.0f}; with them {ours['longest_us']:.0f} us, bare append {bare['longest_us']:.0f} us"
    )
    return [
        Row("block of 512 samples, median", ours["median_us"], "us", bare["median_us"], "<= 5 us", note),
        Row(
            "block of 512 samples, longest in 60 minutes",
            ours["longest_uninterrupted_us"],
            "us",
            bare["longest_uninterrupted_us"],
            "",
            longest,
        ),
        Row(
            "allocations in 60 minutes of blocks",
            int(ours["allocations"] - stand_in["allocations"]),
            "",
            int(bare["allocations"]),
            "0",
            "by operator new, on the audio thread; without those of the stand-in",
        ),
    ]
