"""Model and settings change in the middle of a dictation."""

import unittest

import common  # noqa: F401
import vitals
from support import HOTKEY, MODEL, SET_ACTIVE_BUTTON, SettingsTest

FOX = "the quick brown fox jumps over the lazy dog"


class Changes(SettingsTest):
    def setUp(self):
        super().setUp()
        self.desktop.remove_models()
        self.desktop.configure(hotkey="Ctrl+Shift+Space")
        self.desktop.install_model("base", MODEL)
        self.file = self.desktop.data_dir / "models/ggml-base.bin"
        self.start()

    def test_model_file_changes_while_recognising(self):
        def delete():
            self.file.unlink()

        def replace():
            other = self.file.with_suffix(".other")
            other.write_bytes(b"not a model" * 1000)
            other.replace(self.file)

        def overwrite():
            self.file.write_bytes(b"neither")

        for change in (replace, overwrite, delete):
            with self.subTest(change.__name__):
                self.freeze_in_recognition(FOX)
                change()
                self.thaw()
                self.expect_paste(FOX)
                self.dictate("thank you")  # the model is in memory
        self.expect_orderly_end()
        self.desktop.install_model("base", MODEL)
        self.start()
        self.dictate("hello world")
        self.expect_orderly_end()

    def test_model_activated_while_recognising(self):
        self.desktop.install_model("tiny", MODEL)
        self.active_model_file.write_text("base")
        self.start_tray()
        self.dictate("hello world")
        window = self.choose_settings()
        button = self.wait_for_row(SET_ACTIVE_BUTTON, window)
        self.freeze_in_recognition(FOX)
        self.screen.click(button.x + button.width // 2, button.y + 4)
        self.thaw()
        self.wait_for_active_model("tiny")
        self.expect_pill("Pasted")
        self.assertEqual(self.quillo.count(f'" {FOX}"'), 1)
        self.close_settings()
        before = vitals.measure(self.quillo)
        self.dictate("thank you")
        vitals.wait_until_back_at(self.quillo, before)
        self.choose_quit()

    def test_settings_applied_while_recording(self):
        """The hotkey's own keys repeat and are released while the hook is put in place again; nothing stays open."""
        self.start_tray()
        for hardware in (True, False):
            with self.subTest(hardware=hardware):
                window = self.choose_settings()
                self.quillo.skip()
                with self.keyboard.held(*HOTKEY, hardware=hardware):
                    self.desktop.speak("hello world")
                    self.click_apply(window)
                    self.quillo.wait_for_line("Settings applied")
                    self.desktop.speak("thank you")
                self.assertEqual(self.quillo.wait_for_line('Transcription: "(.*)"')[1], " hello world thank you")
                self.expect_pill("Pasted")
                self.expect_released_microphone()
                self.close_settings()
        self.dictate("good morning")
        self.choose_quit()

    def test_other_hotkey_applied_while_recording(self):
        """The recording that the old one has opened is ended by the new one."""
        self.start_tray()
        window = self.choose_settings()
        self.type_hotkey(window, "Control_L", "Alt_L", "d")
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak("hello world")
            self.click_apply(window)
            self.quillo.wait_for_line("Settings applied")
        self.close_settings()
        with self.keyboard.held("Control_L", "Alt_L", "d"):
            self.desktop.speak("thank you")
        self.expect_text("hello world thank you")
        self.expect_released_microphone()
        self.choose_quit()


if __name__ == "__main__":
    unittest.main()
