"""What the overlay shows during a dictation, and that it is in nobody's way."""

import contextlib
import threading
import unittest

from support import HOTKEY, DesktopTest, wait_until

LEVEL_COLOUR = (0x7C, 0x6A, 0xEF)


class Overlay(DesktopTest):
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
        proxy_fails = self.use_silent_proxy()
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

        proxy_fails.set()
        self.expect_pill("Pasted")
        self.expect_paste("the quick brown fox jumps over the lazy dog")
        wait_until(lambda: self.pill() is None, lambda: "the pill does not go away")
        self.assertEqual(self.screen.focus(), focus)

        with self.keyboard.held(*HOTKEY):
            self.desktop.keep_silent(1.5)
        self.expect_pill("Error")
        self.assertEqual(self.screen.focus(), focus)
        self.expect_orderly_end()


if __name__ == "__main__":
    unittest.main()
