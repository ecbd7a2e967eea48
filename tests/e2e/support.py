"""What the end-to-end tests share: a desktop for each class, and dictation into its editor."""

import fcntl
import os
import re
import signal
import sys
import termios
import unittest
from collections import namedtuple
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))

from desktop import HOTKEY, Desktop, find_overlay, private_network, see_overlay, wait_until  # noqa: E402, F401

LONG = bool(os.environ.get("QUILLO_LONG"))
"""Whether tests may take minutes: tools/long-tests.sh."""

RECOGNITION = 40.0
"""Seconds to wait for a text, or for a program that recognises one before it ends."""

MODEL = ROOT / "tests/data/ggml-mini.bin"
FOX = "the quick brown fox jumps over the lazy dog"
SETTINGS_TITLE = "Quillo Settings"
TRAY_HEIGHT = 32

ACCENT = (0x7C, 0x6A, 0xEF)  # of icon and level bar, the line under a tab, Download buttons, the waiting hotkey field
SET_ACTIVE_BUTTON = (0x1A, 0x3A, 0x2A)

TABS = ["Models", "Mic", "Hotkey", "Cloud", "History", "Style"]
TAB_BAR_HEIGHT = 60  # at most

Vitals = namedtuple("Vitals", "threads files memory")
"""What a running program holds; memory is what it has allocated, in KiB."""


def measure(program):
    process = Path(f"/proc/{program.process.pid}")
    names = []
    for task in (process / "task").iterdir():
        try:
            names.append((task / "comm").read_text().strip())
        except OSError:
            pass  # it has just ended
    threads = sum(name != "Thread (pooled)" for name in names)  # those the toolkit keeps in stock for half a minute
    memory = re.search(r"^Anonymous: +(\d+) kB", (process / "smaps_rollup").read_text(), re.M)[1]
    return Vitals(threads, len(os.listdir(process / "fd")), int(memory))


def wait_until_back_at(program, before):
    """Waits until there are no more threads and open files than before; returns what there is."""

    def back():
        now = measure(program)
        return now if now.threads <= before.threads and now.files <= before.files else None

    return wait_until(back, lambda: f"{measure(program)} instead of {before}")


class DesktopTest(unittest.TestCase):
    """A test on a private desktop whose editor is empty at its start, with the program that it starts in `quillo`.

    QUILLO_BINARY names the program, QUILLO_HELPERS the folder of desktop_editor and desktop_keys.
    """

    microphone = True

    @classmethod
    def setUpClass(cls):
        cls.desktop = cls.enterClassContext(
            Desktop(os.environ["QUILLO_HELPERS"], os.environ["QUILLO_BINARY"], cls.microphone)
        )
        cls.desktop.install_model("tiny", MODEL)
        cls.keyboard, cls.editor, cls.screen = cls.desktop.keyboard, cls.desktop.editor, cls.desktop.screen

    def setUp(self):
        self.editor.clear()

    def start(self):
        """Starts the program for the rest of the test."""
        self.quillo = self.desktop.start_quillo()
        self.addCleanup(self.quillo.close)

    def hold_and_speak(self, text, hotkey=HOTKEY, hardware=False, **speech):
        """Holds the hotkey while the text is spoken."""
        with self.keyboard.held(*hotkey, hardware=hardware):
            self.desktop.speak(text, **speech)

    def expect_pill(self, state):
        """Waits until the overlay shows this state, and keeps the picture."""

        def shown():
            seen = see_overlay(self.screen, self.quillo)
            return seen if seen and seen.state == state else None

        self.keep(wait_until(shown, f"no overlay in the state {state}").picture, f"pill-{state.lower()}")

    def keep(self, picture, name):
        """Saves a picture for people to look at, into the folder that QUILLO_SCREENSHOTS names, if it does."""
        if folder := os.environ.get("QUILLO_SCREENSHOTS"):
            Path(folder).mkdir(parents=True, exist_ok=True)
            picture.save(Path(folder, f"{type(self).__name__}-{name}.png"))

    def expect_text(self, text):
        """Waits until the editor holds exactly this text."""
        try:
            self.editor.wait_for_text(text, RECOGNITION)
        except TimeoutError as failure:
            self.fail(f"{failure}\nthe program's output:\n{self.quillo.tail()}")

    def expect_paste(self, text):
        """Waits until the text was pasted, and by one paste alone, without the hotkey's own key reaching the editor."""
        self.expect_text(text)
        self.assertEqual(self.editor.pastes(), 1)
        self.assertEqual([key for key in self.editor.keys() if key.strip("*").endswith(("Space", "F9"))], [])

    def dictate(self, text, *how, **speech):
        """A dictation into an empty editor."""
        self.editor.clear()
        self.hold_and_speak(text, *how, **speech)
        self.expect_paste(text)

    def freeze_in_recognition(self, text):
        """Stops the whole program in the middle of the recognition of this text."""
        for _ in range(10):
            self.editor.clear()
            self.quillo.skip()
            self.hold_and_speak(text)
            self.quillo.wait_for_line("Transcribing")
            self.freeze()
            if self.quillo.count("Transcribing") > self.quillo.count("Transcription: "):
                return
            self.thaw()
            self.expect_paste(text)
        self.fail("recognition is always over before it can be stopped")

    def freeze(self):
        """Stops the whole program, and waits until all that it has written before is read."""
        process = self.quillo.process
        process.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, process.pid, os.WSTOPPED)
        wait_until(lambda: not any(fcntl.ioctl(process.stdout, termios.FIONREAD, bytes(4))), "unread output")

    def thaw(self):
        self.quillo.signal(signal.SIGCONT)

    def wait_for_transcription(self, text):
        self.quillo.wait_for_line(f'Transcription: " {text}"', RECOGNITION)

    def expect_released_microphone(self):
        """Waits until nothing records any more, and every recording that was opened has been closed."""
        wait_until(lambda: self.desktop.microphone.listeners() == 0, lambda: f"still open:\n{self.quillo.tail()}")
        self.assertEqual(self.quillo.count("Starting recording"), self.quillo.count("Stopping recording"))

    def expect_orderly_end(self):
        """Asks the program to end; it finishes its work before, and succeeds."""
        self.quillo.signal(signal.SIGTERM)
        self.assertEqual(self.quillo.wait(RECOGNITION), 0, self.quillo.tail())


