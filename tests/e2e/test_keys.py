"""Other programs take keys and clipboard, and a user plays with the hotkey."""

import os
import random
import time
import unittest
from pathlib import Path

from support import HOTKEY, LONG, RECOGNITION, DesktopTest, Program, measure, wait_until, wait_until_back_at

PRESSES = 1000 if LONG else 100


class OtherPrograms(DesktopTest):
    def setUp(self):
        super().setUp()
        self.start()

    def dictate_in_vain(self, text):
        self.editor.clear()
        self.hold_and_speak(text)
        self.wait_for_transcription(text)
        self.expect_pill("Pasted")
        self.assertEqual(self.editor.text, "")

    def test_keys(self):
        with self.assertRaisesRegex(RuntimeError, "refused"):
            self.keyboard.send("grab space")

        # The grab goes with the connection; when Quillo is back, another program has it.
        own_bits = 0x1FFFFF  # of a resource id; the others are the connection's
        main = self.screen.hidden_window("Qt Selection Owner for quillo") & ~own_bits

        def both_connections():
            found = self.keyboard.connections(self.quillo)
            return found if len(found) == 2 else None

        (hook,) = wait_until(both_connections, "more connections").keys() - {main}
        self.keyboard.send(f"disconnect {hook}", "grab space")
        wait_until(both_connections, "no new connection")

        def heard():  # nothing tells from outside when keys are watched again
            self.editor.clear()
            self.hold_and_speak("thank you")
            return self.quillo.count("Starting recording")

        wait_until(heard, "the hotkey is not seen any more")
        self.expect_text("thank you")
        self.keyboard.send("ungrab space")
        self.editor.clear()
        self.hold_and_speak("good morning")  # its key may still reach the editor
        self.expect_text("good morning")

        # A screen lock, or an open menu: the hotkey still works, the text waits on the clipboard.
        self.keyboard.send("grab keyboard")
        self.dictate_in_vain("hello world")
        self.keyboard.send("ungrab keyboard")
        self.paste()
        self.expect_text("hello world")
        self.expect_released_microphone()
        self.expect_orderly_end()

    def test_clipboard(self):
        other = Program([Path(os.environ["QUILLO_HELPERS"], "desktop_clipboard")], self.desktop.env)
        self.addCleanup(other.close)

        def tell(command):
            other.send(command + "\n")
            other.wait_for_line("^ok")

        for _ in range(2):
            tell("own")
            self.dictate("hello world")
        tell("pester")
        self.dictate("thank you")
        before = measure(self.quillo)
        self.dictate("six seven eight nine ten zero")
        wait_until_back_at(self.quillo, before)
        self.assertEqual(other.count("taken"), 4)
        tell("cling")
        self.dictate_in_vain("hello world")
        tell("let go")
        self.dictate("thank you")
        for command in ("manage", "cling"):  # neither holds up the end
            tell(command)
            self.hold_and_speak("hello world")
            self.wait_for_transcription("hello world")
            self.expect_orderly_end()
            self.start()


class Presses(DesktopTest):
    def test_pressed_again_around_the_paste(self):
        """Waiting for the second release, the paste comes once, and cuts no recording."""
        self.desktop.configure(hotkey="F9")
        self.start()
        for moment in (0, 0.02, 0.04, 0.06, 0.08):
            with self.subTest(moment=moment):
                self.editor.clear()
                self.quillo.skip()
                self.hold_and_speak("hello world", ["F9"], silence=0.1)
                self.wait_for_transcription("hello world")
                time.sleep(moment)
                with self.keyboard.held("F9"):
                    self.quillo.wait_for_line("Starting recording")
                    time.sleep(0.5)
                    recordings = self.quillo.count("Starting recording")
                    self.assertEqual(self.quillo.count("Stopping recording"), recordings - 1)
                self.expect_paste("hello world")
                wait_until(lambda: self.quillo.count("Captured") == recordings, "open")
        self.expect_orderly_end()

    def press_at_random(self, seed):
        """Presses and releases in every order and speed, by the hands of both keyboards."""
        chance = random.Random(seed)
        for _ in range(PRESSES):
            hardware = chance.random() < 0.5
            self.keyboard.press(*HOTKEY, hardware=hardware)
            time.sleep(chance.choice([0, chance.uniform(0, 0.02), chance.uniform(0, 0.1)]))
            self.keyboard.release(*chance.sample(HOTKEY, len(HOTKEY)), hardware=hardware)
            time.sleep(chance.choice([0, chance.uniform(0, 0.02), chance.uniform(0, 0.1)]))

    def all_finished(self):
        counts = {self.quillo.count(what) for what in ("Starting recording", "Stopping recording", "Captured")}
        return len(counts) == 1 and self.quillo.count("Transcribing") == self.quillo.count("Transcription: ")

    def test_pressed_at_random(self):
        self.desktop.configure(hotkey="Ctrl+Shift+Space")
        self.start()
        self.dictate("hello world")
        self.expect_released_microphone()
        before = measure(self.quillo)
        seed = random.randrange(2**32)
        with self.subTest(seed=seed):
            self.press_at_random(seed)
            wait_until(self.all_finished, lambda: "recordings are unfinished:\n" + self.quillo.tail(), RECOGNITION)
            self.expect_released_microphone()
            recordings = self.quillo.count("Starting recording") - 1
            self.assertGreater(recordings, 0)
            self.assertLessEqual(recordings, PRESSES)
            after = wait_until_back_at(self.quillo, before)
            print(f"\n{PRESSES} presses, seed {seed}: {recordings} recordings, before {before}, after {after}")
        self.dictate("thank you")
        self.expect_released_microphone()
        self.expect_orderly_end()


if __name__ == "__main__":
    unittest.main()
