"""What a running program holds: threads, open files, memory."""

import os
import re
from collections import namedtuple
from pathlib import Path

from support import wait_until

Vitals = namedtuple("Vitals", "threads files rss pss anonymous")
"""Memory in KiB; the anonymous part is what the program has allocated, whatever others do with the same libraries."""


def threads(program):
    """How many threads it has, without those that the toolkit keeps in stock for half a minute."""
    names = []
    for task in Path(f"/proc/{program.process.pid}/task").iterdir():
        try:
            names.append((task / "comm").read_text().strip())
        except OSError:
            pass  # it has just ended
    return sum(name != "Thread (pooled)" for name in names)


def open_files(program):
    return len(os.listdir(f"/proc/{program.process.pid}/fd"))


def measure(program):
    rollup = Path(f"/proc/{program.process.pid}/smaps_rollup").read_text()
    memory = (int(re.search(rf"^{what}: +(\d+) kB", rollup, re.M)[1]) for what in ("Rss", "Pss", "Anonymous"))
    return Vitals(threads(program), open_files(program), *memory)


def wait_until_back_at(program, before):
    """Waits until there are no more threads and open files than before."""
    wait_until(
        lambda: threads(program) <= before.threads and open_files(program) <= before.files,
        lambda: f"{threads(program)} threads and {open_files(program)} files instead of {before}",
    )
