"""Settings change in the middle of a dictation, or cannot be saved."""

import json
import os
import resource
import unittest

from support import HOTKEY, MODEL, SET_ACTIVE_BUTTON, SettingsTest, wait_until

from desktop import Program

OTHER_HOTKEY = ("Control_L", "Alt_L", "d")


class Changes(SettingsTest):
    def setUp(self):
        super().setUp()
        self.addCleanup(self.desktop.start_tray().close)
        self.desktop.configure(hotkey="Ctrl+Shift+Space")

    def test_settings_applied_while_recording(self):
        """The hotkey's own keys repeat and are released while the hook is put in place again; nothing stays open."""
        self.start()
        for hardware in (True, False):
            with self.subTest(hardware=hardware):
                window = self.choose_settings()
                with self.keyboard.held(*HOTKEY, hardware=hardware):
                    self.desktop.speak("hello world")
                    self.click_apply(window)
                    self.desktop.speak("thank you")
                self.wait_for_transcription("hello world thank you")
                self.expect_pill("Pasted")
                self.expect_released_microphone()
                self.close_settings()

        # The recording that one hotkey has opened is ended by the other one.
        window = self.choose_settings()
        self.enter_hotkey(window, *OTHER_HOTKEY)
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak("hello world")
            self.click_apply(window)
        self.close_settings()
        self.hold_and_speak("thank you", OTHER_HOTKEY)
        self.expect_text("hello world thank you")
        self.expect_released_microphone()
        self.choose_quit()

    def saved(self):
        files = (self.desktop.settings_file, self.desktop.active_model_file, self.desktop.history_file)
        return [file.read_bytes() for file in files]

    def test_disk_is_full(self):
        """What was saved stays as it was; what cannot be saved is in force all the same."""
        self.desktop.install_model("base", MODEL)
        self.desktop.history_file.write_text('[{"text": "before", "timestamp": ""}]')
        before = self.saved()
        full = ["sh", "-c", "trap '' XFSZ; ulimit -S -f 0; exec \"$@\"", "sh"]  # no file can grow
        self.quillo = Program([*full, os.environ["QUILLO_BINARY"], "--verbose"], self.desktop.env)
        self.addCleanup(self.quillo.close)
        self.quillo.wait_for_line("Hotkey registered")
        window = self.choose_settings()
        self.click_button(SET_ACTIVE_BUTTON, window)
        self.enter_hotkey(window, *OTHER_HOTKEY)
        self.click_apply(window)
        self.close_settings()
        self.dictate("thank you", OTHER_HOTKEY)
        self.assertEqual(self.saved(), before)

        resource.prlimit(self.quillo.process.pid, resource.RLIMIT_FSIZE, resource.getrlimit(resource.RLIMIT_FSIZE))
        self.dictate("hello world", OTHER_HOTKEY)
        wait_until(lambda: self.saved() != before, "nothing is saved")
        texts = [entry["text"] for entry in json.loads(self.desktop.history_file.read_text())]
        self.assertEqual(texts, ["hello world", "before"])
        self.expect_orderly_end()


if __name__ == "__main__":
    unittest.main()
