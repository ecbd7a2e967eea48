"""Synthetic speech with espeak-ng, and the training set made from it.

    python3 synth.py DIR [--count 16000] [--seed 1] [--jobs 2]
"""
import argparse
import io
import multiprocessing
import os
import random
import re
import subprocess
import wave

import numpy as np
from scipy.signal import fftconvolve, lfilter, resample_poly

import features
import vocab

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
WORK = os.path.join(ROOT, "build", "mini-model")  # what is not kept in the repository

ACCENTS = {
    "en-us": 8,
    "en-gb": 6,
    "en-gb-x-rp": 2,
    "en-gb-scotland": 2,
    "en-029": 1,
    "en-gb-x-gbclan": 1,
    "en-gb-x-gbcwmd": 1,
    "en-us-nyc": 1,
}
VARIANTS = (
    ["", "", ""]
    + """m1 m2 m3 m4 m5 m6 m8 f1 f2 f3 f5 m1 m3 f1 f2 f3 Alex Alicia Andrea Andy Annie Gene Gene2
    Lee Mario Mike Diogo Hugo Jacky adam anika antonio belinda benjamin boris caleb david ed edward grandma grandpa
    iven iven2 john linda max michel miguel norbert pablo paul pedro quincy rob robert sandro shelby steph steph2
    travis victor zac klatt klatt2 klatt3 klatt4""".split()
)
HELD_OUT_VARIANTS = ["f4", "m7", "Michael"]  # evaluation only


def say(text, voice, speed=160, pitch=50, gap=0):
    """Speak a text; returns float32 samples at 16 kHz."""
    command = ["espeak-ng", "-v", voice, "-s", str(speed), "-p", str(pitch), "-g", str(gap), "--stdout", text]
    wav = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout
    with wave.open(io.BytesIO(wav)) as w:
        rate = w.getframerate()
    data = wav[wav.index(b"data") + 8 :]  # espeak writes a wrong length when it cannot seek
    pcm = np.frombuffer(data[: len(data) // 2 * 2], "<i2").astype(np.float32) / 32768
    g = np.gcd(rate, features.SR)
    return resample_poly(pcm, features.SR // g, rate // g).astype(np.float32)


def phonemes():
    """Phoneme lists of the vocabulary (American, without stress), for an auxiliary training target."""
    out = {}
    for word in vocab.WORDS:
        command = ["espeak-ng", "-q", "-x", "--sep=_", "-v", "en-us", word]
        said = subprocess.run(command, stdout=subprocess.PIPE, check=True)
        out[word] = [p for p in re.sub("[',%=|]", "", said.stdout.decode()).strip().split("_") if p]
    return out


def write_wav(path, pcm):
    with wave.open(str(path), "wb") as w:
        w.setparams((1, 2, features.SR, 0, "NONE", ""))
        w.writeframes((np.clip(pcm, -1, 1) * 32767).astype("<i2").tobytes())


def trim(pcm):
    loud = np.flatnonzero(np.abs(pcm) > 1e-3)
    return pcm[max(0, loud[0] - 200) : loud[-1] + 400] if len(loud) else pcm


def colour(pcm, r):
    """A little room and microphone: reverberation, low-pass, spectral tilt."""
    if r.random() < 0.3:
        n = int(features.SR * r.uniform(0.08, 0.35))
        ir = np.random.default_rng(r.getrandbits(32)).standard_normal(n) * 10 ** (-3 * np.arange(n) / n)
        ir *= r.uniform(0.1, 0.5) / np.sqrt((ir**2).sum())
        ir[0] = 1
        pcm = fftconvolve(pcm, ir)[: len(pcm) + n // 3]
    if r.random() < 0.2:
        a = r.uniform(0.2, 0.6)
        pcm = lfilter([1 - a], [1, -a], pcm)
    if r.random() < 0.2:
        pcm = lfilter([1, -r.uniform(0.2, 0.7)], [1], pcm)
    return pcm.astype(np.float32)


def make(job):
    """One training utterance: (word ids, log10 mel energies as float16, power of its active part)."""
    words, seed = job
    r = random.Random(seed)
    variant = r.choice(VARIANTS)
    voice = r.choices(list(ACCENTS), list(ACCENTS.values()))[0] + ("+" + variant if variant else "")
    pcm = trim(say(" ".join(words), voice, r.randint(115, 225), r.randint(20, 80), r.choice([0, 0, 0, 0, 1, 2, 4, 8])))
    pcm = colour(np.concatenate([np.zeros(r.randrange(features.HOP) + 200, np.float32), pcm]), r)
    pcm /= np.abs(pcm).max() + 1e-9
    power = pcm**2
    power = float(power[power > 1e-4].mean()) if (power > 1e-4).any() else 1.0
    e = np.log10(np.maximum(features.mel_energy(pcm), 1e-10)).astype(np.float16)
    return [vocab.WORD_ID[w] for w in words], e, power


def build(directory, count, seed, jobs):
    """Training set in shards; half of it is one or two words long, for the curriculum."""
    os.makedirs(directory, exist_ok=True)
    r = random.Random(seed)
    reserved = vocab.reserved()
    todo = []
    while len(todo) < count:
        k = len(todo) % 10
        words = vocab.sentence(r, n=1 if k < 2 else 2) if k < 4 else vocab.sentence(r)
        if tuple(words) not in reserved:
            todo.append((words, r.getrandbits(32)))
    with multiprocessing.Pool(jobs) as pool:
        for shard in range(0, count, 2000):
            path = os.path.join(directory, "train-%05d.npz" % shard)
            if os.path.exists(path):
                continue
            ids, mels, power = zip(*pool.imap(make, todo[shard : shard + 2000], chunksize=20))
            np.savez(
                path + ".tmp.npz",
                ids=np.concatenate(ids),
                n_ids=[len(i) for i in ids],
                mel=np.concatenate(mels),
                n_mel=[len(m) for m in mels],
                power=power,
            )
            os.rename(path + ".tmp.npz", path)
            print("synthesised", shard + len(ids), flush=True)


if __name__ == "__main__":
    a = argparse.ArgumentParser()
    a.add_argument("directory")
    a.add_argument("--count", type=int, default=16000)
    a.add_argument("--seed", type=int, default=1)
    a.add_argument("--jobs", type=int, default=2)
    a = a.parse_args()
    build(a.directory, a.count, a.seed, a.jobs)
