"""Whole dictations on the private desktop: how long they take beside the recognition, and what comes out.

Times are monotonic nanoseconds of one machine, taken by whoever acts: the injector of keys just before it asks the X
server, the editor when its event arrives, stream_times.cpp inside the program (PortAudio's calls), this process when a
verbose line arrives.
"""

import re
import statistics
import subprocess
import threading
import time
import wave
from dataclasses import dataclass, field

from desktop import HOTKEY, wait_until
from desktop.microphone import SINK, synthesise
from figures import Row, percentile, spread, word_errors, words_of

SENTENCES = [
    # text, voice, words a minute, loudness (100 is the synthesiser's usual one)
    ("hello world", "en-us", 150, 100),
    ("thank you", "en-gb", 150, 60),
    ("good morning team", "en-us+f2", 130, 100),
    ("the quick brown fox jumps over the lazy dog", "en-us", 150, 100),
    ("please send the report to the team", "en-gb", 130, 100),
    ("the meeting is at ten tomorrow", "en-us", 150, 40),
    ("this is a new note", "en-us+m7", 150, 100),
    ("call my team on friday afternoon", "en-gb", 175, 100),
    ("write a letter to my house", "en-us", 130, 20),
    ("yes please save the file now", "en-us+f2", 150, 100),
    ("no stop that music", "en-us", 175, 60),
    ("one two three four five", "en-us+m7", 150, 20),
    ("six seven eight nine ten zero", "en-gb", 150, 100),
    ("delete this message and start again", "en-us+f2", 175, 60),
    ("we call you tomorrow morning", "en-us+f4", 150, 100),
    ("open the blue window later", "en-gb", 175, 10),
    ("the coffee is good today", "en-us", 150, 100),
    ("dictation test one two three", "en-gb-scotland", 150, 100),
    ("a big black dog and a small white cat", "en-us", 150, 100),
    ("you write this question in the evening", "en-gb+f4", 150, 80),
    ("great work on the project", "en-us+m7", 130, 50),
    ("that computer is in my garden", "en-us", 200, 100),
    ("happy speech on paper", "en-gb-scotland+f4", 150, 100),
    ("a green keyboard and a red microphone", "en-us", 150, 100),
]


@dataclass
class Dictation:
    """One dictation; times in ns."""

    text: str
    pressed: int
    released: int
    stream: dict = field(default_factory=dict)  # event: (begin, end)
    recognition: tuple = (0, 0)
    pasted: int | None = None

    @property
    def release_to_paste(self):
        """Without the recognition call, ms."""
        begin, end = self.recognition
        return (self.pasted - self.released - (end - begin)) / 1e6


class Studio:
    """Dictates to a program that reports the times of its recording stream, and collects what happened."""

    def __init__(self, desktop, stream_times):
        self._desktop = desktop
        env, desktop.env = desktop.env, {**desktop.env, "LD_PRELOAD": str(stream_times)}
        self._quillo = desktop.start_quillo()
        desktop.env = env

    def dictate(self, speak):
        """Holds the hotkey while speak() runs; it gets the function that presses the hotkey and returns when."""
        self._desktop.editor.clear()
        first = len(self._quillo.lines)
        pressed = speak(lambda: self._desktop.keyboard.press(*HOTKEY)[-1])
        released = self._desktop.keyboard.release(*reversed(HOTKEY))[0]
        heard = self._quillo.wait_for_line(r"\[Quillo\] Transcription: \"(.*)\"")[1].strip()
        dictation = Dictation(heard, pressed, released)
        if heard:
            self._desktop.editor.wait_for_text(heard)
            dictation.pasted = self._paste_time()
        wait_until(lambda: any("[stream] close" in line for line in self._quillo.lines[first:]), "the stream is open")
        for line, at in list(zip(self._quillo.lines, self._quillo.times))[first:]:
            if event := re.search(r"\[stream\] (\w+) (\d+) (\d+)", line):
                dictation.stream[event[1]] = int(event[2]), int(event[3])
            elif "[Quillo] Transcribing" in line:
                dictation.recognition = at, at
            elif "[Quillo] Transcription:" in line:
                dictation.recognition = dictation.recognition[0], at
        return dictation

    def _paste_time(self):
        pasted = [
            event for event in self._desktop.editor.events if "KeyPress Key_V modifiers=ControlModifier " in event
        ]
        return int(pasted[0].split()[0])

    def close(self):
        self._quillo.close()


class Listener:
    """Hears what the microphone hears, and notes when the first sound came."""

    def __init__(self, env):
        command = ["parec", "--latency-msec=10", "--rate=16000", "--format=s16le", "--channels=1"]
        self._recorder = subprocess.Popen([*command, "-d", SINK + ".monitor"], env=env, stdout=subprocess.PIPE)
        self._heard = threading.Event()
        self._thread = threading.Thread(target=self._listen, daemon=True)
        self._thread.start()

    def _listen(self):
        while block := self._recorder.stdout.read1(4096):
            if any(block):
                self._heard.set()

    def wait_for_sound(self):
        self._heard.wait(30)
        return time.monotonic()

    def close(self):
        self._recorder.kill()
        self._recorder.wait()
        self._thread.join()
        self._recorder.stdout.close()


CUE_LEAD_SECONDS = 0.6  # from the cue to the first word


