"""The program is ended, in order or by force, in every state; the next start finds everything in its place."""

import json
import os
import signal
import unittest

import common
import private_network
from support import ACCENT, HOTKEY, MODEL, SettingsTest, wait_until

from desktop import Program

RACES = 200 if common.LONG else 20
BASE = private_network.model_address("base")
FOX = "the quick brown fox jumps over the lazy dog"


class States(SettingsTest):
    def setUp(self):
        super().setUp()
        self.start_tray()
        self.start()
        self.history = []
        self.dictate("hello world")

    # ---- the states: each is reached, and returns the texts that it would come to

    def idle(self):
        return []

    def recording(self):
        self.keyboard.press(*HOTKEY)
        self.desktop.speak("good morning team")
        return ["good morning team"]

    def recognising(self):
        self.freeze_in_recognition(FOX)
        return [FOX]

    def delivering(self):
        """A text waits until the hotkey, held for the next recording, is released."""
        self.freeze_in_recognition(FOX)
        self.keyboard.press(*HOTKEY)
        self.thaw()
        self.quillo.wait_for_line("Starting recording")
        self.quillo.wait_for_line("Transcription: ")
        self.desktop.speak("good morning team")
        self.assertEqual(self.editor.pastes(), 0)
        return [FOX, "good morning team"]

    def saved_history(self):
        return [entry["text"] for entry in json.loads(self.desktop.history_file.read_bytes())]

    def expect_paste(self, text):
        super().expect_paste(text)
        self.history.insert(0, text)
        wait_until(lambda: self.desktop.history_file.exists() and self.saved_history() == self.history,
                   lambda: f"the history is {self.saved_history()}, not {self.history}")  # fmt: skip


class Endings(private_network.ServicesTest, States):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.desktop.configure(transcriptionSource="openai", openaiKey="sk-none", openaiEnabled=True)

    def setUp(self):
        self.services.answer(status=503)
        super().setUp()

    def uploading(self):
        self.services.answer(body='{"text": "from afar"}', delay=3)
        self.hold_and_speak("hello world")
        wait_until(self.services.requests, "no upload")
        return ["from afar"]

    def downloading(self):
        self.services.answer_all({BASE: {"file": str(MODEL), "delay": 0.2}})
        self.click_button(ACCENT, self.choose_settings())
        part = self.model("base").with_suffix(".bin.part")
        wait_until(lambda: part.exists() and part.stat().st_size > 0, "no download")
        return []

    def model(self, model_id):
        return self.desktop.data_dir / f"models/ggml-{model_id}.bin"

    def expect_everything_in_order(self, settings):
        self.services.answer(status=503)
        self.start()
        self.dictate("thank you")
        self.assertEqual(next(self.desktop.root.rglob("Quillo.ini")).read_bytes(), settings)
        self.assertEqual(self.active_model_file.read_text(), "tiny")
        self.assertEqual(self.model("tiny").read_bytes(), MODEL.read_bytes())
        self.assertFalse(self.model("base").exists())
        self.expect_released_microphone()
        self.expect_orderly_end()

    def end(self, state, number):
        settings = next(self.desktop.root.rglob("Quillo.ini")).read_bytes()
        self.quillo.skip()
        texts = state()
        self.quillo.signal(number)
        self.thaw()
        self.quillo.signal(number)  # once more, while it ends
        code = self.quillo.wait()
        if state in (self.recording, self.delivering):
            self.keyboard.release(*HOTKEY)
        if number == signal.SIGKILL:
            self.assertEqual(code, -number)
            self.assertEqual(self.editor.pastes(), 0)
            if state == self.delivering:
                self.history.insert(0, texts[0])  # it waited for its paste only
        else:
            self.assertEqual(code, 0, self.quillo.tail())
            if texts:
                self.history[:0] = reversed(texts)
                self.expect_text("".join(texts))
        self.assertEqual(self.saved_history(), self.history)
        self.expect_everything_in_order(settings)

    def test_idle(self):
        self.end_both_ways(self.idle)

    def test_recording(self):
        self.end_both_ways(self.recording)

    def test_recognising(self):
        self.end_both_ways(self.recognising)

    def test_delivering(self):
        self.end_both_ways(self.delivering)

    def test_uploading(self):
        self.end_both_ways(self.uploading)

    def test_downloading(self):
        self.end_both_ways(self.downloading)

    def end_both_ways(self, state):
        for number in (signal.SIGTERM, signal.SIGKILL):
            with self.subTest(number.name):
                if not self.quillo.running():
                    self.start()
                self.editor.clear()
                self.end(state, number)

    def tearDown(self):
        self.desktop.history_file.unlink(missing_ok=True)
        super().tearDown()


class ServerGone(States):
    """The X server goes first: each test has a desktop of its own to lose."""

    @classmethod
    def setUpClass(cls):
        pass

    def setUp(self):
        self.addCleanup(self.doClassCleanups)
        super().setUpClass()
        super().setUp()

    def test_idle(self):
        self.lose_server()

    def test_delivering(self):
        self.delivering()
        self.lose_server()

    def lose_server(self):
        self.desktop.server.signal(signal.SIGKILL)
        self.assertEqual(self.quillo.wait(), 1, self.quillo.tail())
        self.assertIn("ERROR: The connection to the X server is broken", self.quillo.lines[-1])


class Races(SettingsTest):
    microphone = False

    def test_one_of_two_racing_starts_lives(self):
        command = [os.environ["QUILLO_BINARY"], "--verbose"]
        for race in range(RACES):
            both = [Program(command, self.desktop.env) for _ in range(2)]
            try:
                self.expect_one_winner(both, by_force=race % 2)
            finally:
                for program in both:
                    program.close()

    def expect_one_winner(self, both, by_force):
        def ended():
            return [program for program in both if not program.running()]

        (loser,) = wait_until(ended, "both live")
        (winner,) = (program for program in both if program is not loser)
        self.assertEqual(loser.wait(), 0, loser.tail())
        self.assertEqual(loser.lines, [])
        winner.wait_for_line("Hotkey registered")
        self.assertTrue(winner.running())
        winner.signal(signal.SIGKILL if by_force else signal.SIGTERM)
        self.assertEqual(winner.wait(), -signal.SIGKILL if by_force else 0, winner.tail())


if __name__ == "__main__":
    private_network.enter()
    unittest.main()
