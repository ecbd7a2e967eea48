"""What grows with the length of a recording, the size of the history and the number of reports.

See recording.cpp, history.cpp and reports.cpp.
"""

import json
import statistics
import subprocess
import tempfile
import time
from http.server import BaseHTTPRequestHandler
from pathlib import Path

from download import MB, served, serving
from figures import Curve
from files import MEMORY, history_times

LENGTHS = {"1 s": 1, "10 s": 10, "1 min": 60, "10 min": 600, "60 min": 3600}
ENTRIES = [0, 10, 100, 250, 500]
RATES = [31, 310, 3100]  # a microphone makes 31 blocks a second
SPEEDS = {"10 MB/s": 10, "100 MB/s": 100, "unlimited": None}


def service(arrivals):
    """A service of recognition that answers at once. Notes when the head of each request arrived, monotonic ns."""

    class Handler(BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"

        def do_POST(self):
            self.rfile.read(int(self.headers["Content-Length"]))
            answer = json.dumps({"text": "measured"}).encode()
            self.send_response(200)
            self.send_header("Content-Length", str(len(answer)))
            self.end_headers()
            self.wfile.write(answer)

        def parse_request(self):
            arrivals.append(time.monotonic_ns())
            return super().parse_request()

        def log_message(self, *_):
            pass

    return serving(Handler)


def recording_curves(desktop, program, rounds):
    """Every recording uploads; what happens before and during that grows with its length."""
    memory, uploads, pastes = {}, {}, {}
    for name, seconds in LENGTHS.items():
        arrivals = []
        with service(arrivals) as url:
            command = [program, url, *[str(seconds)] * rounds]
            done = subprocess.run(
                command, env=desktop.env, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=300
            )
        runs = [list(map(int, line.split())) for line in done.stdout.splitlines()]
        size_kib = seconds * 16000 * 4 / 1024
        memory[name] = statistics.median(kib / size_kib for kib, _, _ in runs)
        begun = [arrived - released for (_, released, _), arrived in zip(runs, arrivals[-rounds:])]
        uploads[name] = statistics.median(begun) / 1e6
        pastes[name] = statistics.median(pasted - released for _, released, pasted in runs) / 1e6
    return [
        Curve("recording and upload, highest memory", memory, "x the samples", "60 min: <= 2.6"),
        Curve("recording, release to begin of the upload", uploads, "ms"),
        Curve("recording, release to paste, upload included", pastes, "ms", "", "50 of them a pause"),
    ]


def history_curves(program, count):
    appends, loads = {}, {}
    for entries in ENTRIES:
        ours, _, load = history_times(program, MEMORY if MEMORY.is_dir() else program.parent, entries, count)
        appends[entries], loads[entries] = statistics.median(ours), statistics.median(load)
    return [
        Curve("history of so many entries of 2 KB, append", appends, "ms", "500: < 5"),
        Curve("history of so many entries of 2 KB, load", loads, "ms"),
    ]


def reports(desktop, program, *arguments):
    """Reports per second, and per cent of a core that the thread of the user interface took."""
    command = [program, *map(str, arguments)]
    done = subprocess.run(
        command, env=desktop.env, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=120
    )
    return map(float, done.stdout.split())


def level_curves(desktop, program):
    def curve(which, name):
        return Curve(name, {rate: [*reports(desktop, program, which, rate)][1] for rate in RATES}, "% of a core")

    return [
        curve("overlay", "so many levels a second on the overlay, user interface"),
        curve("meter", "so many levels a second in the microphone test, user interface"),
    ]


def download_curve(desktop, program, largest):
    shares, note = {}, []
    with tempfile.TemporaryDirectory(prefix="growth-", dir=MEMORY if MEMORY.is_dir() else program.parent) as folder:
        source = Path(folder, "source")
        for name, speed in SPEEDS.items():
            with open(source, "wb") as file:
                file.truncate((3 * speed if speed else largest) * MB)
            with served(source, speed) as url:
                rate, shares[name] = reports(desktop, program, "download", url, folder)
            note.append(f"{name} makes {rate:.0f} reports a second")
    return Curve("download of a model, user interface", shares, "% of a core", "", "; ".join(note))


def measure(desktop, binaries, quick):
    return [
        *recording_curves(desktop, binaries / "bench_recording", 1 if quick else 5),
        *history_curves(binaries / "bench_history", 5 if quick else 50),
        *level_curves(desktop, binaries / "bench_reports"),
        download_curve(desktop, binaries / "bench_reports", 300 if quick else 3000),
    ]
