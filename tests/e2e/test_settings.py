"""A user's first way through tray and settings window: get a model, dictate, look at the history, choose a hotkey."""

import http.server
import threading
import unittest

from support import ACCENT, HOTKEY, MODEL, RECOGNITION, SET_ACTIVE_BUTTON, ServicesTest, SettingsTest, wait_until

from desktop import private_network

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


class Settings(ServicesTest, SettingsTest):
    def test_first_use(self):
        self.desktop.remove_models()
        self.models = self.desktop.data_dir / "models"
        self.start()
        self.assertEqual(self.screen.windows(self.quillo), [])
        self.desktop.start_tray()
        icon = self.icon()
        wait_until(lambda: self.screen.picture().count(ACCENT, icon) > 100, "the icon is not drawn")

        self.refuse_to_leave_tls()
        self.get_model()
        self.dictate("hello world")
        self.copy_from_history("hello world")
        self.choose_hotkey()
        self.hold_and_speak("good morning", ["Control_L", "Shift_L", "1"])
        self.expect_text("good morning")
        self.assertNotIn("press Exclam", self.editor.keys())
        self.choose_quit()

    def redirect_download(self, scheme):
        leave = {"status": 302, "headers": {"Location": f"{scheme}://{STORAGE}"}}
        model = {"file": str(MODEL), "chunk": 2**20, "delay": 0.1}
        self.services.answer_all({private_network.model_address("tiny"): leave, STORAGE: model})

    def refuse_to_leave_tls(self):
        self.redirect_download("http")
        window = self.choose_settings()
        with http.server.HTTPServer(("127.0.0.1", 80), Detour) as detour:
            threading.Thread(target=detour.serve_forever, daemon=True).start()
            button = self.click_button(ACCENT, window)
            self.open_tab(window, "Models")  # takes the mouse off the button
            wait_until(self.services.requests, "no download")
            wait_until(lambda: self.find_row(ACCENT, window) == button, "the download does not fail", RECOGNITION)
            detour.shutdown()
        self.assertEqual(list(self.models.iterdir()), [])
        self.close_settings()

    def get_model(self):
        self.redirect_download("https")
        window = self.choose_settings()
        self.click_button(ACCENT, window)
        self.click_button(SET_ACTIVE_BUTTON, window)
        self.wait_for_active_model("tiny")
        self.keep(self.screen.picture(), "models")
        (model,) = self.models.iterdir()
        self.assertEqual((model.name, model.read_bytes()), ("ggml-tiny.bin", MODEL.read_bytes()))
        self.close_settings()

    def copy_from_history(self, text):
        window = self.choose_settings()
        self.open_tab(window, "History")
        clear = wait_until(lambda: self.find_row(CLEAR_HISTORY_BUTTON, window), "no history")
        self.screen.click(window.x + 100, window.y + 130)  # the newest entry
        self.keep(self.screen.picture(), "history")
        self.screen.click(clear.x - 60, clear.y + 4)  # "Copy Selected"
        self.close_settings()
        with self.keyboard.held("Control_L"):
            self.keyboard.tap("v")
        self.editor.wait_for_text(text)

    def choose_hotkey(self):
        window = self.choose_settings()
        dictations = self.quillo.count("Starting recording")
        self.enter_hotkey(window, *HOTKEY)  # the present one: here it is entered, too, and records nothing
        self.enter_hotkey(window, "Control_L", "Shift_L", "1")
        self.click_apply(window)
        self.assertEqual(self.quillo.count("Starting recording"), dictations)
        self.keep(self.screen.picture(), "hotkey")
        self.close_settings()
        with self.keyboard.held(*HOTKEY):
            pass
        self.editor.wait_for_key("release Space")  # the old one is a key like any other
        self.editor.clear()


if __name__ == "__main__":
    private_network.enter()
    unittest.main()
