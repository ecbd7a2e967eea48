"""The sound server dies, hangs or is not there yet, or the device is unplugged, and comes back."""

import signal
import unittest

import common  # noqa: F401
import vitals
from desktop.microphone import Microphone
from support import HOTKEY, DesktopTest, wait_until


class SoundTest(DesktopTest):
    def setUp(self):
        super().setUp()
        self.start()
        self.dictate("hello world")
        self.expect_released_microphone()
        self.before = vitals.measure(self.quillo)

    def expect_deafness(self):
        """A dictation without a microphone comes to nothing, and says so."""
        self.editor.clear()
        self.quillo.skip()
        with self.keyboard.held(*HOTKEY):
            self.quillo.wait_for_line("Starting recording")
        self.assertEqual(self.captured_samples(), 0)
        self.expect_pill("Error")
        self.assertEqual((self.editor.text, self.editor.pastes()), ("", 0))

    def expect_recovery(self, bring_back):
        bring_back()
        vitals.wait_until_back_at(self.quillo, self.before)
        self.dictate("thank you")
        self.expect_released_microphone()
        vitals.wait_until_back_at(self.quillo, self.before)
        self.expect_orderly_end()

    def lose_while_recording(self, text, lose):
        """The words that were heard before are pasted."""
        self.editor.clear()
        self.quillo.skip()
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak(text)
            lose()
        self.expect_paste(text)


class Loss:
    """Mixed into a test case, before its other base: lose() takes the microphone away, bring_back() undoes it."""

    def test_lost_while_recording(self):
        self.lose_while_recording("good morning team", self.lose)
        self.expect_deafness()
        self.expect_recovery(self.bring_back)

    def test_lost_between_dictations_twice(self):
        for _ in range(2):
            self.lose()
            self.expect_deafness()
            self.bring_back()
            self.dictate("one two three four five")
        self.lose()
        self.expect_recovery(self.bring_back)

    def test_back_before_the_key_is_released(self):
        """A recording that has lost its microphone does not find the new one; the next recording does."""
        self.editor.clear()
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak("please send the report to the team")
            self.lose()
            self.bring_back()
        self.expect_paste("please send the report to the team")
        self.dictate("thank you")
        vitals.wait_until_back_at(self.quillo, self.before)
        self.expect_orderly_end()

    def test_end_without_it(self):
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak("thank you")
            self.lose()
            self.expect_orderly_end(signal.SIGTERM)
        self.expect_text("hello worldthank you")
        self.bring_back()


class ServerDies(Loss, SoundTest):
    def lose(self):
        self.desktop.microphone.kill_server()

    def bring_back(self):
        self.desktop.microphone.restart_server()


class DeviceIsUnplugged(Loss, SoundTest):
    def lose(self):
        self.desktop.microphone.unplug()

    def bring_back(self):
        self.desktop.microphone.plug_in()


class ServerHangs(SoundTest):
    """The program goes on while it still waits for the answer, which may never come."""

    def suspend(self):
        self.addCleanup(self.desktop.microphone.resume_server)
        self.desktop.microphone.suspend_server()

    def expect_hanging_stream(self):
        wait_until(lambda: vitals.open_files(self.quillo) > self.before.files, "no stream hangs")

    def test_hangs_while_recording(self):
        self.lose_while_recording("good morning team", self.suspend)
        for _ in range(2):
            self.expect_deafness()
        self.expect_hanging_stream()
        self.expect_recovery(self.desktop.microphone.resume_server)

    def test_hangs_between_dictations(self):
        self.suspend()
        for _ in range(2):
            self.expect_deafness()
        self.expect_hanging_stream()
        self.expect_recovery(self.desktop.microphone.resume_server)

    def test_end_while_it_hangs(self):
        self.editor.clear()
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak("thank you")
            self.suspend()
            self.expect_orderly_end(signal.SIGTERM)
        self.expect_text("thank you")


class ServerComesLater(SoundTest):
    microphone = False

    def setUp(self):
        DesktopTest.setUp(self)
        self.start()

    def test_comes_after_the_first_dictation(self):
        self.expect_deafness()
        self.desktop.microphone = Microphone(self.desktop.env)
        self.addCleanup(self.desktop.microphone.close)
        self.desktop.microphone.wait_until_settled()
        self.dictate("thank you")
        self.expect_orderly_end()
        self.assertGreater(self.quillo.count("ALSA: |JACK: "), 0)
        self.assertEqual([line for line in self.quillo.lines if not line.startswith("[Quillo] ")], [])


if __name__ == "__main__":
    unittest.main()
