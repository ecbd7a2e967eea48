"""Log-mel features, computed the way whisper.cpp does it.

Split in two steps so that training can mix speech and noise between them:
mel_energy() gives linear mel energies, normalise() turns those of a whole
recording (already padded with zeros) into the encoder input.
"""
import numpy as np
import scipy.fft

SR, N_FFT, HOP, N_MELS = 16000, 400, 160, 80
N_CTX = 512  # encoder positions; 2 * N_CTX mel frames = 10.24 s


def _hz_to_mel(f):
    f = np.asarray(f, np.float64)
    return np.where(f < 1000, f * 3 / 200, 15 + np.log(np.maximum(f, 1000) / 1000) * 27 / np.log(6.4))


def _mel_to_hz(m):
    return np.where(m < 15, m * 200 / 3, 1000 * np.exp((np.maximum(m, 15) - 15) * np.log(6.4) / 27))


def mel_filters():
    """Slaney mel filter bank with area normalisation, 80 x 201."""
    edges = _mel_to_hz(np.linspace(0, _hz_to_mel(SR / 2), N_MELS + 2))
    bins = np.arange(N_FFT // 2 + 1) * SR / N_FFT
    lo, mid, hi = edges[:-2, None], edges[1:-1, None], edges[2:, None]
    tri = np.minimum((bins - lo) / (mid - lo), (hi - bins) / (hi - mid))
    return (np.maximum(tri, 0) * 2 / (hi - lo)).astype(np.float32)


FILTERS = mel_filters()
_HANN = (0.5 - 0.5 * np.cos(2 * np.pi * np.arange(N_FFT) / N_FFT)).astype(np.float32)


def mel_energy(pcm):
    """Linear mel energies [frames, 80] of a recording: reflected at its start, zero after its end."""
    pcm = np.asarray(pcm, np.float32)
    n = len(pcm)
    x = np.concatenate([pcm[1 : N_FFT // 2 + 1][::-1], pcm, np.zeros(2 * N_FFT, np.float32)])
    frames = (n + N_FFT // 2) // HOP + 1
    windows = np.lib.stride_tricks.sliding_window_view(x, N_FFT)[::HOP][:frames]
    power = np.abs(scipy.fft.rfft(windows * _HANN, axis=1)) ** 2
    return power @ FILTERS.T


def normalise(energy):
    """Encoder input from mel energies; the last two axes must span one whole recording."""
    x = np.log10(np.maximum(energy, 1e-10))
    x = np.maximum(x, x.max(axis=(-2, -1), keepdims=True) - 8)
    return ((x + 4) / 4).astype(np.float32)


def encoder_input(pcm, n_ctx=N_CTX):
    """What whisper.cpp feeds to the encoder for the start of a recording: [2 * n_ctx, 80]."""
    e = mel_energy(pcm)
    e = np.concatenate([e, np.zeros((max(0, 2 * n_ctx - len(e)) + 1, N_MELS), np.float32)])
    return normalise(e)[: 2 * n_ctx]