def write_cued(path, speech):
    """Writes the speech with silence and a short cue in front."""
    with wave.open(str(speech)) as spoken:
        params, frames = spoken.getparams(), spoken.readframes(spoken.getnframes())

    def seconds(length, sample):
        return sample * round(length * params.framerate)

    cue = seconds(0.01, b"\0\x10")
    with wave.open(str(path), "wb") as cued:
        cued.setparams(params)
        cued.writeframes(seconds(0.3, bytes(2)) + cue + seconds(CUE_LEAD_SECONDS - 0.01, bytes(2)) + frames)


def speak_at_press(desktop, wav, press):
    """Plays a cue and then the speech; presses the hotkey at the moment when the speech begins, or a little later."""
    cued = desktop.root / "cued.wav"
    write_cued(cued, wav)
    listener = Listener(desktop.env)
    player = threading.Thread(target=desktop.microphone.play, args=[cued])
    try:
        player.start()
        begin = listener.wait_for_sound() + CUE_LEAD_SECONDS
        time.sleep(max(0.0, begin - time.monotonic()))
        return press()
    finally:
        player.join()
        listener.close()


def error_rate(said, heard):
    return 100.0 * sum(map(word_errors, said, heard)) / sum(len(words_of(text)) for text in said)


def measure_sentences(desktop, studio, cli):
    """Speed and word error rate of ordinary dictations: the key is down some time before and after the speech."""
    dictations, theirs = [], []
    for number, (text, voice, speed, loudness) in enumerate(SENTENCES):
        wav = desktop.root / f"sentence-{number}.wav"
        synthesise(wav, text, desktop.env, voice, speed, loudness)

        def speak(press):
            pressed = press()
            desktop.microphone.play(wav)
            return pressed

        dictations.append(studio.dictate(speak))
        theirs.append(cli.transcribe(wav)[0])
    said = [sentence[0] for sentence in SENTENCES]
    return [*speed_rows(dictations), words_row("word error rate", said, [d.text for d in dictations], theirs)]


def speed_rows(dictations):
    def times(begin, end):
        return [(end(d) - begin(d)) / 1e6 for d in dictations]

    pasted = [d for d in dictations if d.pasted]
    rest = [d.release_to_paste for d in pasted]
    stopped = times(lambda d: d.stream["stop"][0], lambda d: d.stream["close"][1])
    noticed = times(lambda d: d.released, lambda d: d.stream["stop"][0])
    taken = times(lambda d: d.released, lambda d: d.recognition[0])
    delivered = [(d.pasted - d.recognition[1]) / 1e6 for d in pasted]
    running = times(lambda d: d.pressed, lambda d: d.stream["start"][1])
    block = times(lambda d: d.pressed, lambda d: d.stream["first"][0])
    portaudio = times(lambda d: d.stream["open"][0], lambda d: d.stream["start"][1])
    parts = (
        f"{spread(rest, 'ms')}. Medians: release to Pa_StopStream {statistics.median(noticed):.1f}, stop and close "
        f"{statistics.median(stopped):.1f}, release to recognition {statistics.median(taken):.1f}, recognised to Ctrl+V "
        f"{statistics.median(delivered):.1f} (50 of them a pause)"
    )
    first = (
        f"{spread(running, 'ms')}. First block of 32 ms complete: {spread(block, 'ms')}. Comparison: PortAudio's share"
    )
    return [
        Row("key release to Ctrl+V less recognition, median", statistics.median(rest), "ms", None, "<= 60 ms", parts),
        Row("key release to Ctrl+V less recognition, p95", percentile(rest, 0.95), "ms", None, "<= 60 ms"),
        Row(
            "key press to stream running, median",
            statistics.median(running),
            "ms",
            statistics.median(portaudio),
            "",
            first,
        ),
    ]


def words_row(name, said, ours, theirs):
    different = [f"{s!r}: {a!r}, whisper-cli {b!r}" for s, a, b in zip(said, ours, theirs) if not s == a == b]
    note = "; ".join([f"{len(said)} sentences", *different])
    return Row(name, error_rate(said, ours), "%", error_rate(said, theirs), "not above comparison", note)


def measure_first_words(desktop, studio, cli, count):
    """Word error rate when the speech begins in the very moment of the press."""
    said, ours, theirs, late = [], [], [], []
    for text, voice, speed, _ in SENTENCES[3 : 3 + count]:
        wav = desktop.root / "unpadded.wav"
        synthesise(wav, text, desktop.env, voice, speed, silence=0)
        dictation = studio.dictate(lambda press: speak_at_press(desktop, wav, press))
        said.append(text)
        ours.append(dictation.text)
        theirs.append(cli.transcribe(wav)[0])
        late.append((dictation.stream["start"][1] - dictation.pressed) / 1e6)
    first = [sum(words_of(s)[:1] == words_of(h)[:1] for s, h in zip(said, heard)) for heard in (ours, theirs)]
    row = words_row("word error rate, speech from the moment of the press", said, ours, theirs)
    row.note = (
        f"first word right in {first[0]} of {count}, whisper-cli {first[1]}; stream running after {spread(late, 'ms')}; "
        + row.note
    )
    return [row]


def measure(desktop, binaries, model, cli, quick):
    desktop.install_model("tiny", model)
    studio = Studio(desktop, binaries / "bench_stream_times.so")
    try:
        return [
            *measure_sentences(desktop, studio, cli),
            *measure_first_words(desktop, studio, cli, 3 if quick else 12),
        ]
    finally:
        studio.close()
