"""Many dictations and many presses in one process: nothing that the program holds grows.

tools/long-tests.sh makes it 300 dictations and 1,000 presses.
"""

import random
import statistics
import time
import unittest

from support import HOTKEY, LONG, RECOGNITION, DesktopTest, Vitals, measure, wait_until, wait_until_back_at

DICTATIONS = 300 if LONG else 20
WARM_UP = 5  # the first dictations fill caches
PRESSES = 1000 if LONG else 100


class Soak(DesktopTest):
    def dictate_word(self):
        self.dictate("yes", silence=0.05)

    def test_dictations(self):
        if not LONG:
            # The allocator has several stocks of memory for the threads, and so few dictations do not fill them all: by
            # chance they grow by 400 KiB each. With one alone they grow by 6 at most, and a leak shows.
            self.desktop.env["MALLOC_ARENA_MAX"] = "1"
            self.addCleanup(self.desktop.env.pop, "MALLOC_ARENA_MAX")
        self.start()
        for _ in range(WARM_UP):
            self.dictate_word()
        self.expect_released_microphone()
        idle = measure(self.quillo)
        seen = []
        for _ in range(DICTATIONS):
            self.dictate_word()
            seen.append(wait_until_back_at(self.quillo, idle))
        self.expect_released_microphone()
        print(f"\n{DICTATIONS} dictations after {WARM_UP} to warm up")
        for name, values in zip(Vitals._fields, zip(*seen)):
            print(f"{name:8} first {values[0]}, last {values[-1]}, least {min(values)}, most {max(values)}")
        # A recording that is kept would be 40 KiB, and a recogniser's state many MiB.
        memory = [one.memory for one in seen]
        later = memory[len(memory) // 4 :]
        slope = statistics.linear_regression(range(len(later)), later).slope
        print(f"memory grows by {slope:+.3f} KiB a dictation, after the first quarter")
        self.assertLess(slope, 16 if LONG else 32)
        self.assertLess(statistics.median(later) - memory[0], 24 << 10, "KiB of growth in all")
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

    def test_presses_at_random(self):
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
