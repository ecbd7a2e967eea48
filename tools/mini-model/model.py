"""Whisper's architecture (pre-norm transformer, convolutional stem) with its tensor names."""
import math

import torch
import torch.nn as nn
import torch.nn.functional as F

import features
import vocab

N_TEXT_CTX = 64
DIMS = dict(n_state=96, n_head=3, n_audio_layer=3, n_text_layer=2)
LOG_UNUSED = math.log(vocab.N_VOCAB - vocab.N_TARGETS)  # the rows that are zero, all with logit 0


def gelu(x):
    return F.gelu(x, approximate="tanh")  # the variant that ggml uses


def sinusoids(length, channels):
    inv = torch.exp(-math.log(10000) / (channels // 2 - 1) * torch.arange(channels // 2))
    t = torch.arange(length)[:, None] * inv[None]
    return torch.cat([t.sin(), t.cos()], 1)


class Attention(nn.Module):
    def __init__(self, d, heads):
        super().__init__()
        self.heads = heads
        self.query = nn.Linear(d, d)
        self.key = nn.Linear(d, d, bias=False)
        self.value = nn.Linear(d, d)
        self.out = nn.Linear(d, d)

    def forward(self, x, source=None, mask=None):
        source = x if source is None else source
        b, t, d = x.shape
        h, s = self.heads, source.shape[1]
        q = self.query(x).view(b, t, h, -1).transpose(1, 2) * (d // h) ** -0.5
        k = self.key(source).view(b, s, h, -1).permute(0, 2, 3, 1)
        v = self.value(source).view(b, s, h, -1).transpose(1, 2)
        w = q @ k
        if mask is not None:
            w = w + mask
        return self.out((w.softmax(-1) @ v).transpose(1, 2).reshape(b, t, d))


def look_at(attn, offsets, sharpness=1.0):
    """Starts heads off attending to the position at a given offset from their own.

    The residual stream carries sin(wt), cos(wt) for many w; with queries made of these and keys
    of the same turned by w * offset, the score is a sum of cos(w * (distance - offset)). Learning
    such local attention from nothing is what makes a small model slow to train.
    """
    d = attn.query.weight.shape[0]
    size, half = d // attn.heads, d // 2
    with torch.no_grad():
        for h, offset in enumerate(offsets):
            q, k = attn.query.weight[h * size : (h + 1) * size], attn.key.weight[h * size : (h + 1) * size]
            q.mul_(0.1), k.mul_(0.1)
            for j in range(size // 2):
                i = 2 * j  # every other frequency
                w = math.exp(-math.log(10000) / (half - 1) * i)
                s = sharpness**0.5 * size**0.25
                q[2 * j, i] += s
                q[2 * j + 1, half + i] += s
                k[2 * j, i] += s * math.cos(w * offset)  # sin(w(t - o)) = sin cos - cos sin
                k[2 * j, half + i] -= s * math.sin(w * offset)
                k[2 * j + 1, half + i] += s * math.cos(w * offset)
                k[2 * j + 1, i] += s * math.sin(w * offset)


class Block(nn.Module):
    def __init__(self, d, heads, cross):
        super().__init__()
        self.attn = Attention(d, heads)
        self.attn_ln = nn.LayerNorm(d)
        if cross:
            self.cross_attn = Attention(d, heads)
            self.cross_attn_ln = nn.LayerNorm(d)
        self.mlp = nn.Sequential(nn.Linear(d, 4 * d), nn.GELU(approximate="tanh"), nn.Linear(4 * d, d))
        self.mlp_ln = nn.LayerNorm(d)

    def forward(self, x, audio=None, mask=None):
        x = x + self.attn(self.attn_ln(x), mask=mask)
        if audio is not None:
            x = x + self.cross_attn(self.cross_attn_ln(x), audio)
        return x + self.mlp(self.mlp_ln(x))


class Encoder(nn.Module):
    def __init__(self, d, heads, layers):
        super().__init__()
        self.conv1 = nn.Conv1d(features.N_MELS, d, 3, padding=1)
        self.conv2 = nn.Conv1d(d, d, 3, stride=2, padding=1)
        self.register_buffer("positional_embedding", sinusoids(features.N_CTX, d))
        self.blocks = nn.ModuleList(Block(d, heads, False) for _ in range(layers))
        self.ln_post = nn.LayerNorm(d)
        with torch.no_grad():  # sound to weigh as much as position from the start
            self.conv1.weight.mul_(2)
            self.conv2.weight.mul_(4)
        for block, reach in zip(self.blocks, (3, 7, 14)):
            look_at(block.attn, (reach, -reach))

    def forward(self, mel, inner=None):  # [batch, frames, 80]
        """Encoder output, or with inner=n also what block n left in the residual stream."""
        x = gelu(self.conv2(gelu(self.conv1(mel.transpose(1, 2))))).transpose(1, 2)
        x = x + self.positional_embedding[: x.shape[1]]
        kept = None
        for i, block in enumerate(self.blocks):
            x = block(x)
            if i == inner:
                kept = x
        return self.ln_post(x) if inner is None else (self.ln_post(x), kept)


class Decoder(nn.Module):
    """Works on compact rows (vocab.INDEX); the export spreads them over the full embedding."""

    def __init__(self, d, heads, layers):
        super().__init__()
        self.token_embedding = nn.Embedding(len(vocab.USED), d)
        self.positional_embedding = nn.Parameter(torch.randn(N_TEXT_CTX, d) * 0.02)
        self.blocks = nn.ModuleList(Block(d, heads, True) for _ in range(layers))
        self.ln = nn.LayerNorm(d)
        nn.init.normal_(self.token_embedding.weight, std=d**-0.5)

    def forward(self, tokens, audio):
        """Tokens are compact rows, -1 stands for a token with a zero row. Returns logits plus one
        column for all the unused rows together."""
        t = tokens.shape[1]
        emb = self.token_embedding(tokens.clamp(min=0)) * (tokens >= 0).unsqueeze(-1)
        x = emb + self.positional_embedding[:t]
        mask = torch.full((t, t), -1e9).triu(1)
        for block in self.blocks:
            x = block(x, audio, mask)
        logits = self.ln(x) @ self.token_embedding.weight[: vocab.N_TARGETS].T
        return torch.cat([logits, logits.new_full((*logits.shape[:2], 1), LOG_UNUSED)], -1)


class MiniWhisper(nn.Module):
    def __init__(self, n_state, n_head, n_audio_layer, n_text_layer, n_phones=1):
        super().__init__()
        self.encoder = Encoder(n_state, n_head, n_audio_layer)
        self.decoder = Decoder(n_state, n_head, n_text_layer)
        self.ctc = nn.Linear(n_state, 1 + len(vocab.WORDS))  # training aids only, not exported
        self.ctc_phones = nn.Sequential(nn.LayerNorm(n_state), nn.Linear(n_state, 1 + n_phones))


@torch.no_grad()
def greedy(model, mel, max_tokens=28):
    """Greedy decoding of a batch as whisper.cpp does it; returns lists of (token id, log-prob)."""
    audio = model.encoder(mel)
    index = [vocab.INDEX[vocab.SOT], vocab.INDEX[vocab.NOT]]
    tokens = torch.tensor([index] * len(mel))
    eot = vocab.INDEX[vocab.EOT]
    out = [[] for _ in range(len(mel))]
    done = [False] * len(mel)
    for step in range(max_tokens):
        logits = model.decoder(tokens, audio)[:, -1]
        if step == 0:
            logits[:, eot] = -1e9
        logp = logits.log_softmax(-1)
        best = logp[:, :-1].argmax(-1)
        for i, b in enumerate(best.tolist()):
            if not done[i]:
                out[i].append((vocab.USED[b], logp[i, b].item()))
                done[i] = b == eot
        if all(done):
            break
        tokens = torch.cat([tokens, best[:, None]], 1)
    return out


def text_of(tokens):
    return " ".join(
        vocab.WORDS[t - vocab.FIRST_WORD]
        for t, _ in tokens
        if vocab.FIRST_WORD <= t < vocab.FIRST_WORD + len(vocab.WORDS)
    )
