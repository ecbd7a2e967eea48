"""A user's first way through the settings window: get a model, dictate, look at the history, choose another hotkey."""

import unittest

import private_network
from support import ACCENT, HOTKEY, MODEL, SET_ACTIVE_BUTTON, SettingsTest, wait_until

CLEAR_HISTORY_BUTTON = (0x7F, 0x1D, 0x1D)

TINY = "huggingface.co/ggerganov/whisper.cpp/resolve/main/ggml-tiny.bin"
STORAGE = "huggingface.co/storage/tiny"


class Settings(private_network.ServicesTest, SettingsTest):
    def setUp(self):
        super().setUp()
        self.desktop.remove_models()
        self.start()
        self.start_tray()

    def test_first_use(self):
        self.services.answer_all(
            {
                TINY: {"status": 302, "headers": {"Location": f"https://{STORAGE}"}},
                STORAGE: {"file": str(MODEL), "chunk": 2**20, "delay": 0.1},
            }
        )
        self.get_model()
        self.hold_and_speak("hello world")
        self.expect_paste("hello world")
        self.copy_from_history("hello world")
        self.choose_hotkey()
        with self.keyboard.held("Control_L", "Alt_L", "d"):
            self.desktop.speak("good morning")
        self.expect_text("good morning")
        self.choose_quit()

    def get_model(self):
        window = self.choose_settings()
        self.click_button(ACCENT, window)
        self.click_button(SET_ACTIVE_BUTTON, window)
        active = self.desktop.data_dir / "config/active_model.txt"
        wait_until(lambda: active.exists() and active.read_text() == "tiny", lambda: "the model is not active")
        self.keep(self.screen.picture(), "models")
        models = self.desktop.data_dir / "models"
        self.assertEqual([file.name for file in models.iterdir()], ["ggml-tiny.bin"])
        self.assertEqual((models / "ggml-tiny.bin").read_bytes(), MODEL.read_bytes())
        self.close_settings()

    def copy_from_history(self, text):
        window = self.choose_settings()
        self.open_tab(window, "History")
        clear = self.wait_for_row(CLEAR_HISTORY_BUTTON, window)
        self.screen.click(window.x + 100, window.y + 130)  # the newest entry
        self.keep(self.screen.picture(), "history")
        self.screen.click(clear.x - 60, clear.y + 4)  # "Copy Selected"
        self.close_settings()
        with self.keyboard.held("Control_L"):
            self.keyboard.tap("v")
        self.editor.wait_for_text(text)
        self.editor.clear()

    def choose_hotkey(self):
        window = self.choose_settings()
        self.type_hotkey(window, "Control_L", "Alt_L", "d")
        self.keep(self.screen.picture(), "hotkey")
        self.click_apply(window)
        self.quillo.wait_for_line(r"Hotkey registered: Ctrl\+Alt\+D")
        self.close_settings()
        with self.keyboard.held(*HOTKEY[:-1]):
            self.keyboard.tap(HOTKEY[-1])
        self.editor.wait_for_key("release Space")  # the old one is a key like any other
        self.editor.clear()


if __name__ == "__main__":
    private_network.enter()
    unittest.main()
