"""What is on the screen, and the mouse."""

import re
import subprocess
from collections import namedtuple

from .program import PATIENCE, wait_until

Window = namedtuple("Window", "id x y width height")
"""A window that is visible, with its place on the screen."""


class Picture:
    """The colours of the whole screen at one moment."""

    def __init__(self, ppm):
        self._ppm = ppm
        header, size, _, self._pixels = ppm.split(b"\n", 3)
        self.width, self.height = map(int, size.split())
        if header != b"P6" or len(self._pixels) != self.width * self.height * 3:
            raise ValueError("not a picture of 8 bits a channel")

    def save(self, path):
        """Writes a PNG file."""
        subprocess.run(["convert", "ppm:-", str(path)], input=self._ppm, check=True, timeout=PATIENCE)

    def colour(self, x, y):
        """The colour as (red, green, blue)."""
        return tuple(self._pixels[(y * self.width + x) * 3 :][:3])

    def count(self, colour, window):
        """How many of the window's pixels have exactly this colour."""
        places = ((x, y) for y in range(window.y, window.y + window.height)
                  for x in range(window.x, window.x + window.width))  # fmt: skip
        return sum(self.colour(x, y) == colour for x, y in places)

    def find(self, colour, window, width):
        """The window's first row of at least that many pixels of exactly this colour, as a Window of height 1."""
        row_of_colour = bytes(colour) * width
        for y in range(window.y, window.y + window.height):
            start = (y * self.width + window.x) * 3
            row = self._pixels[start : start + window.width * 3]
            at = row.find(row_of_colour)
            while at > 0 and at % 3:  # not at the beginning of a pixel
                at = row.find(row_of_colour, at + 1)
            if at >= 0:
                x, end = window.x + at // 3, window.x + at // 3 + width
                while end < window.x + window.width and self.colour(end, y) == colour:
                    end += 1
                return Window(window.id, x, y, end - x, 1)
        return None


class Screen:
    """The screen of a private desktop."""

    def __init__(self, env):
        self._env = env

    def picture(self):
        return Picture(self._run("import", "-window", "root", "-depth", "8", "ppm:-"))

    def windows(self, program):
        """The visible windows of a program; the one that came last is the first."""
        return self._search("--onlyvisible", "--pid", program.process.pid)

    def wait_for_window(self, title):
        return wait_until(lambda: self._search("--onlyvisible", "--name", title), lambda: f"no window {title!r}")[0]

    def has_window(self, title):
        return bool(self._ids("--onlyvisible", "--name", title))

    def focus(self):
        """The id of the window that has the keyboard focus; None while it passes from one to another."""
        try:
            return int(self._run("xdotool", "getwindowfocus"))
        except subprocess.CalledProcessError:
            return None  # that window has just gone

    def move_window(self, window, x, y):
        self._run("xdotool", "windowmove", "--sync", window, x, y)

    def click(self, x, y, button=1):
        self._run("xdotool", "mousemove", x, y, "click", button)

    def _ids(self, *how):
        command = ["xdotool", "search", *map(str, how)]
        answer = subprocess.run(command, env=self._env, capture_output=True, text=True, timeout=PATIENCE)
        return [int(line) for line in answer.stdout.split()]

    def _search(self, *how):
        found = (self._place(window) for window in self._ids(*how))
        return [window for window in found if window]

    def _place(self, window):
        try:  # xdotool counts the frame twice
            described = self._run("xwininfo", "-id", window).decode()
        except subprocess.CalledProcessError:
            return None  # gone meanwhile
        numbers = r"(?:Absolute upper-left [XY]|Width|Height):\s+(-?\d+)"
        return Window(window, *map(int, re.findall(numbers, described)))

    def _run(self, *command):
        return subprocess.run(
            list(map(str, command)), env=self._env, check=True, stdout=subprocess.PIPE, timeout=PATIENCE
        ).stdout
