"""The program is ended, in order or by force, in every state; the next start finds everything in its place."""

import json
import os
import signal
import unittest

from support import ACCENT, FOX, HOTKEY, LONG, MODEL, RECOGNITION, DesktopTest, ServicesTest, SettingsTest, wait_until

from desktop import Program, private_network

RACES = 200 if LONG else 20
BASE = private_network.model_address("base")
TEAM = "good morning team"


class States(SettingsTest):
    """Its methods lead to the states, and return the texts that each would come to."""

    def idle(self):
        return []

    def recording(self):
        self.keyboard.press(*HOTKEY)
        self.desktop.speak(TEAM)
        return [TEAM]

    def recognising(self):
        self.freeze_in_recognition(FOX)
        return [FOX]

    def delivering(self):
        """A text waits until the hotkey, held for the next recording, is released."""
        self.freeze_in_recognition(FOX)
        self.keyboard.press(*HOTKEY)
        self.thaw()
        self.quillo.wait_for_line("Starting recording")
        self.wait_for_transcription(FOX)
        self.desktop.speak(TEAM)
        self.assertEqual(self.editor.pastes(), 0)
        return [FOX, TEAM]


class Endings(ServicesTest, States):
    def uploading(self):
        self.services.answer(body='{"text": "from afar"}', delay=3)
        self.hold_and_speak("hello world")
        (request,) = wait_until(self.services.requests, "no upload")
        self.assertEqual((request["host"], request["path"]), ("api.openai.com", self.services.PATH))
        self.assertEqual(self.quillo.count("sk-none"), 0)
        return ["from afar"]

    def downloading(self):
        self.services.answer_all({BASE: {"file": str(MODEL), "delay": 0.2}})
        self.click_button(ACCENT, self.choose_settings())
        part = self.models / "ggml-base.bin.part"
        wait_until(lambda: self.services.requests() and part.exists() and part.stat().st_size > 0, "no download")
        return []

    def saved_history(self):
        file = self.desktop.history_file
        return [entry["text"] for entry in json.loads(file.read_bytes())] if file.exists() else []

    def expect_paste(self, text):
        super().expect_paste(text)
        self.history.insert(0, text)
        wait_until(lambda: self.saved_history() == self.history,
                   lambda: f"the history is {self.saved_history()}, not {self.history}")  # fmt: skip

    def end(self, state, number):
        self.editor.clear()
        self.quillo.skip()
        texts = state()
        self.quillo.signal(number)
        self.thaw()
        self.quillo.signal(number)  # once more, while it ends
        code = self.quillo.wait(RECOGNITION)
        self.keyboard.release(*HOTKEY)
        if number == signal.SIGKILL:
            self.assertEqual(code, -number)
            self.assertEqual(self.editor.pastes(), 0)
            texts = texts[:1] if state == self.delivering else []  # it waited for its paste only
        else:
            self.assertEqual(code, 0, self.quillo.tail())
            if texts:
                self.expect_text("".join(texts))
        self.history[:0] = reversed(texts)
        self.assertEqual(self.saved_history(), self.history)

    def test_ended_in_every_state(self):
        self.models = self.desktop.data_dir / "models"
        self.history = []
        self.desktop.configure(transcriptionSource="openai", openaiKey="sk-none", openaiEnabled=True)
        settings = self.desktop.settings_file.read_bytes()
        self.desktop.start_tray()
        for state in (self.idle, self.recording, self.recognising, self.delivering, self.uploading, self.downloading):
            for number in (signal.SIGTERM, signal.SIGKILL):
                with self.subTest(state.__name__, number=number.name):
                    self.start_and_dictate()
                    self.end(state, number)
                    self.assertEqual(self.desktop.settings_file.read_bytes(), settings)
                    self.assertEqual(self.desktop.active_model_file.read_text(), "tiny")
                    self.assertEqual((self.models / "ggml-tiny.bin").read_bytes(), MODEL.read_bytes())
                    self.assertFalse((self.models / "ggml-base.bin").exists())
        self.start_and_dictate()
        self.expect_orderly_end()

    def start_and_dictate(self):
        self.services.answer(status=503)
        self.start()
        self.dictate("thank you")
        self.expect_released_microphone()


class ServerGone(States):
    def test_server_gone_while_delivering(self):
        self.start()
        self.delivering()
        self.desktop.server.signal(signal.SIGKILL)
        self.assertEqual(self.quillo.wait(), 1, self.quillo.tail())
        self.assertIn("ERROR: The connection to the X server is broken", self.quillo.lines[-1])


class Races(DesktopTest):
    microphone = False

    def test_one_of_two_racing_starts_lives(self):
        command = [os.environ["QUILLO_BINARY"], "--verbose"]
        for race in range(RACES):
            both = [Program(command, self.desktop.env) for _ in range(2)]
            for program in both:
                self.addCleanup(program.close)
            (loser,) = wait_until(lambda: [program for program in both if not program.running()], "both live")
            (winner,) = (program for program in both if program is not loser)
            self.assertEqual((loser.wait(), loser.lines), (0, []))
            winner.wait_for_line("Hotkey registered")
            number = signal.SIGKILL if race % 2 else signal.SIGTERM
            winner.signal(number)
            self.assertEqual(winner.wait(), -number if race % 2 else 0, winner.tail())
            self.doCleanups()


if __name__ == "__main__":
    private_network.enter()
    unittest.main()
