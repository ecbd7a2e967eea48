"""How the program starts beside itself and how it ends."""

import signal
import unittest

from support import HOTKEY, DesktopTest


class Lifecycle(DesktopTest):
    def setUp(self):
        super().setUp()
        self.quillo = self.desktop.start_quillo()
        self.addCleanup(self.quillo.close)

    def test_open_recording_is_pasted_before_the_end(self):
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak("yes please save the file now")
            self.expect_orderly_end()
        # The hotkey is given back before the text is ready: until the keys are released, their repeats are visible.
        self.expect_text("yes please save the file now")
        self.assertEqual(self.editor.pastes(), 1)

    def test_running_recognition_is_pasted_before_the_end(self):
        self.hold_and_speak("no stop that music")
        self.quillo.wait_for_line("Trying local transcription")
        self.expect_orderly_end()
        self.expect_text("no stop that music")
        self.assertEqual(self.editor.pastes(), 1)

    def test_idle_program_ends_at_an_interrupt(self):
        self.expect_orderly_end(signal.SIGINT)

    def test_second_start_leaves_the_first_alone(self):
        second = self.desktop.start_quillo(armed=False)
        self.assertEqual(second.wait(), 0)
        self.assertTrue(self.quillo.running())
        self.hold_and_speak("the coffee is good today")
        self.expect_paste("the coffee is good today")
        self.expect_orderly_end()

    def test_crash_does_not_stand_in_the_way_of_the_next_start(self):
        self.quillo.signal(signal.SIGKILL)
        self.quillo.wait()
        self.quillo = self.desktop.start_quillo()
        self.expect_orderly_end()


if __name__ == "__main__":
    unittest.main()
