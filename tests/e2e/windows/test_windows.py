"""The Windows program under Wine: a dictation from the key to the text, its folders, its tray, its end.

QUILLO_WINDOWS_BINARIES names the folder of Quillo.exe and edit_window.exe, QUILLO_HELPERS the one of desktop_editor and
desktop_keys, QUILLO_WINE_HOME a home folder with a Wine prefix that was set up, QUILLO_SCREENSHOTS where pictures go.
"""

import os
import shutil
import subprocess
import sys
import time
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "tools"))

from desktop import HOTKEY, Desktop, Program, wait_until  # noqa: E402
from desktop.wine import windows_data_dir, wine_environment  # noqa: E402

BINARIES = Path(os.environ["QUILLO_WINDOWS_BINARIES"]).resolve()
SCREENSHOTS = Path(os.environ["QUILLO_SCREENSHOTS"]).resolve()
WINE_HOME = Path(os.environ["QUILLO_WINE_HOME"]).resolve()
MODEL = ROOT / "tests/data/ggml-mini.bin"
SENTENCE = "the quick brown fox jumps over the lazy dog"


class WindowsProgram(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.desktop = cls.enterClassContext(Desktop(os.environ["QUILLO_HELPERS"]))
        cls.env = wine_environment(cls.desktop, WINE_HOME)
        cls.addClassCleanup(subprocess.run, ["wineserver", "--kill"], env=cls.env, timeout=60, check=False)
        # Else it would end with each program, and the next one may find it in the midst of that. Wine's services, which
        # come with the first program and stay, keep that program's output open.
        for first in ["wineserver", "--persistent"], ["wine", "cmd", "/c", "exit"]:
            nowhere = subprocess.DEVNULL
            subprocess.run(first, env=cls.env, check=True, stdout=nowhere, stderr=nowhere, timeout=120)
        cls.data = windows_data_dir(WINE_HOME)
        shutil.rmtree(cls.data, ignore_errors=True)
        for folder in ("models", "config"):
            (cls.data / folder).mkdir(parents=True)
        shutil.copyfile(MODEL, cls.data / "models/ggml-tiny.bin")
        (cls.data / "config/active_model.txt").write_text("tiny")
        SCREENSHOTS.mkdir(parents=True, exist_ok=True)
        cls.text = cls.desktop.root / "windows-text"

    def wine(self, program, *args):
        started = Program(["wine", BINARIES / program, *args], self.env)
        self.addCleanup(started.close)
        return started

    def screenshot(self, name):
        command = ["import", "-window", "root", SCREENSHOTS / f"windows-{name}.png"]
        subprocess.run(command, env=self.env, timeout=60, check=True)

    def xdotool(self, *args):
        command = ["xdotool", *map(str, args)]
        return subprocess.run(command, env=self.env, timeout=60, capture_output=True, text=True).stdout.split()

    def start(self):
        quillo = self.wine("Quillo.exe", "--verbose")
        quillo.wait_for_line(r"\[Quillo\] Hotkey registered: ", 60)
        return quillo

    def end(self, quillo):
        """As a person who ends a program politely: it takes the way of Quit."""
        command = ["wine", "taskkill", "/im", "Quillo.exe"]
        subprocess.run(command, env=self.env, timeout=60, capture_output=True)
        self.assertEqual(quillo.wait(60), 0)

    def start_beside_text_field(self):
        self.text.unlink(missing_ok=True)
        self.wine("edit_window.exe", self.text)
        wait_until(lambda: self.xdotool("search", "--onlyvisible", "--name", "Text field"), "no window")
        quillo = self.start()
        wait_until(self.text.exists, "no text field")
        self.xdotool("search", "--name", "Text field", "windowactivate", "--sync")
        return quillo

    def hold_and_speak(self, quillo, text):
        with self.desktop.keyboard.held(*HOTKEY):
            quillo.wait_for_line(r"Starting recording")
            self.desktop.microphone.wait_until_smooth()
            self.desktop.speak(text)
            self.screenshot("recording")

    def expect_text(self, quillo, text):
        wait_until(lambda: self.text.read_text() == text, lambda: f"{self.text.read_text()!r}\n{quillo.tail()}", 60)

    def test_spoken_sentence_is_pasted(self):
        quillo = self.start_beside_text_field()
        self.hold_and_speak(quillo, SENTENCE)
        self.expect_text(quillo, SENTENCE)
        self.screenshot("pasted")
        self.assertIn(SENTENCE, (self.data / "history.json").read_text())
        self.end(quillo)

    def test_pressed_again_around_the_paste(self):
        quillo = self.start_beside_text_field()
        for done, moment in enumerate((0, 0.03, 0.06, 0.09)):
            self.hold_and_speak(quillo, "hello world")
            quillo.wait_for_line('Transcription: " hello world"', 60)
            time.sleep(moment)
            with self.desktop.keyboard.held(*HOTKEY):
                quillo.wait_for_line("Starting recording")
                time.sleep(0.5)
                self.assertEqual(quillo.count("Stopping recording"), 2 * done + 1)
            self.expect_text(quillo, "hello world" * (done + 1))
            wait_until(lambda: quillo.count("Captured") == 2 * (done + 1), "open")
        self.end(quillo)

    def windows(self):
        """The program's visible windows."""
        return set(self.xdotool("search", "--onlyvisible", "--class", "quillo.exe"))

    def choose_in_tray(self, y):
        """Clicks into the menu of the tray icon, so far below its top, or above its bottom where y is negative."""
        (tray,) = self.xdotool("search", "--onlyvisible", "--name", "Wine System Tray")
        before = self.windows()
        self.xdotool("mousemove", "--window", tray, 10, 10, "click", 3)
        (menu,) = wait_until(lambda: self.windows() - before, "no menu")
        geometry = dict(line.split("=") for line in self.xdotool("getwindowgeometry", "--shell", menu))
        self.xdotool("mousemove", "--window", menu, 40, y % int(geometry["HEIGHT"]), "click", 1)

    def test_settings_from_the_tray_are_stored_in_the_roaming_profile(self):
        quillo = self.start()
        wait_until(lambda: self.xdotool("search", "--onlyvisible", "--name", "Wine System Tray"), "no tray icon")
        self.choose_in_tray(54)  # Settings...
        find_settings = ("search", "--onlyvisible", "--name", "Quillo Settings")
        wait_until(lambda: self.xdotool(*find_settings), "no settings window")
        self.xdotool(*find_settings, "windowactivate", "--sync")
        self.screenshot("settings")
        self.assertFalse((self.data / "Quillo.ini").exists())
        self.xdotool("key", "Return")
        quillo.wait_for_line(r"\[Quillo\] Settings applied: ")
        self.assertIn("hotkey=Ctrl+Shift+Space", (self.data / "Quillo.ini").read_text())
        wait_until(lambda: not self.windows(), "the settings window stays")
        self.choose_in_tray(-18)  # Quit
        self.assertEqual(quillo.wait(), 0)

    def test_second_start_leaves_at_once(self):
        quillo = self.start()
        self.assertEqual(self.wine("Quillo.exe").wait(), 0)
        self.assertTrue(quillo.running())
        self.end(quillo)


if __name__ == "__main__":
    unittest.main()
