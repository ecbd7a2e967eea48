"""How the program starts beside itself and how it ends. Its end in the midst of work: faults/test_endings.py."""

import signal
import unittest

from support import DesktopTest


class Lifecycle(DesktopTest):
    def test_idle_program_ends_at_an_interrupt(self):
        self.start()
        self.expect_orderly_end(signal.SIGINT)

    def test_library_that_the_environment_names_is_not_loaded(self):
        self.desktop.env["GGML_BACKEND_PATH"] = "/nowhere/libggml-foreign.so"
        self.addCleanup(self.desktop.env.pop, "GGML_BACKEND_PATH")
        self.start()
        self.dictate("the coffee is good today")
        self.assertEqual(self.quillo.count("libggml-foreign"), 0)  # whisper.cpp says what it tries
        self.expect_orderly_end()

    def test_second_start_leaves_the_first_alone(self):
        self.start()
        second = self.desktop.start_quillo(armed=False)
        self.assertEqual(second.wait(), 0)
        self.assertTrue(self.quillo.running())
        self.dictate("the coffee is good today")
        self.expect_orderly_end()


if __name__ == "__main__":
    unittest.main()