@unittest.skipUnless(private_network.MARK in os.environ, private_network.UNAVAILABLE)
class ServicesTest:
    """Mixed into a test case, before its other base: `services` stands in for them, for all tests of the class.

    The script calls private_network.enter() first.
    """

    @classmethod
    def setUpClass(cls):
        cls.services = cls.enterClassContext(private_network.Services())
        super().setUpClass()


class SettingsTest(DesktopTest):
    """A test that reaches the program through its icon in the tray, and works in the settings window."""

    def resting_place(self, find, what):
        """Where a window is once it stays: tray or window manager put it into theirs, and that into place."""
        places = []

        def stays():
            places.append(find())
            return places[-1] and len(places) > 10 and len(set(places[-10:])) == 1

        wait_until(stays, lambda: f"{what} does not stay: {places}")
        return places[-1]

    def icon(self):
        def find():
            return next((window for window in self.screen.windows(self.quillo) if window.height <= TRAY_HEIGHT), None)

        return self.resting_place(find, "the icon in the tray")

    def choose(self, height):
        """Clicks the menu's entry at a height from 0, the top, to 1."""
        icon = self.icon()
        before = {window.id for window in self.screen.windows(self.quillo)}
        self.screen.click(icon.x + icon.width // 2, icon.y + icon.height // 2, button=3)

        def opened():
            return [window for window in self.screen.windows(self.quillo) if window.id not in before]

        (menu,) = wait_until(opened, "no menu")
        self.keep(self.screen.picture(), "menu")
        self.screen.click(menu.x + menu.width // 3, menu.y + round(menu.height * height))

    def choose_settings(self):
        self.choose(0.40)
        window = self.resting_place(lambda: self.screen.wait_for_window(SETTINGS_TITLE), "the settings window")
        wait_until(lambda: self.screen.focus() == window.id, "the settings window has not got the focus")
        return window

    def enter_hotkey(self, window, *keys):
        self.open_tab(window, "Hotkey")
        self.screen.click(window.x + window.width // 2, window.y + 143)  # the field
        wait_until(lambda: self.find_row(ACCENT, window, width=200), "the field does not wait")
        with self.keyboard.held(*keys[:-1]):
            self.keyboard.tap(keys[-1])
        # Until then, the hotkey that is in force is a key like any other.
        wait_until(lambda: not self.find_row(ACCENT, window, width=200), "the field goes on waiting")

    def choose_quit(self):
        self.choose(0.88)
        self.assertEqual(self.quillo.wait(RECOGNITION), 0, self.quillo.tail())

    def click_apply(self, window):
        self.quillo.skip()
        self.screen.click(window.x + window.width - 60, window.y + window.height - 30)
        self.quillo.wait_for_line("Settings applied")

    def close_settings(self):
        self.keyboard.tap("Escape")
        wait_until(lambda: not self.screen.has_window(SETTINGS_TITLE), "the settings window does not close")
        wait_until(lambda: self.screen.focus() == self.screen.wait_for_window("Text editor").id, "no focus")
        self.editor.clear()

    def find_row(self, colour, window, width=50):
        """Where the open page of the settings window has a row of that many pixels of this colour."""
        page = window._replace(y=window.y + TAB_BAR_HEIGHT, height=window.height - TAB_BAR_HEIGHT)
        return self.screen.picture().find(colour, page, width)

    def click_button(self, colour, window):
        """Clicks the first button of this colour as soon as there is one, and returns its place."""
        top = wait_until(lambda: self.find_row(colour, window), lambda: f"no row of {colour}", RECOGNITION)
        self.screen.click(top.x + top.width // 2, top.y + 4)
        return top

    def wait_for_active_model(self, model_id):
        wait_until(lambda: self.desktop.active_model_file.read_text() == model_id, "the model is not active")

    def open_tab(self, window, name):
        """Clicks from tab to tab: one begins where the accent line under the one before it ends."""
        bar, left = window._replace(height=TAB_BAR_HEIGHT), window.x

        def opened():
            self.screen.click(left + 25, bar.y + 15)  # again: the window manager may keep a click for itself
            line = self.screen.picture().find(ACCENT, bar, 30)
            return line and line.x >= left and line.x + line.width

        for tab in TABS[: TABS.index(name) + 1]:
            left = wait_until(opened, lambda: f"{tab} does not open at {left} in {bar}")
