"""The recognition call against whisper.cpp's command line: same library, model, samples and options.

Every figure comes from a process of its own, so that both start cold; the two take turns. Ours is addSamples and
transcribe. The command line's is its total time less the time to load the model: creating the state (which our call does
too), reading the WAV file, recognition, printing.
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
    9: "delete this message and start again the coffee is good today call my team on friday afternoon",
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


def ours(program, model, raw, count=1):
    """The milliseconds of the first and the later calls, and the text."""
    command = [program, model, raw, str(count)]
    done = subprocess.run(command, check=True, capture_output=True, text=True, timeout=120)
    times, texts = zip(*(line.partition(" ")[::2] for line in done.stdout.splitlines()))
    return [float(time) for time in times], texts[0].strip()


def measure(desktop, binaries, model, cli, pairs):
    rows = []
    for seconds, text in CLIPS.items():
        wav, raw = make_clip(desktop.env, desktop.root, seconds, text)
        program = binaries / "bench_recognition"
        first, later, theirs = [], [], []
        for turn in range(pairs + 1):
            for side in ("ours", "theirs") if turn % 2 else ("theirs", "ours"):
                if side == "ours":
                    times, our_text = ours(program, model, raw, 3)
                    first.append(times[0])
                    later += times[1:]
                else:
                    their_text, time = cli.transcribe(wav)
                    theirs.append(time)
        first, later, theirs = first[1:], later[2:], theirs[1:]  # without the warm-up
        name = f"recognition of {seconds} s, first call in a process"
        same = "same text" if our_text == their_text else f"texts differ: {our_text!r}, {their_text!r}"
        ratios = sorted(a / b for a, b in zip(first, theirs))
        note = (
            f"ours {spread(first, 'ms')}; whisper-cli {spread(theirs, 'ms')}; ratio of a pair: median "
            f"{statistics.median(ratios):.3f}, quartiles {percentile(ratios, 0.25):.3f} to "
            f"{percentile(ratios, 0.75):.3f}; later calls {spread(later, 'ms')}; {same}"
        )
        rows.append(Row(name, statistics.median(first), "ms", statistics.median(theirs), "ratio <= 1.03", note))
    return rows
