"""Speech models of the published sizes without their training: weights of zero, but for those that end a text at once.

Loading, memory and encoder cost what they cost with a model of that size, since nothing in whisper.cpp depends on the
values; the decoder has one step only.
"""

import struct
from math import prod

# words, width, attention heads, layers of encoder and of decoder, bands of the spectrogram
SHAPES = {
    "base": (51865, 512, 8, 6, 80),
    "small": (51865, 768, 12, 12, 80),
    "medium": (51865, 1024, 16, 24, 80),
    "large-v3": (51866, 1280, 20, 32, 128),
}

SINGLE, HALF = 0, 1  # number formats of the file
END_OF_TEXT = 50257
AUDIO_FRAMES, TEXT_TOKENS, SPECTRUM = 1500, 448, 201


def header(words, width, heads, layers, bands):
    numbers = [words, AUDIO_FRAMES, width, heads, layers, TEXT_TOKENS, width, heads, layers, bands, HALF]
    return struct.pack("<I11i", 0x67676D6C, *numbers) + struct.pack("<2i", bands, SPECTRUM) + bytes(bands * SPECTRUM * 4)


def vocabulary():
    texts = [b" " if number == 220 else b"w%d" % number for number in range(END_OF_TEXT)]
    return struct.pack("<i", len(texts)) + b"".join(struct.pack("<i", len(text)) + text for text in texts)


def linear(name, out, into, bias=True):
    yield name + ".weight", (out, into), HALF, b""
    if bias:
        yield name + ".bias", (out,), SINGLE, b""


def norm(name, width):
    yield name + ".weight", (width,), SINGLE, struct.pack("<f", 1) * width
    yield name + ".bias", (width,), SINGLE, b""


def block(name, width, attentions):
    for attention in attentions:
        for part in ("query", "key", "value", "out"):
            yield from linear(f"{name}.{attention}.{part}", width, width, bias=part != "key")
        yield from norm(f"{name}.{attention}_ln", width)
    yield from linear(name + ".mlp.0", 4 * width, width)
    yield from linear(name + ".mlp.2", width, 4 * width)
    yield from norm(name + ".mlp_ln", width)


def tensors(words, width, layers, bands):
    """Name, shape, number format and the first bytes of each; the rest is zero."""
    yield "encoder.positional_embedding", (AUDIO_FRAMES, width), SINGLE, b""
    for number, into in ((1, bands), (2, width)):
        yield f"encoder.conv{number}.weight", (width, into, 3), HALF, b""
        yield f"encoder.conv{number}.bias", (width, 1), SINGLE, b""
    for layer in range(layers):
        yield from block(f"encoder.blocks.{layer}", width, ["attn"])
        yield from block(f"decoder.blocks.{layer}", width, ["attn", "cross_attn"])
    yield from norm("encoder.ln_post", width)
    yield "decoder.positional_embedding", (TEXT_TOKENS, width), SINGLE, b""
    # The decoder's last norm gives (1, 0, 0, ...) whatever comes in, which only the end of the text looks like.
    yield "decoder.token_embedding.weight", (words, width), HALF, bytes(END_OF_TEXT * width * 2) + struct.pack("<e", 20)
    yield "decoder.ln.weight", (width,), SINGLE, b""
    yield "decoder.ln.bias", (width,), SINGLE, struct.pack("<f", 1)


def write_model(file, shape):
    words, width, heads, layers, bands = SHAPES[shape]
    with open(file, "wb") as out:
        out.write(header(words, width, heads, layers, bands) + vocabulary())
        for name, sizes, form, begin in tensors(words, width, layers, bands):
            numbers = [len(sizes), len(name), form, *reversed(sizes)]
            out.write(struct.pack(f"<{len(numbers)}i", *numbers) + name.encode() + begin)
            out.seek(prod(sizes) * (2 if form == HALF else 4) - len(begin), 1)
        out.truncate()
