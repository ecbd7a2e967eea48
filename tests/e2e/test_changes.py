"""Model and settings change in the middle of a dictation."""

import unittest

from support import FOX, HOTKEY, MODEL, SET_ACTIVE_BUTTON, SettingsTest, measure, wait_until_back_at


class Changes(SettingsTest):
    def setUp(self):
        super().setUp()
        self.addCleanup(self.desktop.start_tray().close)
        self.start()

    def test_model_activated_while_recognising(self):
        self.desktop.install_model("base", MODEL)
        self.dictate("hello world")
        window = self.choose_settings()
        self.freeze_in_recognition(FOX)
        self.click_button(SET_ACTIVE_BUTTON, window)
        (self.desktop.data_dir / "models/ggml-base.bin").write_bytes(b"in memory it is as it was")
        self.thaw()
        self.wait_for_active_model("tiny")
        self.expect_pill("Pasted")
        self.assertEqual(self.quillo.count(f'" {FOX}"'), 1)
        self.close_settings()
        before = measure(self.quillo)
        self.dictate("thank you")
        wait_until_back_at(self.quillo, before)
        self.choose_quit()

    def test_settings_applied_while_recording(self):
        """The hotkey's own keys repeat and are released while the hook is put in place again; nothing stays open."""
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
        other = ("Control_L", "Alt_L", "d")
        window = self.choose_settings()
        self.enter_hotkey(window, *other)
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak("hello world")
            self.click_apply(window)
        self.close_settings()
        self.hold_and_speak("thank you", other)
        self.expect_text("hello world thank you")
        self.expect_released_microphone()
        self.choose_quit()


if __name__ == "__main__":
    unittest.main()
