"""Many dictations in one process: nothing that the program holds grows.

SOAK_DICTATIONS says how many; tools/long-tests.sh makes it 300.
"""

import os
import statistics
import unittest

from support import LONG, DesktopTest, Vitals, measure, wait_until_back_at

DICTATIONS = int(os.environ.get("SOAK_DICTATIONS") or (300 if LONG else 20))
WARM_UP = 5  # the first dictations fill caches


class Soak(DesktopTest):
    def dictate_word(self):
        self.dictate("yes", silence=0.05)

    def test_soak(self):
        if DICTATIONS < 100:
            # The allocator has several stocks of memory for the threads, and so few dictations do not fill them all: by
            # chance they grow by 400 KiB each. With one alone they grow by 6 at most, and a leak shows.
            self.desktop.env["MALLOC_ARENA_MAX"] = "1"
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
        settled = memory[len(memory) // 4 :]
        slope = statistics.linear_regression(range(len(settled)), settled).slope
        print(f"memory grows by {slope:+.3f} KiB a dictation, after the first quarter")
        self.assertLess(slope, 16 if DICTATIONS >= 100 else 32)
        self.assertLess(statistics.median(settled) - memory[0], 24 << 10, "KiB of growth in all")
        self.expect_orderly_end()


if __name__ == "__main__":
    unittest.main()
