#!/usr/bin/env python3
"""Shows one dictation from the spoken word to the pasted text, on a private desktop without any hardware."""

import argparse
import json
import sys
import threading
import time
from pathlib import Path

from desktop import HOTKEY, Desktop, see_overlay, wait_until

SENTENCE = "the quick brown fox jumps over the lazy dog"


def say(text):
    print(f"  {text}", flush=True)


class Album:
    """One picture of each state of the overlay, in the order in which they were seen."""

    def __init__(self, desktop, quillo, out):
        self._desktop, self._quillo, self._out = desktop, quillo, out
        self._states = []

    def look(self):
        """Saves a picture if the overlay shows something new; returns its state."""
        sight = see_overlay(self._desktop.screen, self._quillo)
        if not sight or not sight.state:
            return None
        if sight.state not in self._states:
            self._states.append(sight.state)
            sight.picture.save(self._out / f"{len(self._states)}-{sight.state.lower()}.png")
        return sight.state

    def wait_for(self, state):
        wait_until(lambda: self.look() == state, lambda: f"the overlay has shown only {self._states}")


def dictate(desktop, quillo, album):
    """One push-to-talk dictation; returns the milliseconds from the release of the key to the pasted text."""
    say(f"Holding Ctrl+Shift+Space and saying: {SENTENCE!r}")
    desktop.keyboard.press(*HOTKEY)
    quillo.wait_for_line("Starting recording")
    speech = threading.Thread(target=desktop.speak, args=[SENTENCE])
    speech.start()
    time.sleep(1.5)  # into the sentence
    album.wait_for("Listening")
    speech.join()
    released, *_ = desktop.keyboard.release(*reversed(HOTKEY))
    say("Released; recognising ...")
    album.wait_for("Pasted")
    return (desktop.editor.wait_for_text(SENTENCE) - released) / 1e6


def show_history(desktop):
    file = desktop.history_file
    wait_until(file.exists, lambda: f"no {file}")
    say("Newest entries of the history:")
    for entry in json.loads(file.read_text(encoding="utf-8"))[:3]:
        say(f"  {entry['timestamp']}  {entry['text']}")


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--binary", type=Path, required=True, help="the program, quillo")
    arguments.add_argument("--helpers", type=Path, required=True, help="folder of desktop_editor and desktop_keys")
    arguments.add_argument("--model", type=Path, required=True, help="speech model file")
    arguments.add_argument("--out", type=Path, required=True, help="folder for the screenshots")
    options = arguments.parse_args()
    options.out.mkdir(parents=True, exist_ok=True)
    for old in options.out.glob("[0-9]-*.png"):
        old.unlink()

    print("Quillo demo", flush=True)
    say("Starting a private screen, window manager, tray, microphone and text editor ...")
    with Desktop(options.helpers, options.binary) as desktop:
        desktop.start_tray()
        desktop.install_model("tiny", options.model)
        say("Starting Quillo with a throw-away profile and a tiny speech model ...")
        quillo = desktop.start_quillo()
        try:
            milliseconds = dictate(desktop, quillo, Album(desktop, quillo, options.out))
            say(f"Pasted into the editor: {desktop.editor.text!r}")
            say(f"From the release of the key to the text: {milliseconds:.0f} ms")
            say("Screenshots: " + ", ".join(str(file) for file in sorted(options.out.resolve().glob("[0-9]-*.png"))))
            show_history(desktop)
        except TimeoutError as failure:
            print(f"FAILED {failure}\n--- Quillo said:\n{quillo.tail()}", file=sys.stderr)
            return 1
        return 0


if __name__ == "__main__":
    sys.exit(main())
