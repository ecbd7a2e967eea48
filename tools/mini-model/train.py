"""Train the mini dictation model on synthetic speech and export it for whisper.cpp.

    python3 train.py [--work DIR] [--jobs 2]        # everything, from synthesis to DIR/ggml-mini.bin

Training can be interrupted and goes on from the last checkpoint (DIR/last.pt).
"""
import argparse
import glob
import multiprocessing
import os
import random
import time

import numpy as np
import torch
import torch.nn.functional as F
from scipy.signal import lfilter

import export_ggml
import features
import model as net
import synth
import vocab

# Curriculum: (steps, encoder positions, most utterances joined in one clip, batch size per process,
# only utterances of one or two words, strength of gain, noise and masking, the encoder learns every n-th step)
PHASES = [
    (300, 96, 1, 24, True, 0.0, 1),
    (400, 144, 1, 24, False, 0.2, 1),
    (900, 144, 1, 24, False, 1.0, 1),
    (900, 256, 3, 16, False, 1.0, 1),
    (300, 512, 4, 12, False, 1.0, 1),
    (500, 512, 2, 14, False, 1.0, 3),
]
PEAK_LR, WARMUP, DECAY = 2e-3, 200, 0.5  # constant, then linear to zero over the last half


# ---------------------------------------------------------------- clips


def warp_matrix(alpha):
    """Moves mel energies along the frequency axis, as a longer or shorter vocal tract would."""
    centre = features._mel_to_hz(np.linspace(0, features._hz_to_mel(8000), features.N_MELS + 2)[1:-1])
    pos = np.interp(np.minimum(centre * alpha, 7999), centre, np.arange(features.N_MELS))
    lo = np.minimum(pos.astype(int), features.N_MELS - 2)
    m = np.zeros((features.N_MELS, features.N_MELS), np.float32)
    m[lo, np.arange(features.N_MELS)] = 1 - (pos - lo)
    m[lo + 1, np.arange(features.N_MELS)] = pos - lo
    return m


def noise_bank(seed, seconds=40):
    """Mel energies of several noises, each of mean power 1."""
    g = np.random.default_rng(seed)
    n = seconds * features.SR
    t = np.arange(n) / features.SR
    white = g.standard_normal(n)
    knots = np.arange(0, seconds + 1, 0.4)
    slow = np.interp(t, knots, g.uniform(0.05, 1, int((seconds + 1) / 0.4) + 1)[: len(knots)])
    clicks = lfilter([1], [1, -1.2, 0.7], (g.random(n) < 3e-4) * g.standard_normal(n))
    pink = lfilter([0.049922, -0.095993, 0.050613, -0.004409], [1, -2.494956, 2.017266, -0.522189], white)
    noises = [
        white,
        pink,
        pink,
        lfilter([1], [1, -0.99], white),
        lfilter([1], [1, -0.8], white),
        white * slow,
        pink * slow,
        sum(np.sin(2 * np.pi * f * t + f) / k for k, f in enumerate(range(50, 900, 50), 1)) + 0.01 * white,
        clicks + 0.003 * white,
    ]
    return [features.mel_energy(x / np.sqrt((x**2).mean())) for x in noises]


