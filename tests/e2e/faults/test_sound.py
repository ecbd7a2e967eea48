"""The sound server dies and comes back."""

import signal
import unittest

import common  # noqa: F401
import vitals
from support import HOTKEY, DesktopTest


class SoundServer(DesktopTest):
    def setUp(self):
        super().setUp()
        self.start()
        self.dictate("hello world")
        self.before = vitals.measure(self.quillo)

    def dictate(self, text):
        self.editor.clear()
        self.quillo.skip()
        self.hold_and_speak(text)
        self.expect_paste(text)

    def expect_deafness(self):
        """A dictation without a microphone comes to nothing, and says so."""
        self.editor.clear()
        self.quillo.skip()
        with self.keyboard.held(*HOTKEY):
            self.quillo.wait_for_line("Starting recording")
        self.assertEqual(self.captured_samples(), 0)
        self.expect_pill("Error")
        self.assertEqual((self.editor.text, self.editor.pastes()), ("", 0))

    def expect_recovery(self):
        self.desktop.microphone.restart_server()
        self.dictate("thank you")
        self.expect_released_microphone()
        vitals.wait_until_back_at(self.quillo, self.before)
        self.expect_orderly_end()

    def kill_while_recording(self, text):
        """The words that were heard before are pasted."""
        self.editor.clear()
        self.quillo.skip()
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak(text)
            self.desktop.microphone.kill_server()
        self.expect_paste(text)

    def test_killed_while_recording(self):
        self.kill_while_recording("good morning team")
        self.expect_deafness()
        self.expect_recovery()

    def test_killed_between_dictations_twice(self):
        for _ in range(2):
            self.desktop.microphone.kill_server()
            self.expect_deafness()
            self.desktop.microphone.restart_server()
            self.dictate("one two three four five")
        self.desktop.microphone.kill_server()
        self.expect_recovery()

    def test_back_before_the_key_is_released(self):
        """A recording that has lost its microphone does not find the new one; the next recording does."""
        self.editor.clear()
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak("please send the report to the team")
            self.desktop.microphone.kill_server()
            self.desktop.microphone.restart_server()
        self.expect_paste("please send the report to the team")
        self.dictate("thank you")
        vitals.wait_until_back_at(self.quillo, self.before)
        self.expect_orderly_end()

    def test_end_without_a_sound_server(self):
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak("thank you")
            self.desktop.microphone.kill_server()
            self.expect_orderly_end(signal.SIGTERM)
        self.expect_text("hello worldthank you")
        self.desktop.microphone.restart_server()


if __name__ == "__main__":
    unittest.main()
