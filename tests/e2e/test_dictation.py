"""Push-to-talk dictation with real keys, sound and recognition."""

import signal
import unittest

from support import HOTKEY, DesktopTest

SENTENCES = [
    # text, voice, words a minute, loudness (100 is the synthesiser's usual one), keys of the hardware or of XTest
    ("the quick brown fox jumps over the lazy dog", "en-us", 150, 100, True),
    ("please send the report to the team", "en-gb", 130, 100, False),
    ("delete this message and start again", "en-us+f2", 175, 60, True),
    ("one two three four five", "en-us+m7", 150, 20, False),
    ("open the blue window later", "en-gb", 175, 10, False),
]


class Dictation(DesktopTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.quillo = cls.desktop.start_quillo()

    def setUp(self):
        super().setUp()
        self.quillo.skip()

    def test_spoken_sentence_is_pasted(self):
        for text, voice, speed, amplitude, hardware in SENTENCES:
            with self.subTest(text, voice=voice, speed=speed, amplitude=amplitude):
                self.dictate(text, hardware, voice=voice, speed=speed, amplitude=amplitude)
                self.expect_released_microphone()

    def test_word_shorter_than_a_second_is_recognised(self):
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak("yes", silence=0.05)
        captured = self.captured_samples()
        recognised = int(self.quillo.wait_for_line(r"Transcribing (\d+) samples")[1])
        self.assertEqual(recognised, max(captured, 16000))
        self.expect_paste("yes")

    def test_silence_pastes_nothing(self):
        with self.keyboard.held(*HOTKEY):
            self.desktop.keep_silent(1.5)
        self.assertGreater(self.captured_samples(), 16000)
        self.dictate("hello world")

    def test_second_dictation_may_start_while_the_first_is_recognised(self):
        self.hold_and_speak("good morning team")
        self.hold_and_speak("one two three four five")
        self.expect_text("good morning teamone two three four five")
        self.assertEqual(self.editor.pastes(), 2)

    def test_any_key_of_the_hotkey_may_be_released_first(self):
        for first in HOTKEY:
            with self.subTest(first=first):
                self.editor.clear()
                self.keyboard.press(*HOTKEY, hardware=True)
                self.desktop.speak("call my team on friday afternoon")
                self.keyboard.release(first, hardware=True)
                self.quillo.wait_for_line("Stopping recording")
                self.keyboard.release(*(key for key in HOTKEY if key != first), hardware=True)
                self.expect_text("call my team on friday afternoon")
                self.assertEqual(self.editor.pastes(), 1)
                self.assertNotIn("press Space", self.editor.keys())

    @classmethod
    def tearDownClass(cls):
        cls.quillo.signal(signal.SIGTERM)
        assert cls.quillo.wait() == 0, cls.quillo.tail()


if __name__ == "__main__":
    unittest.main()