class Clips:
    """Draws training clips: utterances placed in a window, with gain, noise, warping and masking."""

    def __init__(self, directory, seed):
        self.utterances, self.short = [], []
        for path in sorted(glob.glob(os.path.join(directory, "train-*.npz"))):
            if path.endswith(".tmp.npz"):
                continue
            z = np.load(path)
            ids = np.split(z["ids"], np.cumsum(z["n_ids"])[:-1])
            mels = np.split(z["mel"], np.cumsum(z["n_mel"])[:-1])
            self.utterances += list(zip(ids, mels, z["power"].tolist()))
        self.short = [u for u in self.utterances if len(u[0]) <= 2]
        self.noises = noise_bank(seed)
        self.warps = [warp_matrix(a) for a in np.linspace(0.88, 1.14, 14)]

    def noise(self, r, frames):
        n = r.choice(self.noises)
        start = r.randrange(len(n) - frames)
        return n[start : start + frames]

    def clip(self, r, positions, max_joined, short, strength):
        """Returns (mel [2 * positions, 80], word ids)."""
        frames = 2 * positions
        e = np.zeros((frames, features.N_MELS), np.float32)
        words = []
        gain = 10 ** (r.uniform(-3.8 * strength - 0.2, 0))
        if r.random() < 0.06 * strength:  # nothing is said
            end = r.randint(30, frames)
            if r.random() < 0.8:
                e[:end] += self.noise(r, end) * 10 ** (r.uniform(-80, -20) / 10)
        else:
            pool = self.short if short else self.utterances
            joined = r.randint(1, max_joined)
            pos = r.choice([0, r.randint(0, 40), r.randint(0, frames // 3)])
            power = 0.0
            end = 0
            while joined:
                ids, mel, p = r.choice(pool)
                if pos + len(mel) > frames - 2:
                    if words:
                        break
                    pos = max(0, frames - 2 - len(mel)) // 2
                    if len(mel) > frames - 2:
                        continue
                part = 10 ** mel.astype(np.float32) * (gain * 10 ** (r.uniform(-3, 3) / 10))
                if r.random() < 0.6:
                    part = part @ r.choice(self.warps)
                e[pos : pos + len(mel)] += part
                power = max(power, p * gain)
                words += ids.tolist()
                end = pos + len(mel)
                pos = end + r.choice([r.randint(0, 15), r.randint(5, 90)])
                joined -= 1
            end = min(frames, end + r.choice([0, r.randint(0, 60), r.randint(0, 400)]))
            if r.random() < 0.75 * strength:
                e[:end] += self.noise(r, end) * (power * 10 ** (-r.uniform(4, 45) / 10))
        if r.random() < 0.5:  # rounding to 16 bits
            e[:end] += self.noises[0][:end] * (1 / 12 / 32768**2)
        mel = features.normalise(e)
        if r.random() < 0.5 * strength:
            fill = float(mel.mean())
            for _ in range(r.randint(1, 2)):
                f = r.randint(0, 72)
                mel[:, f : f + r.randint(1, 9)] = fill
            for _ in range(r.randint(0, 3)):
                t = r.randint(0, frames - 12)
                mel[t : t + r.randint(1, 9)] = fill
        return mel, words

    def batch(self, r, size, positions, *how):
        clips = [self.clip(r, positions, *how) for _ in range(size)]
        mel = torch.from_numpy(np.stack([m for m, _ in clips]))
        rows = [[vocab.INDEX[w] for w in ws] for _, ws in clips]
        inputs, targets = [], []
        for row in rows:
            prompt = [vocab.INDEX[vocab.SOT], vocab.INDEX[vocab.NOT]]
            said = row or [vocab.INDEX[vocab.BLANK]]
            if r.random() < 0.25:  # earlier text or hints before the transcript
                n = r.randint(1, 24)
                prompt = (
                    [vocab.INDEX[vocab.PREV]]
                    + [-1 if r.random() < 0.3 else r.randint(0, len(vocab.WORDS)) for _ in range(n)]
                    + prompt
                )
            fed = [r.randint(1, len(vocab.WORDS)) if r.random() < 0.05 else w for w in said]
            inputs.append(prompt + fed)
            targets.append([-100] * (len(prompt) - 1) + said + [vocab.INDEX[vocab.EOT]])
        n = max(map(len, inputs))

        def pad(lists, value):
            return torch.tensor([x + [value] * (n - len(x)) for x in lists])

        return mel, pad(inputs, -1), pad(targets, -100), rows


# ---------------------------------------------------------------- training

_said = synth.phonemes()
_PHONE_ID = {p: i + 1 for i, p in enumerate(sorted(set(sum(_said.values(), []))))}
PHONES = {vocab.INDEX[vocab.WORD_ID[w]]: [_PHONE_ID[p] for p in ps] for w, ps in _said.items()}
DIMS = dict(net.DIMS, n_phones=len(_PHONE_ID))


def ctc_loss(logits, rows):
    logp = logits.log_softmax(-1).transpose(0, 1)
    return F.ctc_loss(
        logp,
        torch.tensor(sum(rows, []), dtype=torch.long),
        torch.full((len(rows),), logp.shape[0]),
        torch.tensor([len(x) for x in rows]),
        zero_infinity=True,
    )


def losses(model, mel, inputs, targets, rows, encoder_learns=True):
    with torch.set_grad_enabled(encoder_learns):
        audio, inner = model.encoder(mel, inner=1)
    logits = model.decoder(inputs, audio)
    ce = F.cross_entropy(logits.flatten(0, 1), targets.flatten(), ignore_index=-100)
    phones = [sum((PHONES[w] for w in row), []) for row in rows]
    return ce, ctc_loss(model.ctc(audio), rows), ctc_loss(model.ctc_phones(inner), phones)


def dev_set(n=96):
    """Held-out sentences in held-out voices, straight from the synthesiser."""
    r = random.Random(5)
    out = []
    for words in vocab.held_out_sentences()[:n]:
        voice = r.choice(["en-us", "en-gb"]) + "+" + r.choice(synth.HELD_OUT_VARIANTS)
        pcm = synth.say(" ".join(words), voice, r.randint(130, 200), r.randint(30, 70))
        out.append((words, features.encoder_input(np.concatenate([np.zeros(r.randint(0, 8000), np.float32), pcm]))))
    return out


def dev_wer(model, dev):
    wrong = total = 0
    for i in range(0, len(dev), 32):
        part = dev[i : i + 32]
        for (words, _), out in zip(part, net.greedy(model, torch.from_numpy(np.stack([m for _, m in part])))):
            wrong += vocab.errors(words, net.text_of(out).split())
            total += len(words)
    return wrong / total


def phase_of(step):
    for steps, *phase in PHASES:
        if step < steps:
            break
        step -= steps
    return phase


def gradients(rank, step, total, model, clips, seed, grads, stats):
    """One process's share of a step; leaves its gradients and losses in shared memory."""
    positions, joined, size, short, strength, every = phase_of(step)
    batch = clips.batch(random.Random((seed * 1000003 + step) * 16 + rank), size, positions, joined, short, strength)
    parts = losses(model, *batch, encoder_learns=step % every == 0)
    model.zero_grad(set_to_none=True)
    (0.5 * parts[0] + 0.25 * parts[1] + 0.25 * parts[2]).backward()
    torch.cat(
        [(torch.zeros_like(p) if p.grad is None else p.grad).flatten() for p in model.parameters()], out=grads[rank]
    )
    stats[rank] = torch.tensor([x.item() for x in parts])


def worker(rank, job, ready, done, *rest):
    while True:
        ready.wait()
        if job[0] < 0:
            return
        gradients(rank, int(job[0]), *rest)
        done.wait()


def train(work, jobs, seed):
    torch.set_num_threads(1)  # several one-threaded processes: kinder to a busy machine than one with threads
    torch.manual_seed(seed)
    clips = Clips(os.path.join(work, "data"), seed)
    dev = dev_set()
    print("utterances", len(clips.utterances), "frames", sum(len(u[1]) for u in clips.utterances), flush=True)
    model = net.MiniWhisper(**DIMS).share_memory()
    params = list(model.parameters())
    opt = torch.optim.AdamW(
        [
            dict(params=[p for p in params if p.ndim > 1], weight_decay=0.02),
            dict(params=[p for p in params if p.ndim <= 1], weight_decay=0),
        ],
        lr=0,
        betas=(0.9, 0.98),
    )
    step, before, last = 0, 0.0, os.path.join(work, "last.pt")
    if os.path.exists(last):
        saved = torch.load(last)
        model.load_state_dict(saved["model"])
        opt.load_state_dict(saved["opt"])
        step, before = saved["step"], saved["seconds"]
        print("resumed at", step, flush=True)

    grads = torch.zeros(jobs, sum(p.numel() for p in params)).share_memory_()
    stats = torch.zeros(jobs, 3, dtype=torch.float64).share_memory_()
    job = torch.zeros(1, dtype=torch.int64).share_memory_()
    ready, done = multiprocessing.Barrier(jobs), multiprocessing.Barrier(jobs)
    total = sum(p[0] for p in PHASES)
    rest = (total, model, clips, seed, grads, stats)
    workers = [
        multiprocessing.Process(target=worker, args=(k, job, ready, done, *rest), daemon=True) for k in range(1, jobs)
    ]
    for w in workers:
        w.start()

    start, seen, sums, phase = time.time() - before, 0, np.zeros(3), None
    mark = time.time()
    while step < total:
        if phase != phase_of(step):
            phase = phase_of(step)
            text = "step %d: positions %d, joined %d, batch %d x %d, short %s, strength %s, encoder every %d"
            print(text % (step, *phase[:2], jobs, *phase[2:]), flush=True)
        job[0] = step
        ready.wait()
        gradients(0, step, *rest)
        done.wait()
        mean = grads.mean(0)
        lr = PEAK_LR * min(1, (step + 1) / WARMUP, (1 - step / total) / DECAY)
        for group in opt.param_groups:
            group["lr"] = lr
        for p, g in zip(params, mean.split([p.numel() for p in params])):
            p.grad = None if p.grad is None else g.view_as(p)
        torch.nn.utils.clip_grad_norm_(params, 1.0)
        opt.step()
        sums += stats.mean(0).numpy()
        seen += phase[2] * jobs
        step += 1
        if step % 50 == 0:
            print(
                "step %d/%d  lr %.5f  ce %.3f  words %.3f  phones %.3f  %.1f clips/s  %.0f s"
                % (step, total, lr, *sums / 50, seen / (time.time() - mark), time.time() - start),
                flush=True,
            )
            sums[:], seen, mark = 0, 0, time.time()
        if step % 200 == 0:
            print("    dev WER %.1f %%" % (100 * dev_wer(model, dev)), flush=True)
            states = dict(model=model.state_dict(), opt=opt.state_dict())
            torch.save(dict(states, step=step, seconds=time.time() - start, dims=DIMS), last + ".tmp")
            os.replace(last + ".tmp", last)
    job[0] = -1
    ready.wait()
    print("finished at step %d, dev WER %.1f %%" % (step, 100 * dev_wer(model, dev)), flush=True)
    return model


def main():
    a = argparse.ArgumentParser()
    a.add_argument("--work", default=synth.WORK, help="folder of everything that is produced")
    a.add_argument("--jobs", type=int, default=2)
    a.add_argument("--seed", type=int, default=1)
    a.add_argument("--count", type=int, default=18000, help="synthetic utterances")
    a = a.parse_args()
    synth.build(os.path.join(a.work, "data"), a.count, a.seed, a.jobs)
    model = train(a.work, a.jobs, a.seed)
    torch.save(dict(model=model.state_dict(), dims=DIMS), os.path.join(a.work, "mini.pt"))
    export_ggml.export(model, DIMS, os.path.join(a.work, "ggml-mini.bin"))


if __name__ == "__main__":
    main()
