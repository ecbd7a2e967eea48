"""The desktop itself, its keyboard and its editor."""

import atexit
import contextlib
import os
import re
import shutil
import signal
import tempfile
import threading
from pathlib import Path

from .microphone import HERE, Microphone, synthesise, write_silence
from .program import PATIENCE, Program, wait_until
from .screen import Screen

HOTKEY = ("Control_L", "Shift_L", "space")
"""Quillo's default hotkey, in the order in which a person presses it."""


class Keyboard:
    """Presses keys: through XTest as a program does, or as the hardware does."""

    def __init__(self, helper, env):
        self._program = Program([helper], env)

    def send(self, *commands):
        """Hands over all the commands at once (see desktop_keys) and returns the monotonic time of each, in ns."""
        self._program.send("".join(command + "\n" for command in commands))
        return [self._answer() for _ in commands]

    def _answer(self):
        match = self._program.wait_for_line(r"^(?:ok (\d+)|error .*)$")
        if match[1] is None:
            raise RuntimeError(match[0])
        return int(match[1])

    def press(self, *keys, hardware=False):
        return self.send(*(("hw " if hardware else "") + "down " + key for key in keys))

    def release(self, *keys, hardware=False):
        return self.send(*(("hw " if hardware else "") + "up " + key for key in keys))

    def tap(self, key):
        return self.send("down " + key, "up " + key)

    @contextlib.contextmanager
    def held(self, *keys, hardware=False):
        """Holds the keys for the length of a with block and releases the last one first."""
        self.press(*keys, hardware=hardware)
        try:
            yield
        finally:
            self.release(*reversed(keys), hardware=hardware)

    def close(self):
        self._program.close()


class Editor:
    """Another program's text field, in a window of its own, with the keyboard focus."""

    def __init__(self, helper, path, env):
        self._path = path
        self._cleared = 0
        self._program = Program([helper, path], env)
        self._program.wait_for_line("FocusIn")

    @property
    def text(self):
        return self._path.read_text(encoding="utf-8")

    @property
    def events(self):
        """Lines of "<monotonic ns> <event> ..." since the last clear(): every key, focus change, change of the text."""
        return self._program.lines[self._cleared :]

    def clear(self):
        """Empties the field and forgets the events."""
        self._program.send("clear\n")
        self._program.wait_for_line("cleared")
        self._cleared = len(self._program.lines)

    def keys(self):
        """The key events so far, such as "press Space"; repeats are marked by a star."""
        found = (re.search(r"Key(Press|Release) Key_(\w+) .*repeat=(\d)", line) for line in self.events)
        return [f"{m[1].lower()} {m[2]}" + "*" * int(m[3]) for m in found if m]

    def wait_for_key(self, event):
        wait_until(lambda: event in self.keys(), lambda: f"no {event} among the editor's keys {self.keys()}")

    def clicks(self):
        """How many times the mouse was pressed on the text."""
        return sum("MouseButtonPress" in line for line in self.events)

    def pastes(self):
        """How many times Ctrl+V has arrived."""
        return sum("KeyPress Key_V modifiers=ControlModifier " in line for line in self.events)

    def wait_for_text(self, expected, timeout=PATIENCE):
        """Waits until the field holds exactly this text; returns the time of the last change, in ns."""
        wait_until(lambda: self.text == expected, lambda: f"the editor holds {self.text!r}, not {expected!r}", timeout)
        return int(self._program.wait_for_line(r"^(\d+) changed length=%d" % len(expected))[1])

    def close(self):
        self._program.close()


