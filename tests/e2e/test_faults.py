"""The program on a machine where something is missing or damaged: it lives on and pastes nothing wrong."""

import unittest

from support import HOTKEY, MODEL, DesktopTest


class BadModel(DesktopTest):
    def setUp(self):
        super().setUp()
        self.use_silent_proxy().set()  # the other source gives up at once, too
        self.desktop.configure(openaiKey="sk-none", openaiEnabled=True)

    def expect_no_text(self):
        """A dictation that comes to nothing and leaves the program able to end in order."""
        self.start()
        self.hold_and_speak("hello world")
        self.assertGreater(self.captured_samples(), 0)
        self.expect_pill("Error")
        self.expect_orderly_end()
        self.assertEqual((self.editor.text, self.editor.pastes()), ("", 0))

    def test_no_model(self):
        self.desktop.remove_models()
        self.expect_no_text()
        self.assertEqual(self.quillo.count("Trying local transcription"), 0)

    def test_damaged_model(self):
        contents = {
            "error page instead of the model": b"<!DOCTYPE html>\n<html><body>Not found</body></html>\n" * 100,
            "cut within the header": MODEL.read_bytes()[:2048],
        }
        damaged = self.desktop.root / "damaged.bin"
        for what, content in contents.items():
            with self.subTest(what):
                damaged.write_bytes(content)
                self.desktop.install_model("tiny", damaged)
                self.expect_no_text()


class OccupiedHotkey(DesktopTest):
    def test_dictation_works_all_the_same(self):
        self.keyboard.send("grab space")
        self.start()
        self.assertEqual(self.quillo.count("'Ctrl\\+Shift\\+Space' may be registered by another application"), 1)
        self.dictate("six seven eight nine ten zero")
        self.expect_orderly_end()


class NoMicrophone(DesktopTest):
    microphone = False

    def test_nothing_is_captured_and_nothing_pasted(self):
        self.start()
        for _ in range(2):
            with self.keyboard.held(*HOTKEY):
                self.quillo.wait_for_line("Starting recording")
            self.assertEqual(self.captured_samples(), 0)
            self.expect_pill("Error")
        self.expect_orderly_end()
        self.assertEqual((self.editor.text, self.editor.pastes()), ("", 0))


if __name__ == "__main__":
    unittest.main()
