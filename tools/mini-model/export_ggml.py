"""Write a trained checkpoint as a ggml model file for whisper.cpp.

    python3 export_ggml.py mini.pt ggml-mini.bin [--blank-text " [BLANK_AUDIO]"]
"""
import argparse
import struct

import numpy as np
import torch

import features
import vocab
from model import N_TEXT_CTX, MiniWhisper


def export(model, dims, path, blank_text=""):
    """Matrices in f16, the rest in f32 (whisper.cpp 1.9.1 aborts in its convolution on an all-f32 file)."""
    strings = vocab.token_strings(blank_text)
    with open(path, "wb") as f:
        f.write(
            struct.pack(
                "<12i",
                0x67676D6C,
                vocab.N_VOCAB,
                features.N_CTX,
                dims["n_state"],
                dims["n_head"],
                dims["n_audio_layer"],
                N_TEXT_CTX,
                dims["n_state"],
                dims["n_head"],
                dims["n_text_layer"],
                features.N_MELS,
                1,
            )
        )
        f.write(struct.pack("<2i", *features.FILTERS.shape))
        f.write(features.FILTERS.astype("<f4").tobytes())
        f.write(struct.pack("<i", len(strings)))
        for s in strings:
            f.write(struct.pack("<i", len(s)) + s)
        for name, tensor in model.state_dict().items():
            if name.startswith("ctc"):
                continue
            data = tensor.numpy()
            if name == "decoder.token_embedding.weight":
                full = np.zeros((vocab.N_VOCAB, data.shape[1]), np.float32)
                full[vocab.USED] = data
                data = full
            if name.endswith(("conv1.bias", "conv2.bias")):
                data = data[:, None]  # whisper.cpp adds it to a [state, frames] matrix
            half = not (tensor.ndim == 1 or name.endswith("positional_embedding"))
            key = name.encode()
            f.write(struct.pack("<3i", data.ndim, len(key), int(half)))
            f.write(struct.pack("<%di" % data.ndim, *reversed(data.shape)))
            f.write(key + np.ascontiguousarray(data, "<f2" if half else "<f4").tobytes())


def load(path):
    saved = torch.load(path)
    model = MiniWhisper(**saved["dims"]).eval()
    model.load_state_dict(saved["model"])
    return model, saved["dims"]


if __name__ == "__main__":
    a = argparse.ArgumentParser()
    a.add_argument("checkpoint")
    a.add_argument("output")
    a.add_argument("--blank-text", default="", help='text reported for silence, e.g. " [BLANK_AUDIO]"')
    a = a.parse_args()
    export(*load(a.checkpoint), a.output, a.blank_text)
