"""What the program takes of a processor while it listens, the overlay in sight, and while it is idle."""

import os
import statistics
import threading
import time
from pathlib import Path

from desktop import HOTKEY, wait_until
from desktop.microphone import synthesise
from figures import Row

WATCHED_SECONDS = 5
TEXT = "the quick brown fox jumps over the lazy dog please send the report to the team"
OVERLAY_HEIGHT = 56


def processor_seconds(pid):
    """User and system time so far of the thread of the user interface, and of the others together."""
    interface = others = 0.0
    for task in Path(f"/proc/{pid}/task").iterdir():
        fields = (task / "stat").read_text().rpartition(")")[2].split()
        seconds = (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")
        if int(task.name) == pid:
            interface += seconds
        else:
            others += seconds
    return interface, others


def share(pid):
    """Per cent of one processor over the next seconds, in the same two parts."""
    before, begin = processor_seconds(pid), time.monotonic()
    time.sleep(WATCHED_SECONDS)
    elapsed = time.monotonic() - begin
    return [100 * (after - earlier) / elapsed for earlier, after in zip(before, processor_seconds(pid))]


def listen(desktop, quillo, speech):
    def overlay():
        return any(window.height == OVERLAY_HEIGHT for window in desktop.screen.windows(quillo))

    player = threading.Thread(target=desktop.microphone.play, args=[speech])
    with desktop.keyboard.held(*HOTKEY):
        player.start()
        wait_until(overlay, "no overlay")
        time.sleep(0.5)  # it fades in
        taken = share(quillo.process.pid)
        if not (overlay() and player.is_alive()):
            raise RuntimeError("the recording was over too early")
    player.join()
    quillo.wait_for_line("Captured")
    wait_until(lambda: not overlay(), "the overlay stays")
    return taken


def measure(desktop, model, rounds):
    desktop.install_model("tiny", model)
    speech = desktop.root / "listening.wav"
    synthesise(speech, " ".join([TEXT] * 3), desktop.env, speed=130)
    quillo = desktop.start_quillo()
    try:
        listening, idle = [], []
        for _ in range(rounds):
            listening.append(listen(desktop, quillo, speech))
            time.sleep(1)
            idle.append(share(quillo.process.pid))
    finally:
        quillo.close()

    interface, others = (statistics.median(part) for part in zip(*listening))
    totals, idle_totals = ([sum(parts) for parts in side] for side in (listening, idle))
    note = (
        f"runs {', '.join(f'{total:.1f}' for total in totals)}; medians: the interface's thread, which draws, "
        f"{interface:.1f}, the others {others:.1f}; the clock has steps of {100 / WATCHED_SECONDS / 100:.1f} %"
    )
    return [
        Row("processor share while listening", statistics.median(totals), "%", statistics.median(idle_totals), "", note)
    ]
