"""The download of a model against the curl command: same library, server and file, in turn, into the same folder.

The server is one of our own on loopback that leaves the body to sendfile(), so that it is not what limits.
"""

import shutil
import statistics
import subprocess
import tempfile
import threading
import time
from contextlib import contextmanager
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

from figures import Row, spread

MEMORY = Path("/dev/shm")
MB = 1_000_000
PIECE = 16384  # what libcurl takes at a time


@contextmanager
def serving(handler):
    """The address of a server whose requests such a handler answers."""
    with ThreadingHTTPServer(("127.0.0.1", 0), handler) as server:
        threading.Thread(target=server.serve_forever, daemon=True).start()
        try:
            yield f"http://127.0.0.1:{server.server_port}/"
        finally:
            server.shutdown()


def served(file, megabytes_per_second=None):
    """The address of a file's content, sent as fast as it goes or at a given pace."""

    class Handler(BaseHTTPRequestHandler):
        def do_GET(self):
            with open(file, "rb") as body:
                self.send_response(200)
                self.send_header("Content-Length", str(file.stat().st_size))
                self.end_headers()
                if megabytes_per_second:
                    self.send_slowly(body)
                else:
                    self.connection.sendfile(body)

        def send_slowly(self, body):
            begin, sent = time.monotonic(), 0
            while piece := body.read(PIECE):
                self.connection.sendall(piece)
                sent += len(piece)
                time.sleep(max(0.0, begin + sent / (megabytes_per_second * MB) - time.monotonic()))

        def log_message(self, *_):
            pass

    return serving(Handler)


def ours(program, url, folder):
    """Milliseconds, and growth of the resident set in MiB."""
    done = subprocess.run([program, url, folder, "1"], check=True, capture_output=True, text=True, timeout=300)
    elapsed, growth = done.stdout.split()
    return float(elapsed), int(growth) / 1024


def by_curl(url, folder):
    """Milliseconds by the command's own watch, which leaves out its start."""
    target = folder / "measured.bin"
    command = ["curl", "--silent", "--fail", "--noproxy", "*", "--output", target, "--write-out", "%{time_total}", url]
    done = subprocess.run(command, check=True, capture_output=True, text=True, timeout=300)
    target.unlink()
    return float(done.stdout) * 1000


def throughput_row(program, folder, megabytes, rounds):
    source = folder / "source"
    with open(source, "wb") as file:
        file.truncate(megabytes * MB)
    curl = shutil.which("curl")
    our_speeds, curl_speeds = [], []
    with served(source) as url:
        for turn in range(rounds + 1):
            for side in ("ours", "curl") if turn % 2 else ("curl", "ours"):
                if side == "ours":
                    our_speeds.append(megabytes / ours(program, url, folder)[0] * 1000)
                elif curl:
                    curl_speeds.append(megabytes / by_curl(url, folder) * 1000)
    our_speeds, curl_speeds = our_speeds[1:], curl_speeds[1:]  # without the warm-up
    where = "memory" if folder.parent == MEMORY else "the build folder"
    note = f"{spread(our_speeds, 'MB/s')}; {megabytes} MB from loopback into {where}"
    if curl:
        ratios = [a / b for a, b in zip(our_speeds, curl_speeds)]
        note += f"; curl {spread(curl_speeds, 'MB/s')}; ratio of a pair: {spread([100 * r for r in ratios], '%')}"
    compared = statistics.median(curl_speeds) if curl else None
    name = f"model download, {megabytes / 1000:g} GB"
    return Row(name, statistics.median(our_speeds), "MB/s", compared, "ratio >= 0.95", note)


def memory_row(program, folder, megabytes):
    source = folder / "source"
    with open(source, "wb") as file:
        file.truncate(megabytes * MB)
    with served(source) as url:
        elapsed, growth = ours(program, url, folder)
    note = f"highest resident set during the download less that before it; {megabytes / elapsed:.2f} GB/s"
    return Row(f"model download, {megabytes / 1000:g} GB, memory", growth, "MiB", None, "< 8 MiB", note)


def measure(binaries, quick):
    program = binaries / "bench_download"
    large = 300 if quick else 3000
    # In memory, where no disk is measured, if the large file fits there twice over.
    where = MEMORY if MEMORY.is_dir() and shutil.disk_usage(MEMORY).free > 2 * large * MB else binaries
    with tempfile.TemporaryDirectory(prefix="download-", dir=where) as folder:
        folder = Path(folder)
        return [
            throughput_row(program, folder, 100 if quick else 1000, 2 if quick else 20),
            memory_row(program, folder, large),
        ]
