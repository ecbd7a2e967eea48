"""Child processes whose output can be awaited."""

import re
import subprocess
import threading
import time

PATIENCE = 20.0
"""Seconds to wait for what should happen at once: only a hang takes that long, even on a loaded machine."""


def wait_until(condition, what, timeout=PATIENCE):
    """Returns the first true value of condition(); TimeoutError names what did not happen."""
    deadline = time.monotonic() + timeout
    while not (value := condition()):
        if time.monotonic() > deadline:
            raise TimeoutError(f"after {timeout:.0f} s: {what() if callable(what) else what}")
        time.sleep(0.01)
    return value


class Program:
    """A running program. Its output (both streams) is kept line by line, and expected in order.

    It is killed when the thread that started it ends, so that nothing survives a crash of the caller.
    """

    def __init__(self, command, env, pass_fds=()):
        self.name = str(command[0]).rsplit("/", 1)[-1]
        self.lines = []
        self.times = []  # when each line arrived, monotonic ns
        self._next = 0
        self._changed = threading.Condition()
        self._ended = False
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "--", *map(str, command)],
            env=env,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            start_new_session=True,
            pass_fds=pass_fds,
            text=True,
            errors="replace",
        )
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self.process.stdout:
            with self._changed:
                self.times.append(time.monotonic_ns())
                self.lines.append(line.rstrip("\n"))
                self._changed.notify_all()
        with self._changed:
            self._ended = True
            self._changed.notify_all()

    def send(self, text):
        """Writes to the program's standard input."""
        self.process.stdin.write(text)
        self.process.stdin.flush()

    def wait_for_line(self, pattern, timeout=PATIENCE):
        """Returns the match of the next line that has the pattern, looking only after the line found last."""
        deadline = time.monotonic() + timeout
        with self._changed:
            while True:
                while self._next < len(self.lines):
                    self._next += 1
                    if match := re.search(pattern, self.lines[self._next - 1]):
                        return match
                left = deadline - time.monotonic()
                if self._ended or left <= 0:
                    why = "ended" if self._ended else f"was silent for {timeout:.0f} s"
                    raise TimeoutError(f"{self.name} {why} without a line like {pattern!r}; its output:\n{self.tail()}")
                self._changed.wait(left)

    def skip(self):
        """From here on only lines that are still to come are expected."""
        with self._changed:
            self._next = len(self.lines)

    def count(self, pattern):
        """How many lines so far have the pattern."""
        return sum(bool(re.search(pattern, line)) for line in list(self.lines))

    def tail(self, count=40):
        return "\n".join(self.lines[-count:])

    def running(self):
        return self.process.poll() is None

    def signal(self, number):
        self.process.send_signal(number)

    def wait(self, timeout=PATIENCE):
        """Returns the exit code when the program has ended and all its output was read."""
        code = self.process.wait(timeout)
        self._reader.join(timeout)
        return code

    def close(self):
        """Ends the program, by force if it does not listen."""
        if self.running():
            self.process.terminate()
            try:
                self.process.wait(5)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self._reader.join(5)
        for stream in (self.process.stdin, self.process.stdout):
            try:
                stream.close()
            except OSError:
                pass
