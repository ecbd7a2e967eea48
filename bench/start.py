"""From the start of the process to its icon in the tray, against a bare tray program with the same style sheet."""

import statistics
import time

from desktop import Program
from figures import Row, spread

THEME = "src/app/theme.qss"


def time_to_icon(command, env, watch):
    """Milliseconds until the icon can be seen."""
    watch.skip()
    begin = time.monotonic_ns()
    program = Program(command, env)
    try:
        return (int(watch.wait_for_line(r"^visible (\d+)")[1]) - begin) / 1e6
    finally:
        program.close()


def measure(desktop, binaries, root, model, rounds):
    quillo, bare = [binaries / "quillo"], [binaries / "bare_tray"]
    themed = [*bare, "--theme", root / THEME]
    without_model, with_model, themed_bare, plain_bare = [], [], [], []
    tray = desktop.start_tray()
    watch = Program([binaries / "bench_tray_watch"], desktop.env)
    try:
        watch.wait_for_line("^watching")
        for turn in range(rounds + 1):
            times = []
            for prepare, command in (
                (desktop.remove_models, quillo),
                (desktop.remove_models, themed),
                (desktop.remove_models, bare),
                (lambda: desktop.install_model("tiny", model), quillo),
            ):
                prepare()
                times.append(time_to_icon(command, desktop.env, watch))
            if turn:  # the first round warms up
                for all_times, one in zip((without_model, themed_bare, plain_bare, with_model), times):
                    all_times.append(one)
    finally:
        desktop.remove_models()
        watch.close()
        tray.close()

    comparison = statistics.median(themed_bare)
    others = f"bare tray {spread(themed_bare, 'ms')}; without the style sheet {spread(plain_bare, 'ms')}"

    def row(what, times, goal, note):
        return Row(f"process start to visible icon, {what}", statistics.median(times), "ms", comparison, goal, note)

    size = model.stat().st_size / 2**20
    return [
        row("no model", without_model, "ratio <= 1.3", f"{spread(without_model, 'ms')}; {others}"),
        row("with the small test model", with_model, "", f"{spread(with_model, 'ms')}; a file of {size:.1f} MiB"),
    ]
