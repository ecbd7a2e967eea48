"""What the overlay shows during dictations, that it is in nobody's way, and what is left in the history."""

import contextlib
import json
import threading
import unittest

from support import HOTKEY, DesktopTest, wait_until

LEVEL_COLOUR = (0x7C, 0x6A, 0xEF)


class Overlay(DesktopTest):
    def setUp(self):
        super().setUp()
        self.desktop.history_file.unlink(missing_ok=True)

    @contextlib.contextmanager
    def speaking(self, text):
        """Says the text while the block runs, and to its end."""
        speech = threading.Thread(target=self.desktop.speak, args=[text])
        speech.start()
        try:
            yield
        finally:
            speech.join()

    def expect_level_bar(self):
        """Waits for the bar that a voice moves, at the lower edge of the pill."""

        def bar():
            pill = self.pill()
            area = pill._replace(x=pill.x + 10, y=pill.y + 49, width=180, height=5)
            picture = self.screen.picture()
            return picture if picture.count(LEVEL_COLOUR, area) > 20 else None

        self.keep(wait_until(bar, lambda: "no level bar"), "level")

    def test_each_state_is_shown_and_takes_neither_focus_nor_mouse(self):
        proxy = self.use_silent_proxy()
        self.desktop.configure(transcriptionSource="openai", openaiKey="sk-none", openaiEnabled=True)
        self.start()
        editor = self.screen.wait_for_window("Text editor")
        self.assertIsNone(self.pill())
        focus = self.screen.focus()

        with self.keyboard.held(*HOTKEY):
            with self.speaking("the quick brown fox jumps over the lazy dog"):
                self.expect_pill("Listening")
                self.expect_level_bar()
        self.expect_pill("Processing")
        self.assertEqual(self.screen.focus(), focus)

        # The window below gets the click.
        self.screen.move_window(editor.id, editor.x, 20)
        pill = self.pill()
        self.screen.click(pill.x + pill.width // 2, pill.y + pill.height // 2)
        wait_until(lambda: self.editor.clicks() == 1, lambda: "the pill has taken the click")
        self.expect_pill("Processing")  # still above the window
        self.assertEqual(self.screen.focus(), focus)

        proxy.fail()
        self.expect_pill("Pasted")
        self.expect_paste("the quick brown fox jumps over the lazy dog")
        wait_until(lambda: self.pill() is None, lambda: "the pill does not go away")
        self.assertEqual(self.screen.focus(), focus)

        with self.keyboard.held(*HOTKEY):
            self.desktop.keep_silent(1.5)
        self.expect_pill("Error")
        self.assertEqual(self.screen.focus(), focus)
        self.expect_orderly_end()

    def test_dictation_right_after_a_paste_keeps_the_pill(self):
        self.desktop.configure(hotkey="Ctrl+Shift+Space")
        self.start()
        self.hold_and_speak("thank you")
        self.expect_pill("Pasted")
        with self.keyboard.held(*HOTKEY):
            self.quillo.wait_for_line("Starting recording")
            with self.speaking("call my team on friday afternoon"):
                self.expect_pill("Listening")
            # By now, the time after which the pill would have gone is over.
            self.expect_pill("Listening")
        self.expect_text("thank youcall my team on friday afternoon")
        self.expect_orderly_end()

    def test_toggled_dictations_are_kept_in_the_history(self):
        self.desktop.configure(toggleMode=True)
        self.start()
        self.assertEqual(self.quillo.count("push-to-talk: no"), 1)
        texts = ["good morning team", "one two three four five"]
        for number, text in enumerate(texts, 1):
            self.tap_hotkey()
            self.quillo.wait_for_line("Starting recording")
            self.desktop.speak(text)
            self.tap_hotkey()
            self.expect_text("".join(texts[:number]))
        self.expect_orderly_end()
        history = self.desktop.history_file
        self.assertEqual(history.stat().st_mode & 0o777, 0o600)
        entries = json.loads(history.read_text(encoding="utf-8"))
        self.assertEqual([entry["text"] for entry in entries], texts[::-1])
        for entry in entries:
            self.assertRegex(entry["timestamp"], r"^[A-Z][a-z]{2} \d\d, \d\d:\d\d$")

    def tap_hotkey(self):
        with self.keyboard.held(*HOTKEY):
            pass


if __name__ == "__main__":
    unittest.main()
