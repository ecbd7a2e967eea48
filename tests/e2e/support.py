"""What the end-to-end tests share: a desktop for each class, and dictation into its editor."""

import contextlib
import fcntl
import os
import signal
import socket
import sys
import termios
import threading
import time
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))

from desktop import HOTKEY, Desktop, find_overlay, see_overlay, wait_until  # noqa: E402

MODEL = ROOT / "tests/data/ggml-mini.bin"
SETTINGS_TITLE = "Quillo Settings"
TRAY_HEIGHT = 32

ACCENT = (0x7C, 0x6A, 0xEF)  # of the line under a tab, the Download buttons and the field that waits for a hotkey
SET_ACTIVE_BUTTON = (0x1A, 0x3A, 0x2A)

TABS = ["Models", "Mic", "Hotkey", "Cloud", "History", "Style"]
TAB_BAR_HEIGHT = 60  # at most


class Proxy:
    """Stands between the program and the remote services; `behave` is what it does with each connection."""

    def __init__(self, behave):
        self.behave = behave
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.url = "http://127.0.0.1:%d" % self._listener.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def close(self):
        with contextlib.suppress(OSError):  # closed before
            self._listener.shutdown(socket.SHUT_RDWR)
            self._listener.close()

    def _accept(self):
        with contextlib.suppress(OSError):  # closed
            while True:
                connection, _ = self._listener.accept()
                threading.Thread(target=self._serve, args=[connection], daemon=True).start()

    def _serve(self, connection):
        with connection, contextlib.suppress(OSError):
            self.behave(connection)


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

    def use_silent_proxy(self):
        """From now on programs reach the remote services only through a proxy, which keeps all requests waiting until
        the event is set, and fails them then."""
        failing = threading.Event()
        proxy = Proxy(lambda connection: failing.wait())
        self.desktop.env["https_proxy"] = proxy.url
        for cleanup in (proxy.close, failing.set, lambda: self.desktop.env.pop("https_proxy")):
            self.addCleanup(cleanup)
        return failing

    def hold_and_speak(self, text, hardware=False, **speech):
        """Holds the hotkey while the text is spoken."""
        with self.keyboard.held(*HOTKEY, hardware=hardware):
            self.desktop.speak(text, **speech)

    def pill(self):
        """The overlay's window, None while it is hidden."""
        return find_overlay(self.screen, self.quillo)

    def expect_pill(self, state):
        """Waits until the overlay shows this state, and keeps the picture."""
        seen = None

        def shown():
            nonlocal seen
            seen = see_overlay(self.screen, self.quillo)
            return seen and seen.state == state

        wait_until(shown, lambda: f"no overlay in the state {state}, but {seen and seen.state}")
        self.keep(seen.picture, f"pill-{state.lower()}")

    def keep(self, picture, name):
        """Saves a picture for people to look at, into the folder that QUILLO_SCREENSHOTS names, if it does."""
        if folder := os.environ.get("QUILLO_SCREENSHOTS"):
            Path(folder).mkdir(parents=True, exist_ok=True)
            picture.save(Path(folder, f"{type(self).__name__}-{name}.png"))

    def expect_text(self, text):
        """Waits until the editor holds exactly this text."""
        try:
            self.editor.wait_for_text(text)
        except TimeoutError as failure:
            self.fail(f"{failure}\nthe program's output:\n{self.quillo.tail()}")

    def expect_paste(self, text):
        """Waits until the text was pasted, and by one paste alone, without a key of the hotkey reaching the editor."""
        self.expect_text(text)
        self.assertEqual(self.editor.pastes(), 1)
        self.assertEqual([key for key in self.editor.keys() if "Space" in key], [])

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

    @property
    def active_model_file(self):
        return self.desktop.data_dir / "config/active_model.txt"

    def wait_for_active_model(self, model_id):
        file = self.active_model_file
        wait_until(lambda: file.exists() and file.read_text() == model_id, lambda: "the model is not active")

    def expect_released_microphone(self):
        """Waits until nothing records any more, and every recording that was opened has been closed."""
        wait_until(lambda: self.desktop.microphone.listeners() == 0, lambda: f"still open:\n{self.quillo.tail()}")
        self.assertEqual(self.quillo.count("Starting recording"), self.quillo.count("Stopping recording"))

    def captured_samples(self):
        """Waits for the next recording to be over; returns its length."""
        return int(self.quillo.wait_for_line(r"^\[Quillo\] Captured (\d+) samples")[1])

    def expect_orderly_end(self, number=signal.SIGTERM):
        """Asks the program to end; it finishes its work before, and succeeds."""
        self.quillo.signal(number)
        self.assertEqual(self.quillo.wait(), 0, self.quillo.tail())


