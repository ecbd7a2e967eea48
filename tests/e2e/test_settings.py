"""A user's first way through the settings window: get a model, dictate, look at the history, choose another hotkey."""

import http.server
import threading
import unittest

import private_network
from support import ACCENT, HOTKEY, MODEL, SET_ACTIVE_BUTTON, SettingsTest, wait_until

CLEAR_HISTORY_BUTTON = (0x7F, 0x1D, 0x1D)

STORAGE = "huggingface.co/storage/tiny"


class Detour(http.server.BaseHTTPRequestHandler):
    """Leads back into TLS, without which it is reached."""

    def do_GET(self):
        self.send_response(302)
        self.send_header("Location", f"https://{STORAGE}")
        self.end_headers()

    def log_message(self, *_):
        pass


class Settings(private_network.ServicesTest, SettingsTest):
    def setUp(self):
        super().setUp()
        self.desktop.remove_models()
        self.start()
        self.start_tray()

    def test_first_use(self):
        self.refuse_to_leave_tls()
        self.get_model()
        self.dictate("hello world")
        self.copy_from_history("hello world")
        self.choose_hotkey()
        with self.keyboard.held("Control_L", "Shift_L", "1"):
            self.desktop.speak("good morning")
        self.expect_text("good morning")
        self.assertNotIn("press Exclam", self.editor.keys())
        self.choose_quit()

    def redirect_download(self, scheme):
        self.services.answer_all(
            {
                private_network.model_address("tiny"): {
                    "status": 302,
                    "headers": {"Location": f"{scheme}://{STORAGE}"},
                },
                STORAGE: {"file": str(MODEL), "chunk": 2**20, "delay": 0.1},
            }
        )

    def refuse_to_leave_tls(self):
        self.redirect_download("http")
        window = self.choose_settings()
        button = self.wait_for_row(ACCENT, window)
        with http.server.HTTPServer(("127.0.0.1", 80), Detour) as detour:
            threading.Thread(target=detour.serve_forever, daemon=True).start()
            self.click_button(ACCENT, window)
            self.open_tab(window, "Models")  # takes the mouse off the button
            wait_until(self.services.requests, lambda: "no download")
            wait_until(lambda: self.wait_for_row(ACCENT, window) == button, lambda: "the download does not fail")
            detour.shutdown()
        self.assertEqual(list((self.desktop.data_dir / "models").iterdir()), [])
        self.close_settings()

    def get_model(self):
        self.redirect_download("https")
        window = self.choose_settings()
        self.click_button(ACCENT, window)
        self.click_button(SET_ACTIVE_BUTTON, window)
        self.wait_for_active_model("tiny")
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
        dictations = self.quillo.count("Starting recording")
        self.type_hotkey(window, *HOTKEY)  # the present one: here it is entered, too, and records nothing
        self.type_hotkey(window, "Control_L", "Shift_L", "1")
        self.assertEqual(self.quillo.count("Starting recording"), dictations)
        self.keep(self.screen.picture(), "hotkey")
        self.click_apply(window)
        self.quillo.wait_for_line(r"Hotkey registered: Ctrl\+Shift\+1 ")
        self.close_settings()
        with self.keyboard.held(*HOTKEY[:-1]):
            self.keyboard.tap(HOTKEY[-1])
        self.editor.wait_for_key("release Space")  # the old one is a key like any other
        self.editor.clear()


if __name__ == "__main__":
    private_network.enter()
    unittest.main()
