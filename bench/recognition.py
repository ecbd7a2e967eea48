"""The recognition call against whisper.cpp's command line: same library, model, samples and options.

Every figure comes from a process of its own, so that both start cold; the two take turns. Ours is addSamples and
transcribe. The command line's is its total time less the time to load the model: creating the state (which our call
does too), reading the WAV file, recognition, printing.

The same call in the build for packages, which loads a back-end made for the processor at run time, against the native
build: same samples, and again processes in turn.
"""

import statistics
import subprocess
import wave
from array import array

from desktop.microphone import synthesise
from figures import Row, percentile, spread

CLIPS = {
    1: "thank you",
    5: "the quick brown fox jumps over the lazy dog please send the report",
    10: "delete this message and start again the coffee is good today call my team on friday afternoon yes please save "
    "the file now",
}


def make_clip(env, folder, seconds, text):
    """Writes the clip as a WAV file and as raw samples of the same values."""
    wav, raw = folder / f"clip-{seconds}.wav", folder / f"clip-{seconds}.f32"
    spoken, resampled = folder / "spoken.wav", folder / "resampled.wav"
    synthesise(spoken, text, env, speed=150, silence=0.1)
    subprocess.run(["sox", "-q", spoken, "-r", "16000", "-b", "16", "-c", "1", resampled], check=True)
    with wave.open(str(resampled)) as file:
        params, frames = file.getparams(), file.readframes(file.getnframes())
    length = seconds * params.framerate * params.sampwidth
    frames = frames[:length].ljust(length, b"\0")
    with wave.open(str(wav), "wb") as file:
        file.setparams(params)
        file.writeframes(frames)
    raw.write_bytes(array("f", (sample / 32768 for sample in array("h", frames))).tobytes())
    return wav, raw


def ours(program, model, raw):
    """The text, and the milliseconds of the first call in a process."""
    done = subprocess.run([program, model, raw], check=True, capture_output=True, text=True, timeout=120)
    _, time, *text = done.stdout.split(maxsplit=2)
    return "".join(text).strip(), float(time)


def in_turn(name, pairs, measured, compared, goal):
    """Both give a text and the milliseconds of a recognition; the figures are those of all rounds but the first."""
    figures, comparisons = [], []
    for turn in range(pairs + 1):
        for side in (measured, compared) if turn % 2 else (compared, measured):
            text, time = side()
            if side is measured:
                figures.append(time)
                text_measured = text
            else:
                comparisons.append(time)
                text_compared = text
    figures, comparisons = figures[1:], comparisons[1:]  # without the warm-up
    same = "same text" if text_measured == text_compared else f"texts differ: {text_measured!r}, {text_compared!r}"
    ratios = sorted(a / b for a, b in zip(figures, comparisons))
    note = (
        f"{spread(figures, 'ms')}; comparison {spread(comparisons, 'ms')}; ratio of a pair: median "
        f"{statistics.median(ratios):.3f}, quartiles {percentile(ratios, 0.25):.3f} to "
        f"{percentile(ratios, 0.75):.3f}; {same}"
    )
    return Row(name, statistics.median(figures), "ms", statistics.median(comparisons), goal, note)


def measure(desktop, binaries, model, cli, pairs):
    program = binaries / "bench_recognition"
    rows = []
    for seconds, text in CLIPS.items():
        wav, raw = make_clip(desktop.env, desktop.root, seconds, text)
        name = f"recognition of {seconds} s, first call in a process"
        rows.append(
            in_turn(name, pairs, lambda: ours(program, model, raw), lambda: cli.transcribe(wav), "ratio <= 1.03")
        )
    return rows


def measure_portable(desktop, binaries, portable, model, pairs):
    """`portable` is the folder of the programs of the build for packages."""
    rows = []
    for seconds, text in CLIPS.items():
        _, raw = make_clip(desktop.env, desktop.root, seconds, text)
        program, native = (folder / "bench_recognition" for folder in (portable, binaries))
        name = f"recognition of {seconds} s, build for packages"
        rows.append(
            in_turn(name, pairs, lambda: ours(program, model, raw), lambda: ours(native, model, raw), "ratio <= 1.05")
        )
    return rows
