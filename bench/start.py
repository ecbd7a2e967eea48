"""From the start of the process to its icon in the tray, against a bare tray program with the same style sheet.

On Linux, and for the Windows programs under Wine, whose tray lies in the one of the desktop.
"""

import shutil
import statistics
import subprocess
import time
from contextlib import contextmanager

from desktop import Program
from desktop.wine import windows_data_dir, wine_environment
from figures import Row, spread

THEME = "src/app/theme.qss"


@contextmanager
def watched_tray(desktop, binaries):
    """A tray, and the program that sees icons come to it."""
    tray = desktop.start_tray()
    watch = Program([binaries / "bench_tray_watch"], desktop.env)
    try:
        watch.wait_for_line("^watching")
        yield watch
    finally:
        watch.close()
        tray.close()


def time_to_icon(command, env, watch):
    """Milliseconds until the icon can be seen."""
    watch.skip()
    begin = time.monotonic_ns()
    program = Program(command, env)
    try:
        return (int(watch.wait_for_line(r"^visible (\d+)")[1]) - begin) / 1e6
    finally:
        program.close()


def times_in_turn(starts, env, watch, rounds):
    """The times of each start, a command and what is to be done before it."""
    times = [[] for _ in starts]
    for turn in range(rounds + 1):
        for found, (command, prepare) in zip(times, starts):
            prepare()
            time = time_to_icon(command, env, watch)
            if turn:  # the first round warms up
                found.append(time)
    return times


def measure(desktop, binaries, root, model, rounds):
    quillo, bare = [binaries / "quillo"], [binaries / "bare_tray"]
    starts = [
        (quillo, desktop.remove_models),
        (quillo, lambda: desktop.install_model("tiny", model)),
        ([*bare, "--theme", root / THEME], desktop.remove_models),
        (bare, desktop.remove_models),
    ]
    with watched_tray(desktop, binaries) as watch:
        without_model, with_model, themed_bare, plain_bare = times_in_turn(starts, desktop.env, watch, rounds)
    desktop.remove_models()

    comparison = statistics.median(themed_bare)
    others = f"bare tray {spread(themed_bare, 'ms')}; without the style sheet {spread(plain_bare, 'ms')}"

    def row(what, times, goal, note):
        return Row(f"process start to visible icon, {what}", statistics.median(times), "ms", comparison, goal, note)

    size = model.stat().st_size / 2**20
    return [
        row("no model", without_model, "ratio <= 2", f"{spread(without_model, 'ms')}; {others}"),
        row("with the small test model", with_model, "", f"{spread(with_model, 'ms')}; a file of {size:.1f} MiB"),
    ]


def measure_windows(desktop, binaries, windows, wine_home, root, rounds):
    """`windows` is the folder of the Windows programs."""
    env = wine_environment(desktop, wine_home)
    shutil.rmtree(windows_data_dir(wine_home), ignore_errors=True)
    # Wine's services, which come with the first program and stay, would keep its output open.
    wine = ["sh", "-c", 'exec wine "$@" >/dev/null 2>&1', "wine"]
    starts = [
        ([*wine, windows / "Quillo.exe"], lambda: None),
        ([*wine, windows / "bare_tray.exe", "--theme", root / THEME], lambda: None),
    ]
    # Its own start is not measured.
    subprocess.run(["wineserver", "--persistent"], env=env, check=True, stdout=subprocess.DEVNULL, timeout=60)
    try:
        with watched_tray(desktop, binaries) as watch:
            ours, bare = times_in_turn(starts, env, watch, rounds)
    finally:
        subprocess.run(["wineserver", "--kill"], env=env, check=False, timeout=60)
    note = f"{spread(ours, 'ms')}; bare tray {spread(bare, 'ms')}"
    name = "Windows program under Wine, process start to visible icon"
    return [Row(name, statistics.median(ours), "ms", statistics.median(bare), "", note)]
