"""Other programs take the keys, and a user plays with the hotkey."""

import random
import time
import unittest

import common
import vitals
from support import HOTKEY, DesktopTest, wait_until

PRESSES = 1000 if common.LONG else 100


class TakenKeys(DesktopTest):
    def setUp(self):
        super().setUp()
        self.start()

    def dictate(self, text):
        self.editor.clear()
        self.hold_and_speak(text)
        self.expect_text(text)
        self.assertEqual(self.editor.pastes(), 1)

    def test_combination_is_refused_to_others_while_quillo_has_it(self):
        with self.assertRaisesRegex(RuntimeError, "refused"):
            self.keyboard.send("grab space")
        self.dictate("hello world")
        self.expect_orderly_end()

    def test_other_program_snatches_the_combination(self):
        """The grab goes with the connection; when Quillo is back, another program has it."""
        own_bits = 0x1FFFFF  # of a resource id; the others are the connection's
        main = self.screen.hidden_window("Qt Selection Owner for quillo") & ~own_bits
        for connection in self.keyboard.connections(self.quillo):
            if connection != main:
                self.keyboard.send(f"disconnect {connection}", "grab space")
        self.addCleanup(self.keyboard.send, "ungrab space")
        wait_until(lambda: len(self.keyboard.connections(self.quillo)) == 2, lambda: "no new connection")

        def heard():  # nothing tells from outside when keys are watched again
            self.editor.clear()
            self.hold_and_speak("thank you")
            return self.quillo.count("Starting recording")

        wait_until(heard, lambda: "the hotkey is not seen any more")
        self.expect_text("thank you")
        self.keyboard.send("ungrab space")
        self.dictate("good morning")
        self.expect_released_microphone()
        self.expect_orderly_end()

    def test_other_program_owns_the_keyboard_for_a_while(self):
        """A screen lock, or an open menu: the hotkey still works, the text waits on the clipboard."""
        self.keyboard.send("grab keyboard")
        try:
            self.hold_and_speak("hello world")
            self.quillo.wait_for_line('Transcription: "')
            self.expect_pill("Pasted")
            self.assertEqual(self.editor.text, "")
        finally:
            self.keyboard.send("ungrab keyboard")
        with self.keyboard.held("Control_L"):
            self.keyboard.tap("v")
        self.expect_text("hello world")
        self.dictate("thank you")
        self.expect_released_microphone()
        self.expect_orderly_end()


class RandomPresses(DesktopTest):
    def press_at_random(self, seed):
        """Presses and releases in every order and speed, by the hands of both keyboards."""
        chance = random.Random(seed)
        for _ in range(PRESSES):
            hardware = chance.random() < 0.5
            self.keyboard.press(*HOTKEY, hardware=hardware)
            time.sleep(chance.choice([0, chance.uniform(0, 0.02), chance.uniform(0, 0.1)]))
            self.keyboard.release(*chance.sample(HOTKEY, len(HOTKEY)), hardware=hardware)
            time.sleep(chance.choice([0, chance.uniform(0, 0.02), chance.uniform(0, 0.1)]))

    def expect_order(self, before):
        """Everything that was opened is closed, and the program idle."""
        wait_until(self.all_finished, lambda: "recordings are unfinished:\n" + self.quillo.tail())
        self.expect_released_microphone()
        vitals.wait_until_back_at(self.quillo, before)

    def all_finished(self):
        started, captured = (self.quillo.count(what) for what in ("Starting recording", "Captured"))
        return started == captured and self.desktop.microphone.listeners() == 0

    def run_storm(self, toggle):
        # Without a service to ask, a recording without words would wait half a minute for one.
        self.use_silent_proxy().set()
        self.desktop.configure(toggleMode=toggle, openaiKey="sk-none", openaiEnabled=True)
        self.start()
        speak = self.toggle_and_speak if toggle else self.hold_and_speak
        speak("hello world")
        self.expect_text("hello world")
        self.expect_released_microphone()
        before = vitals.measure(self.quillo)
        seed = random.randrange(2**32)
        with self.subTest(seed=seed):
            self.press_at_random(seed)
            self.expect_order(before)
            recordings = self.quillo.count("Starting recording") - 1
            self.assertGreater(recordings, 0)
            self.assertLessEqual(recordings, PRESSES // 2 if toggle else PRESSES)
            print(f"\n{PRESSES} presses, seed {seed}: {recordings} recordings, before {before}, "
                  f"after {vitals.measure(self.quillo)}")  # fmt: skip
        wait_until(lambda: self.quillo.count("Transcribing") == self.quillo.count("Transcription:"), "a recognition")
        self.editor.clear()
        speak("thank you")
        self.expect_text("thank you")
        self.expect_order(before)
        self.expect_orderly_end()

    def toggle_and_speak(self, text):
        for speak in (lambda: self.desktop.speak(text), lambda: None):
            with self.keyboard.held(*HOTKEY):
                pass
            speak()

    def test_push_to_talk(self):
        self.run_storm(toggle=False)

    def test_toggle(self):
        self.run_storm(toggle=True)


if __name__ == "__main__":
    unittest.main()
