"""Word error rate of a ggml model under whisper-cli, on synthetic speech it was not trained on.

    python3 evaluate.py [MODEL] [--cli whisper-cli] [--count 300] [--only clean,quiet] [--show]

Voices (synth.HELD_OUT_VARIANTS) and, from two words up, word sequences are held out from training.
"""
import argparse
import os
import random
import re
import subprocess
import tempfile
import time

import numpy as np

import features
import synth
import vocab

ACCENTS = ["en-us", "en-gb", "en-gb-scotland"]


def transcribe(cli, model, paths, extra=()):
    """Texts of the recordings, from one whisper-cli process with its default settings."""
    command = [cli, "-m", model, "-l", "en", "-nt", "-np", "-otxt", *extra, *paths]
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return [open(p + ".txt").read().strip() for p in paths]


def words_of(text):
    return re.findall(r"\[_?[A-Za-z_]*[0-9]*_?\]|[a-z']+", text.lower())


def with_noise(pcm, snr_db, g):
    active = pcm[np.abs(pcm) > 0.01 * np.abs(pcm).max()]
    return pcm + g.standard_normal(len(pcm)) * np.sqrt((active**2).mean() / 10 ** (snr_db / 10))


def spoken(sentences, voices, seed, peak_db=-6, snr_db=None):
    """[(words, samples)]: each sentence in a random voice, with silence around it, at a peak level."""
    r, g = random.Random(seed), np.random.default_rng(seed)
    out = []
    for words in sentences:
        pcm = synth.say(" ".join(words), r.choice(voices), r.randint(125, 200), r.randint(25, 75))
        pcm = np.concatenate([np.zeros(r.randint(800, 16000)), pcm, np.zeros(r.randint(0, 12000))])
        if snr_db is not None:
            pcm = with_noise(pcm, snr_db, g)
        out.append((words, pcm * (10 ** (peak_db / 20) / np.abs(pcm).max())))
    return out


def silences(seed=3):
    g = np.random.default_rng(seed)
    out = []
    for seconds in (0.5, 2, 5, 9):
        n = int(seconds * features.SR)
        t = np.arange(n) / features.SR
        white = g.standard_normal(n)
        pink = np.convolve(white, 1 / np.arange(1, 200), "same")
        hum = 0.02 * np.sin(2 * np.pi * 50 * t) + 1e-3 * white
        out += [np.zeros(n), white * 1e-4, white * 1e-2, pink * 1e-3, pink * 2e-2, hum]
    return [([], x) for x in out]


def measure(cli, model, clips, extra=(), show=False):
    """(word errors, words, exact sentences, sentences, seconds of wall time)"""
    with tempfile.TemporaryDirectory() as d:
        paths = []
        for i, (_, pcm) in enumerate(clips):
            paths.append(os.path.join(d, "%04d.wav" % i))
            synth.write_wav(paths[-1], pcm)
        start = time.time()
        texts = transcribe(cli, model, paths, extra)
        seconds = time.time() - start
    wrong = [vocab.errors(w, words_of(t)) for (w, _), t in zip(clips, texts)]
    if show:
        for (w, _), t, e in zip(clips, texts, wrong):
            if e:
                print("     %-50s -> %s" % (" ".join(w) or "(silence)", t))
    return sum(wrong), sum(len(w) for w, _ in clips), sum(e == 0 for e in wrong), len(clips), seconds


