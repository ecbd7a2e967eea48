"""The microphone test of the settings window: from the click to the running stream and to the first level that is seen.

See microphone.cpp; stream_times.cpp tells what PortAudio had to do with it.
"""

import re
import statistics
import subprocess
import threading

from figures import Row, spread

SECONDS_PER_TEST = 0.6  # more than one takes


def measure(desktop, binaries, count):
    tone = desktop.root / "tone.wav"
    sound = ["synth", str(3 + SECONDS_PER_TEST * count), "sine", "440", "gain", "-12"]
    subprocess.run(["sox", "-qn", "-r", "16000", "-c", "1", tone, *sound], check=True)
    env = {**desktop.env, "LD_PRELOAD": str(binaries / "bench_stream_times.so")}
    player = threading.Thread(target=desktop.microphone.play, args=[tone])
    player.start()
    try:
        command = [binaries / "bench_microphone", str(count + 1)]
        done = subprocess.run(command, env=env, check=True, capture_output=True, text=True, timeout=300)
    finally:
        player.join()
    found = {event: [] for event in ("open", "start", "first", "test")}
    for event, begin, end in re.findall(r"\[(?:stream\] )?(\w+)\]? (\d+) (\d+)", done.stderr):
        if event in found:
            found[event].append((int(begin), int(end)))
    found = {event: times[1:] for event, times in found.items()}  # without the warm-up

    def between(earlier, later):
        """From the begin of the one event to the end of the other, ms."""
        return [(end - begin) / 1e6 for (begin, _), (_, end) in zip(found[earlier], found[later], strict=True)]

    running, device = between("test", "start"), between("open", "start")
    first, seen, painted = between("test", "first"), between("test", "test"), between("first", "test")
    running_note = (
        f"{spread(running, 'ms')}; comparison: PortAudio's share; first block of 32 ms complete: {spread(first, 'ms')}"
    )
    painted_note = f"{spread(painted, 'ms')}; click to first level seen: {spread(seen, 'ms')}"
    return [
        Row(
            "microphone test, click to stream running",
            statistics.median(running),
            "ms",
            statistics.median(device),
            "comparison + 200 ms",
            running_note,
        ),
        Row("microphone test, level to picture", statistics.median(painted), "ms", None, "<= 16.7 ms", painted_note),
    ]