class Desktop:
    """A context manager; see the package's description. `helpers` holds desktop_editor and desktop_keys."""

    def __init__(self, helpers, binary=None, microphone=True):
        self._helpers = Path(helpers).resolve()
        self._binary = binary and Path(binary).resolve()
        self._with_microphone = microphone
        self._cleanup = contextlib.ExitStack()
        self._sounds = 0

    def __enter__(self):
        atexit.register(self.close)  # for the interruptions that skip __exit__
        if threading.current_thread() is threading.main_thread():
            signal.signal(signal.SIGTERM, signal.default_int_handler)
        try:
            self._start()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self._cleanup.close()
        atexit.unregister(self.close)

    def _start(self):
        self.root = Path(tempfile.mkdtemp(prefix="quillo-"))
        self._cleanup.callback(shutil.rmtree, self.root, ignore_errors=True)
        self.env = self._environment()
        if self._with_microphone:
            self.microphone = self._until_end(Microphone(self.env))
        self.env["DISPLAY"] = self._start_screen()
        self.screen = Screen(self.env)
        self._start_window_manager()
        self.keyboard = self._until_end(Keyboard(self._helpers / "desktop_keys", self.env))
        self.editor = self._until_end(Editor(self._helpers / "desktop_editor", self.root / "text", self.env))
        if self._with_microphone:
            self.microphone.wait_until_smooth()

    def _until_end(self, thing):
        self._cleanup.callback(thing.close)
        return thing

    def _environment(self):
        """The caller's environment without anything that leads to the caller's own desktop or profile."""
        foreign = re.compile(
            "(XDG|DBUS|PULSE|PIPEWIRE|ALSA|QT|GTK|LC|WAYLAND|SESSION)_|(DISPLAY|XAUTHORITY|XMODIFIERS)$|(?i:.*_proxy$)"
        )
        env = {name: value for name, value in os.environ.items() if not foreign.match(name)}
        home = self.root / "home"
        folders = {
            "HOME": home,
            "XDG_DATA_HOME": home / ".local/share",
            "XDG_CONFIG_HOME": home / ".config",
            "XDG_CACHE_HOME": home / ".cache",
            "XDG_STATE_HOME": home / ".local/state",
            "XDG_RUNTIME_DIR": self.root / "run",
        }
        for folder in folders.values():
            folder.mkdir(mode=0o700, parents=True, exist_ok=True)
        env.update({name: str(folder) for name, folder in folders.items()})
        env.update(
            LANG="C.UTF-8",
            QT_QPA_PLATFORM="xcb",
            DBUS_SESSION_BUS_ADDRESS="disabled:",
            JACK_NO_START_SERVER="1",
            ALSA_CONFIG_PATH=str(HERE / "asound.conf"),
            PULSE_SERVER=f"unix:{folders['XDG_RUNTIME_DIR']}/pulse/native",  # a given server is never started anew
        )
        return env

    def _start_screen(self):
        read, write = os.pipe()
        os.set_inheritable(write, True)
        command = ["Xvfb", "-displayfd", str(write), "-screen", "0", "1024x720x24", "-nolisten", "tcp", "-noreset"]
        try:
            self.server = self._until_end(Program(command, self.env, pass_fds=[write]))
        finally:
            os.close(write)
        with os.fdopen(read) as answer:
            number = answer.readline().strip()
        if not number:
            raise RuntimeError("no X server:\n" + self.server.tail())
        return ":" + number

    def _start_window_manager(self):
        # A window that it finds at its start gets no focus: it has to be in its main loop before the first one comes.
        ready = self.root / "managed"
        manager = self._until_end(Program(["openbox", "--startup", f"touch {ready}"], self.env))
        wait_until(ready.exists, lambda: "no window manager:\n" + manager.tail())

    # ---- the profile

    @property
    def data_dir(self):
        """The data folder of the program under test."""
        return Path(self.env["XDG_DATA_HOME"], "Quillo")

    @property
    def settings_file(self):
        return Path(self.env["XDG_CONFIG_HOME"], "Quillo/Quillo.ini")

    @property
    def active_model_file(self):
        return self.data_dir / "config/active_model.txt"

    @property
    def history_file(self):
        return self.data_dir / "history.json"

    def configure(self, **settings):
        """Replaces the settings file of the program under test."""
        self.settings_file.parent.mkdir(parents=True, exist_ok=True)
        values = {key: str(value).lower() if isinstance(value, bool) else value for key, value in settings.items()}
        self.settings_file.write_text("[General]\n" + "".join(f"{key}={value}\n" for key, value in values.items()))

    def install_model(self, model_id, file):
        """Makes a copy of the file the active model of the given id."""
        for folder in ("models", "config"):
            (self.data_dir / folder).mkdir(parents=True, exist_ok=True)
        shutil.copyfile(file, self.data_dir / "models" / f"ggml-{model_id}.bin")
        self.active_model_file.write_text(model_id)

    def remove_models(self):
        shutil.rmtree(self.data_dir, ignore_errors=True)

    # ---- programs

    def start_quillo(self, *args, armed=True):
        """Starts the program under test with --verbose; returns once the hotkey is registered if `armed` is set."""
        program = self._until_end(Program([self._binary, "--verbose", *args], self.env))
        if armed:
            program.wait_for_line(r"\[Quillo\] Hotkey registered: ")
        return program

    def start_tray(self):
        """Starts a place for tray icons at the lower right."""
        place = ["--edge", "bottom", "--align", "right", "--width", "20", "--height", "32"]
        return self._until_end(Program(["trayer", *place], self.env))

    # ---- sound

    def speak(self, text, voice="en-us", speed=150, amplitude=100, silence=0.3):
        """Says a text into the microphone, to its end."""
        path = self._new_sound()
        synthesise(path, text, self.env, voice, speed, amplitude, silence)
        self.microphone.play(path)

    def keep_silent(self, seconds):
        """Feeds digital silence to the microphone."""
        path = self._new_sound()
        write_silence(path, seconds)
        self.microphone.play(path)

    def _new_sound(self):
        self._sounds += 1
        return self.root / f"sound-{self._sounds}.wav"
