"""Checks that catch real faults: python3 test_mini.py [checkpoint.pt]   (needs whisper-cli and espeak-ng)"""
import json
import os
import subprocess
import sys
import tempfile
import unittest

import numpy as np
import torch

import evaluate
import export_ggml
import features
import model as net
import synth
import vocab

CLI = os.environ.get("WHISPER_CLI", "whisper-cli")
CHECKPOINT = os.path.join(synth.WORK, "mini.pt")


class Parity(unittest.TestCase):
    def test_whisper_cpp_computes_what_was_trained(self):
        """Same tokens and probabilities from PyTorch and whisper.cpp: features, layout, prompt and masking agree."""
        model, dims = export_ggml.load(CHECKPOINT)
        with tempfile.TemporaryDirectory() as d:
            export_ggml.export(model, dims, d + "/m.bin")
            for i, text in enumerate(["hello world", "the meeting is at ten tomorrow"]):
                pcm = np.concatenate([np.zeros(3000), synth.say(text, "en-us+m7")])
                pcm = evaluate.with_noise(pcm, 25, np.random.default_rng(i))
                synth.write_wav(d + "/a.wav", pcm)
                pcm = (np.clip(pcm, -1, 1) * 32767).astype("<i2").astype(np.float32) / 32768
                mine = net.greedy(model, torch.from_numpy(features.encoder_input(pcm))[None])[0]
                command = [CLI, "-m", d + "/m.bin", "-l", "en", "-nt", "-bs", "1", "-nf", "-ojf", "-of", d + "/a"]
                subprocess.run([*command, d + "/a.wav"], check=True, capture_output=True)
                with open(d + "/a.json") as f:
                    theirs = [t for s in json.load(f)["transcription"] for t in s["tokens"]]
                self.assertEqual([t for t, _ in mine], [t["id"] for t in theirs])
                for (_, logp), t in zip(mine, theirs):
                    self.assertAlmostEqual(np.exp(logp), t["p"], delta=0.03)


class Separation(unittest.TestCase):
    def test_evaluation_material_is_not_trained_on(self):
        self.assertFalse(set(synth.VARIANTS) & set(synth.HELD_OUT_VARIANTS))
        used = {tuple(s) for s in vocab.SHOWCASE + vocab.held_out_sentences()}
        self.assertTrue(all(w in vocab.WORD_ID for s in used for w in s))
        ids = {v: k for k, v in vocab.WORD_ID.items()}
        data = os.path.join(synth.WORK, "data", "train-00000.npz")
        if os.path.exists(data):
            z = np.load(data)
            trained = {tuple(ids[i] for i in s) for s in np.split(z["ids"], np.cumsum(z["n_ids"])[:-1])}
            self.assertFalse({s for s in trained & used if len(s) > 1})


if __name__ == "__main__":
    if len(sys.argv) > 1:
        CHECKPOINT = sys.argv.pop(1)
    unittest.main()
