"""What the end-to-end tests share: a desktop for each class, and dictation into its editor."""

import os
import signal
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))

from desktop import HOTKEY, Desktop, wait_until  # noqa: E402

MODEL = ROOT / "tests/data/ggml-mini.bin"


class DesktopTest(unittest.TestCase):
    """A test on a private desktop whose editor is empty at its start, with the program that it starts in `quillo`.

    QUILLO_BINARY names the program, QUILLO_HELPERS the folder of desktop_editor and desktop_keys.
    """

    microphone = True

    @classmethod
    def setUpClass(cls):
        cls.desktop = cls.enterClassContext(
            Desktop(os.environ["QUILLO_HELPERS"], os.environ["QUILLO_BINARY"], cls.microphone)
        )
        cls.desktop.install_model("tiny", MODEL)
        cls.keyboard, cls.editor = cls.desktop.keyboard, cls.desktop.editor

    def setUp(self):
        self.editor.clear()

    def hold_and_speak(self, text, hardware=False, **speech):
        """Holds the hotkey while the text is spoken."""
        with self.keyboard.held(*HOTKEY, hardware=hardware):
            self.desktop.speak(text, **speech)

    def expect_text(self, text):
        """Waits until the editor holds exactly this text."""
        try:
            self.editor.wait_for_text(text)
        except TimeoutError as failure:
            self.fail(f"{failure}\nthe program's output:\n{self.quillo.tail()}")

    def expect_paste(self, text):
        """Waits until the text was pasted, and by one paste alone, without a key of the hotkey reaching the editor."""
        self.expect_text(text)
        self.assertEqual(self.editor.pastes(), 1)
        self.assertEqual([key for key in self.editor.keys() if "Space" in key], [])

    def expect_released_microphone(self):
        """Waits until nothing records any more, and every recording that was opened has been closed."""
        wait_until(lambda: self.desktop.microphone.listeners() == 0, lambda: f"still open:\n{self.quillo.tail()}")
        self.assertEqual(self.quillo.count("Starting recording"), self.quillo.count("Stopping recording"))

    def captured_samples(self):
        """Waits for the next recording to be over; returns its length."""
        return int(self.quillo.wait_for_line(r"^\[Quillo\] Captured (\d+) samples")[1])

    def expect_orderly_end(self, number=signal.SIGTERM):
        """Asks the program to end; it finishes its work before, and succeeds."""
        self.quillo.signal(number)
        self.assertEqual(self.quillo.wait(), 0, self.quillo.tail())
