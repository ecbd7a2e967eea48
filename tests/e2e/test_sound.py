"""The sound server dies, hangs or is not there yet, or the device is unplugged, and comes back."""

import unittest

from support import HOTKEY, DesktopTest, measure, wait_until_back_at

from desktop.microphone import Microphone


class SoundTest(DesktopTest):
    def expect_deafness(self):
        """A dictation without a microphone comes to nothing, and says so."""
        self.editor.clear()
        self.quillo.skip()
        with self.keyboard.held(*HOTKEY):
            self.quillo.wait_for_line("Starting recording")
        self.quillo.wait_for_line("Captured 0 samples")
        self.expect_pill("Error")
        self.assertEqual((self.editor.text, self.editor.pastes()), ("", 0))


class Loss(SoundTest):
    def speak_until(self, text, *events):
        """Holds the hotkey from the first word to the last event."""
        self.editor.clear()
        with self.keyboard.held(*HOTKEY):
            self.desktop.speak(text)
            for happen in events:
                happen()

    def go_through(self, lose, bring_back):
        self.start()
        self.dictate("hello world")
        self.expect_released_microphone()
        before = measure(self.quillo)

        # The words that were heard before are pasted.
        self.speak_until("good morning team", lose)
        self.expect_paste("good morning team")
        for _ in range(2):
            for _ in range(2):
                self.expect_deafness()
            bring_back()
            wait_until_back_at(self.quillo, before)
            self.dictate("thank you")
            self.expect_released_microphone()
            wait_until_back_at(self.quillo, before)
            lose()
        bring_back()

        # A recording that has lost its microphone does not find the new one; the next recording does.
        self.speak_until("please send the report to the team", lose, bring_back)
        self.expect_paste("please send the report to the team")
        self.dictate("thank you")
        wait_until_back_at(self.quillo, before)

        self.speak_until("one two three four five", lose, self.expect_orderly_end)
        self.expect_text("one two three four five")
        bring_back()

    def test_server_dies(self):
        self.go_through(self.desktop.microphone.kill_server, self.desktop.microphone.restart_server)

    def test_device_is_unplugged(self):
        self.go_through(self.desktop.microphone.unplug, self.desktop.microphone.plug_in)

    def test_server_hangs(self):
        """The program goes on while it still waits for the answer, which may never come."""
        self.go_through(self.desktop.microphone.suspend_server, self.desktop.microphone.resume_server)


class ServerComesLater(SoundTest):
    microphone = False

    def test_comes_after_the_first_dictation(self):
        self.start()
        self.expect_deafness()
        self.desktop.microphone = Microphone(self.desktop.env)
        self.addCleanup(self.desktop.microphone.close)
        self.desktop.microphone.wait_until_smooth()
        self.dictate("thank you")
        self.expect_orderly_end()
        self.assertGreater(self.quillo.count("ALSA: |JACK: "), 0)
        self.assertEqual([line for line in self.quillo.lines if not line.startswith("[Quillo] ")], [])


if __name__ == "__main__":
    unittest.main()
