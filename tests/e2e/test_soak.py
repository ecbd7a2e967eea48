"""Many dictations in one process: nothing that the program holds grows.

SOAK_DICTATIONS says how many; tools/long-tests.sh makes it 300.
"""

import os
import statistics
import unittest
from pathlib import Path

import vitals
from support import HOTKEY, DesktopTest

DICTATIONS = int(os.environ.get("SOAK_DICTATIONS") or (300 if os.environ.get("QUILLO_LONG") else 20))
WARM_UP = 5  # the first dictations fill caches
WORD = "yes"


def slope(values):
    """Of the line fitted to the values, per step."""
    middle = (len(values) - 1) / 2
    mean = sum(values) / len(values)
    spread = sum((i - middle) ** 2 for i in range(len(values)))
    return sum((i - middle) * (value - mean) for i, value in enumerate(values)) / spread


class Soak(DesktopTest):
    def dictate(self):
        self.editor.clear()
        self.quillo.skip()
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak(WORD, silence=0.05)
        self.expect_paste(WORD)

    def test_soak(self):
        if DICTATIONS < 100:
            # The allocator has several stocks of memory for the threads, and so few dictations do not fill them all: by
            # chance they grow by 400 KiB each. With one alone they grow by 6 at most, and a leak shows.
            self.desktop.env["MALLOC_ARENA_MAX"] = "1"
        self.start()
        for _ in range(WARM_UP):
            self.dictate()
        self.expect_released_microphone()
        idle = vitals.measure(self.quillo)
        seen = []
        for _ in range(DICTATIONS):
            self.dictate()
            vitals.wait_until_back_at(self.quillo, idle)
            seen.append(vitals.measure(self.quillo))
        self.expect_released_microphone()
        self.show(seen)
        # A recording that is kept would be 40 KiB, and a recogniser's state many MiB.
        memory = [one.anonymous for one in seen]
        settled = memory[len(memory) // 4 :]
        self.assertLess(slope(settled), 16 if DICTATIONS >= 100 else 32, "KiB for each dictation")
        self.assertLess(statistics.median(settled) - memory[0], 24 << 10, "KiB of growth in all")
        self.expect_orderly_end()

    def show(self, seen):
        print(f"\n{len(seen)} dictations after {WARM_UP} to warm up")
        for name in vitals.Vitals._fields:
            values = [getattr(one, name) for one in seen]
            later = values[len(values) // 4 :]
            print(f"{name:8} first {values[0]}, last {values[-1]}, least {min(values)}, most {max(values)}, slope "
                  f"{slope(values):+.3f} a dictation, without the first quarter {slope(later):+.3f}")  # fmt: skip
        if folder := os.environ.get("QUILLO_SCREENSHOTS"):
            Path(folder).mkdir(parents=True, exist_ok=True)
            lines = [",".join(vitals.Vitals._fields), *(",".join(map(str, one)) for one in seen)]
            Path(folder, "soak.csv").write_text("\n".join(lines) + "\n")


if __name__ == "__main__":
    unittest.main()