class TrayTest(DesktopTest):
    """A test that reaches the program through its icon in the tray."""

    def start_tray(self):
        tray = self.desktop.start_tray()
        self.addCleanup(tray.close)

    def icon(self):
        def window():
            return next((window for window in self.screen.windows(self.quillo) if window.height <= TRAY_HEIGHT), None)

        return wait_until(window, lambda: "no icon in the tray")

    def open_menu(self):
        before = {window.id for window in self.screen.windows(self.quillo)}
        icon = self.icon()
        self.screen.click(icon.x + icon.width // 2, icon.y + icon.height // 2, button=3)

        def menu():
            return next((window for window in self.screen.windows(self.quillo) if window.id not in before), None)

        return wait_until(menu, lambda: "no menu")

    def choose(self, height):
        """Clicks the menu's entry at a height from 0, the top, to 1."""
        menu = self.open_menu()
        self.screen.click(menu.x + menu.width // 3, menu.y + round(menu.height * height))

    def choose_settings(self):
        self.choose(0.40)
        window = self.screen.wait_for_window(SETTINGS_TITLE)
        wait_until(lambda: self.screen.focus() == window.id, lambda: "the settings window has not got the focus")
        return self.settled(window)

    def settled(self, window):
        """A window's place once it stays: the window manager puts it into a frame, and the frame into its place."""
        since = time.monotonic()

        def stays():
            nonlocal window, since
            before, window = window, self.screen.wait_for_window(SETTINGS_TITLE)
            if window != before:
                since = time.monotonic()
            return time.monotonic() - since > 0.5

        wait_until(stays, lambda: f"the settings window does not settle: {window}")
        return window

    def choose_quit(self):
        self.choose(0.88)
        self.assertEqual(self.quillo.wait(), 0, self.quillo.tail())

    def click_apply(self, window):
        self.screen.click(window.x + window.width - 60, window.y + window.height - 30)


class SettingsTest(TrayTest):
    """A test that works in the settings window."""

    def find_row(self, colour, window, width):
        """Where the open page of the settings window has a row of that many pixels of this colour."""
        page = window._replace(y=window.y + TAB_BAR_HEIGHT, height=window.height - TAB_BAR_HEIGHT)
        return self.screen.picture().find(colour, page, width)

    def wait_for_row(self, colour, window, width=50):
        return wait_until(lambda: self.find_row(colour, window, width), lambda: f"no row of {colour}")

    def click_button(self, colour, window):
        """Clicks the first button of this colour as soon as there is one."""
        top = self.wait_for_row(colour, window)
        self.screen.click(top.x + top.width // 2, top.y + 4)

    def open_tab(self, window, name):
        """Clicks from tab to tab: one begins where the accent line under the one before it ends."""
        bar = window._replace(height=TAB_BAR_HEIGHT)
        left = window.x
        for tab in TABS[: TABS.index(name) + 1]:
            left = self.click_tab(bar, left, tab)

    def click_tab(self, bar, left, name):
        """Clicks the tab that begins at `left` until it is open, and returns where it ends."""
        clicked = 0

        def opened():
            nonlocal clicked
            if time.monotonic() - clicked > 5:  # the window manager may keep a click for itself, to raise the window
                self.screen.click(left + 25, bar.y + 15)
                clicked = time.monotonic()
            line = self.screen.picture().find(ACCENT, bar, 30)
            return line and line.x >= left and line.x + line.width

        def description():
            self.keep(self.screen.picture(), "no-tab")
            return f"{name} does not open at {left} in {bar}: {self.screen.windows(self.quillo)}\n{self.quillo.tail()}"

        return wait_until(opened, description)

    def close_settings(self):
        self.keyboard.tap("Escape")
        wait_until(lambda: not self.screen.has_window(SETTINGS_TITLE), lambda: "the settings window does not close")
        wait_until(lambda: self.screen.focus() == self.screen.wait_for_window("Text editor").id, lambda: "no focus")
        self.editor.clear()

    def type_hotkey(self, window, *keys):
        """Enters a hotkey into its field."""
        self.open_tab(window, "Hotkey")
        self.screen.click(window.x + window.width // 2, window.y + 143)  # the field
        self.wait_for_row(ACCENT, window, width=200)
        with self.keyboard.held(*keys[:-1]):
            self.keyboard.tap(keys[-1])
        # Until then, the hotkey that is in force is a key like any other.
        wait_until(lambda: not self.find_row(ACCENT, window, width=200), lambda: "the field goes on waiting")
