"""How the program starts beside itself and how it ends. Its end in the midst of work: faults/test_endings.py."""

import signal
import unittest

from support import DesktopTest


class Lifecycle(DesktopTest):
    def setUp(self):
        super().setUp()
        self.start()

    def test_idle_program_ends_at_an_interrupt(self):
        self.expect_orderly_end(signal.SIGINT)

    def test_second_start_leaves_the_first_alone(self):
        second = self.desktop.start_quillo(armed=False)
        self.assertEqual(second.wait(), 0)
        self.assertTrue(self.quillo.running())
        self.dictate("the coffee is good today")
        self.expect_orderly_end()


if __name__ == "__main__":
    unittest.main()
