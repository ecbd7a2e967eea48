#!/usr/bin/env python3
"""Shows one dictation from the spoken word to the pasted text, on a private desktop without any hardware."""

import argparse
import sys
from pathlib import Path

from desktop import HOTKEY, Desktop

SENTENCE = "the quick brown fox jumps over the lazy dog"


def say(text):
    print(f"  {text}", flush=True)


def dictate(desktop, quillo, out):
    """One push-to-talk dictation; returns the milliseconds from the release of the key to the pasted text."""
    say(f"Holding Ctrl+Shift+Space and saying: {SENTENCE!r}")
    desktop.keyboard.press(*HOTKEY)
    quillo.wait_for_line("Starting recording")
    desktop.screenshot(out / "1-listening.png")
    desktop.speak(SENTENCE)
    released, *_ = desktop.keyboard.release(*reversed(HOTKEY))
    say("Released; recognising ...")
    pasted = desktop.editor.wait_for_text(SENTENCE)
    desktop.screenshot(out / "2-pasted.png")
    return (pasted - released) / 1e6


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--binary", type=Path, required=True, help="the program, quillo")
    arguments.add_argument("--helpers", type=Path, required=True, help="folder of desktop_editor and desktop_keys")
    arguments.add_argument("--model", type=Path, required=True, help="speech model file")
    arguments.add_argument("--out", type=Path, required=True, help="folder for the screenshots")
    options = arguments.parse_args()
    options.out.mkdir(parents=True, exist_ok=True)

    print("Quillo demo", flush=True)
    say("Starting a private screen, window manager, microphone and text editor ...")
    with Desktop(options.helpers, options.binary) as desktop:
        desktop.install_model("tiny", options.model)
        say("Starting Quillo with a throw-away profile and a tiny speech model ...")
        quillo = desktop.start_quillo()
        try:
            milliseconds = dictate(desktop, quillo, options.out)
        except TimeoutError as failure:
            print(f"FAILED {failure}\n--- Quillo said:\n{quillo.tail()}", file=sys.stderr)
            return 1
        say(f"Pasted into the editor: {desktop.editor.text!r}")
        say(f"From the release of the key to the text: {milliseconds:.0f} ms")
        say(f"Screenshots: {options.out.resolve()}")
        return 0


if __name__ == "__main__":
    sys.exit(main())
