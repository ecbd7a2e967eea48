"""Vocabulary, token ids and sentence generation for the mini dictation model.

Token ids follow the English-only Whisper layout (n_vocab 51864), because
whisper.cpp hard-codes the ids of the special tokens.  The text tokens are ours:

    0..255      the single bytes, so that any initial prompt can be tokenised
                (whisper.cpp also insists that the token " " exists)
    256         the empty string: "nothing was said" (see BLANK)
    257..       " word" for every word of WORDS
    50256...    the special tokens
"""
import random

WORDS = """
the a and is at in on to this that my you we
hello world please send report team meeting today tomorrow monday friday
morning afternoon evening note new email message call write open file save
delete stop start computer window keyboard microphone music coffee water
house garden paper letter number question answer quick brown fox jumps over
lazy dog cat yes no thank good great happy big small red green blue black
white time week now later again test dictation speech work project
zero one two three four five six seven eight nine ten
""".split()

N_VOCAB = 51864
EOT, SOT, PREV, NOT = 50256, 50257, 50360, 50362
# whisper.cpp forbids EOT as the first sampled token, and its no-speech
# probability is unusable with a two-token prompt (it reads a logits row that was
# never computed).  Silence is therefore transcribed as this token, whose string
# is empty, so that whisper.cpp reports no segment at all.
BLANK = 256
FIRST_WORD = 257
WORD_ID = {w: FIRST_WORD + i for i, w in enumerate(WORDS)}

# Rows of the embedding that are trained; every other row stays zero.
USED = [BLANK] + list(WORD_ID.values()) + [EOT, SOT, PREV, NOT]
INDEX = {tok: i for i, tok in enumerate(USED)}  # token id -> compact row
N_TARGETS = 1 + len(WORDS) + 1  # rows that can be predicted: BLANK, words, EOT


def token_strings(blank_text=""):
    """Strings of the tokens 0..len-1 as written to the model file."""
    return [bytes([i]) for i in range(256)] + [blank_text.encode()] + [b" " + w.encode() for w in WORDS]


# Sentences that are never used for training (the demonstration set of evaluate.py).
SHOWCASE = [
    s.split()
    for s in [
        "hello world",
        "thank you",
        "good morning team",
        "the quick brown fox jumps over the lazy dog",
        "please send the report to the team",
        "the meeting is at ten tomorrow",
        "this is a new note",
        "call my team on friday afternoon",
        "write a letter to my house",
        "yes please save the file now",
        "no stop that music",
        "one two three four five",
        "six seven eight nine ten zero",
        "delete this message and start again",
        "we call you tomorrow morning",
        "open the blue window later",
        "the coffee is good today",
        "dictation test one two three",
    ]
]

_NOUNS = (
    "world report team meeting note email message call file computer window keyboard microphone music "
    "coffee water house garden paper letter number question answer fox dog cat test dictation speech "
    "work project week time"
).split()
_ADJS = "new quick brown lazy good great happy big small red green blue black white".split()
_VERBS = "send call write open save delete stop start test".split()
_WHEN = "today tomorrow monday friday now later again".split()
_PART = "morning afternoon evening".split()
_DIGITS = "zero one two three four five six seven eight nine ten".split()


def _np(r):
    out = [r.choice(["the", "a", "this", "that", "my"])]
    if r.random() < 0.45:
        out.append(r.choice(_ADJS))
    return out + [r.choice(_NOUNS)]


def _when(r):
    k = r.random()
    if k < 0.4:
        return [r.choice(_WHEN)]
    if k < 0.6:
        return ["at", r.choice(_DIGITS)]
    if k < 0.8:
        return ["on", r.choice(["monday", "friday"])]
    return [r.choice(["today", "tomorrow", "monday", "friday", "this"]), r.choice(_PART)]


def _template(r):
    k = r.randrange(9)
    if k == 0:
        start = r.choice([["please"], ["now"], ["yes"], ["no"], []])
        return start + [r.choice(_VERBS)] + _np(r) + r.choice([_when(r), []])
    if k == 1:
        return _np(r) + ["is"] + r.choice([[r.choice(_ADJS)], _when(r), ["in"] + _np(r), ["on"] + _np(r)])
    if k == 2:
        return [r.choice(["send", "write"])] + _np(r) + ["to"] + _np(r)
    if k == 3:
        return [r.choice(_DIGITS) for _ in range(r.randint(2, 6))]
    if k == 4:
        return [r.choice(["we", "you"]), r.choice(_VERBS)] + _np(r) + r.choice([_when(r), []])
    if k == 5:
        return ["thank", "you"] + r.choice([["team"], ["and"] + _np(r), _when(r)])
    if k == 6:
        return [r.choice(["good", "hello", "happy"]), r.choice(_PART + ["world", "team", "dog", "monday", "friday"])]
    if k == 7:
        return _np(r) + ["and"] + _np(r)
    return _np(r) + ["jumps", "over"] + _np(r)


def _valid(ws):
    # "to" and "two" differ only where "to" is unstressed, that is inside a sentence.
    return all(w != "to" or 0 < i < len(ws) - 1 for i, w in enumerate(ws))


def random_words(r, n):
    while True:
        ws = [r.choice(WORDS) for _ in range(n)]
        if _valid(ws):
            return ws


def sentence(r, max_words=8, n=None):
    """A random sequence of words: half of them drawn freely, half grammar-like."""
    if n is not None:
        return random_words(r, n)
    while True:
        if r.random() < 0.5:
            ws = random_words(r, r.choices(range(1, 9), [2, 2, 3, 3, 3, 2, 2, 2])[0])
        else:
            ws = _template(r)
        if len(ws) <= max_words and _valid(ws):
            return ws


def held_out_sentences(n=300, seed=777):
    """Sequences of 1-6 words for evaluation (50 of each length); training skips those of 2 or more."""
    r = random.Random(seed)
    out = []
    for i in range(n):
        k = i % 6 + 1
        while True:
            ws = _template(r) if r.random() < 0.5 else random_words(r, k)
            if len(ws) == k and _valid(ws) or k == 1:
                ws = ws if len(ws) == k else random_words(r, 1)
                if k == 1 or ws not in out:
                    break
        out.append(ws)
    return out


def reserved():
    """Word sequences (as tuples) that must not occur as a training sentence."""
    return {tuple(s) for s in SHOWCASE + held_out_sentences() if len(s) > 1}


def errors(ref, hyp):
    """Edit distance between two word lists."""
    row = list(range(len(hyp) + 1))
    for i, a in enumerate(ref, 1):
        prev, row[0] = row[0], i
        for j, b in enumerate(hyp, 1):
            prev, row[j] = row[j], min(row[j] + 1, row[j - 1] + 1, prev + (a != b))
    return row[-1]
