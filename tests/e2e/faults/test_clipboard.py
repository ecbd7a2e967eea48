"""Other programs deal badly with the clipboard."""

import os
import unittest
from pathlib import Path

import common  # noqa: F401
import vitals
from support import DesktopTest, wait_until

from desktop import Program


class Clipboard(DesktopTest):
    def setUp(self):
        super().setUp()
        self.other = Program([Path(os.environ["QUILLO_HELPERS"], "desktop_clipboard")], self.desktop.env)
        self.addCleanup(self.other.close)
        self.start()

    def tell_other(self, command):
        self.other.send(command + "\n")
        self.other.wait_for_line("^ok")

    def test_owner_that_never_answers_loses_the_clipboard(self):
        for _ in range(2):
            self.tell_other("own")
            self.dictate("hello world")
        self.assertEqual(self.other.count("taken"), 2)
        self.expect_orderly_end()

    def test_thief_that_never_answers_costs_one_text(self):
        self.tell_other("cling")
        self.hold_and_speak("hello world")
        self.other.wait_for_line("taken")
        self.quillo.wait_for_line('Transcription: "')
        self.expect_pill("Pasted")
        self.tell_other("let go")
        self.assertEqual(self.editor.text, "")
        self.dictate("thank you")
        self.expect_orderly_end()

    def test_thief_does_not_hold_up_the_end(self):
        self.tell_other("cling")
        self.hold_and_speak("hello world")
        self.quillo.wait_for_line("Trying local transcription")
        self.expect_orderly_end()

    def test_questions_at_the_wrong_moment(self):
        self.tell_other("pester")
        for text in ("hello world", "thank you", "good morning"):
            self.dictate(text)
        before = vitals.measure(self.quillo)
        self.dictate("six seven eight nine ten zero")
        vitals.wait_until_back_at(self.quillo, before)
        wait_until(lambda: self.other.count("taken") == 4, lambda: "not asked at each change")
        self.expect_orderly_end()

    def test_manager_that_never_answers_does_not_hold_up_the_end(self):
        self.tell_other("manage")
        self.dictate("hello world")
        self.expect_orderly_end()


if __name__ == "__main__":
    unittest.main()