def cost(cli, model, pcm, extra):
    """Load time, processing time, real-time factor and peak memory of one whisper-cli run."""
    peak = 0
    with tempfile.TemporaryDirectory() as d, open(d + "/log", "w+") as log_file:
        synth.write_wav(d + "/a.wav", pcm)
        start = time.time()
        command = [cli, "-m", model, "-f", d + "/a.wav", "-l", "en", "-nt", *extra]
        p = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=log_file)
        while p.poll() is None:  # not ru_maxrss: that one is inherited from this process
            with open("/proc/%d/status" % p.pid) as f:
                found = re.search(r"VmHWM:\s+(\d+)", f.read())
            peak = max(peak, int(found[1]) if found else 0)
            time.sleep(0.002)
        wall = time.time() - start
        log_file.seek(0)
        log = log_file.read()
    ms = {k: float(v) for k, v in re.findall(r"(\w+) time = +([\d.]+) ms", log)}
    work = sum(ms[k] for k in ("mel", "sample", "encode", "decode", "batchd", "prompt"))
    return ms["load"], work, work / 1000 / (len(pcm) / features.SR), peak / 1024, wall * 1000


if __name__ == "__main__":
    a = argparse.ArgumentParser()
    a.add_argument("model", nargs="?", default=os.path.join(synth.ROOT, "tests", "data", "ggml-mini.bin"))
    a.add_argument("--cli", default="whisper-cli")
    a.add_argument("--count", type=int, default=300)
    a.add_argument("--only", default="")
    a.add_argument("--show", action="store_true", help="print the sentences that went wrong")
    a = a.parse_args()

    held = vocab.held_out_sentences()[: a.count]
    voices = [x + "+" + v for x in ACCENTS for v in synth.HELD_OUT_VARIANTS]
    half = held[: max(1, len(held) // 2)]
    r = random.Random(9)
    long = [vocab.random_words(r, r.randint(9, 12)) for _ in range(max(1, a.count // 10))]
    sets = {
        "clean": (lambda: spoken(held, voices, 1), ()),
        "greedy": (lambda: spoken(held, voices, 1), ("-bs", "1")),
        "showcase-default-voices": (lambda: spoken(vocab.SHOWCASE * 2, ["en-us", "en-gb"], 2), ()),
        "showcase-held-out-voices": (lambda: spoken(vocab.SHOWCASE * 3, voices, 3), ()),
        "level-3dB": (lambda: spoken(half, voices, 4, peak_db=-3), ()),
        "level-20dB": (lambda: spoken(half, voices, 4, peak_db=-20), ()),
        "level-40dB": (lambda: spoken(half, voices, 4, peak_db=-40), ()),
        "noise-20dB-SNR": (lambda: spoken(half, voices, 5, snr_db=20), ()),
        "noise-10dB-SNR": (lambda: spoken(half, voices, 5, snr_db=10), ()),
        "9-12-words": (lambda: spoken(long, voices, 6), ()),
        "with-prompt": (lambda: spoken(half, voices, 1), ("--prompt", "Meeting notes, Friday. Send the report")),
    }
    print("model", a.model, os.path.getsize(a.model), "bytes")
    for name, (make, extra) in sets.items():
        if a.only and name not in a.only.split(","):
            continue
        clips = make()
        e, n, ok, total, s = measure(a.cli, a.model, clips, extra, a.show)
        print(
            "%-26s WER %5.2f %%  (%d/%d words)  sentences right %d/%d  %.0f s of audio in %.1f s"
            % (name, 100 * e / n, e, n, ok, total, sum(len(p) for _, p in clips) / features.SR, s),
            flush=True,
        )
    if not a.only or "silence" in a.only:
        e, _, ok, total, _ = measure(a.cli, a.model, silences(), (), a.show)
        print("%-26s empty %d/%d, %d words invented" % ("silence", ok, total, e), flush=True)
    if not a.only or "cost" in a.only:
        pcm = spoken([vocab.SHOWCASE[3]], ["en-us"], 1)[0][1]
        for name, extra in (("greedy", ("-bs", "1")), ("default beam", ())):
            best = min((cost(a.cli, a.model, pcm, extra) for _ in range(5)), key=lambda c: c[1])
            text = "cost for %.1f s of audio, %s: load %.0f ms, processing %.0f ms, real-time factor %.3f, "
            text += "peak memory %.0f MiB, process wall %.0f ms"
            print(text % (len(pcm) / features.SR, name, *best))
