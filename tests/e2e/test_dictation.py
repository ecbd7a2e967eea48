"""Push-to-talk dictation with real keys, sound and recognition, and what the overlay shows of it."""

import signal
import socket
import unittest

from support import FOX, HOTKEY, RECOGNITION, DesktopTest, find_overlay, wait_until

SENTENCES = [
    # text, voice, words a minute, loudness (100 is the synthesiser's usual one), keys of the hardware or of XTest
    (FOX, "en-us", 150, 100, True),
    ("please send the report to the team", "en-gb", 130, 100, False),
    ("delete this message and start again", "en-us+f2", 175, 60, True),
    ("one two three four five", "en-us+m7", 150, 20, False),
    ("open the blue window later", "en-gb", 175, 10, False),
]


class Dictation(DesktopTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.desktop.env["GGML_BACKEND_PATH"] = "/nowhere/libggml-foreign.so"
        cls.quillo = cls.desktop.start_quillo()

    def test_spoken_sentence_is_pasted(self):
        for number, (text, voice, speed, amplitude, hardware) in enumerate(SENTENCES):
            first = HOTKEY[number % len(HOTKEY)]  # any of the keys may be released first
            with self.subTest(text, voice=voice, speed=speed, amplitude=amplitude, first=first):
                self.editor.clear()
                self.quillo.skip()
                self.keyboard.press(*HOTKEY, hardware=hardware)
                self.desktop.speak(text, voice, speed, amplitude)
                self.keyboard.release(first, hardware=hardware)
                self.quillo.wait_for_line("Stopping recording")
                self.keyboard.release(*(key for key in HOTKEY if key != first), hardware=hardware)
                self.expect_text(text)
                self.assertEqual(self.editor.pastes(), 1)
                self.assertNotIn("press Space", self.editor.keys())
                self.expect_released_microphone()

    @classmethod
    def tearDownClass(cls):
        cls.quillo.signal(signal.SIGTERM)
        assert cls.quillo.wait(RECOGNITION) == 0, cls.quillo.tail()
        assert cls.quillo.count("libggml-foreign") == 0  # no library that the environment names is even tried


class Overlay(DesktopTest):
    def expect_pill(self, state):
        super().expect_pill(state)
        self.assertEqual(self.screen.focus(), self.focus)

    def test_each_state_is_shown_and_takes_neither_focus_nor_mouse(self):
        silent_proxy = socket.create_server(("127.0.0.1", 0))  # requests wait until it goes, and fail then
        self.desktop.env["https_proxy"] = "http://127.0.0.1:%d" % silent_proxy.getsockname()[1]
        self.desktop.configure(transcriptionSource="openai", openaiKey="sk-none", openaiEnabled=True)
        self.start()
        editor = self.screen.wait_for_window("Text editor")
        self.focus = self.screen.focus()

        with self.keyboard.held(*HOTKEY):
            self.expect_pill("Listening")
            self.desktop.speak(FOX)
        self.expect_pill("Processing")

        # The window below gets the click.
        self.screen.move_window(editor.id, editor.x, 20)
        pill = find_overlay(self.screen, self.quillo)
        self.screen.click(pill.x + pill.width // 2, pill.y + pill.height // 2)
        wait_until(lambda: self.editor.clicks() == 1, "the pill has taken the click")
        self.expect_pill("Processing")  # still above the window

        silent_proxy.close()
        self.expect_pill("Pasted")
        self.expect_paste(FOX)
        wait_until(lambda: not find_overlay(self.screen, self.quillo), "the pill does not go away")
        with self.keyboard.held(*HOTKEY):
            self.desktop.keep_silent(1.5)
        self.expect_pill("Error")
        self.expect_orderly_end()
        self.assertEqual(self.editor.pastes(), 1)


if __name__ == "__main__":
    unittest.main()
