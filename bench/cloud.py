#!/usr/bin/env python3
"""From the end of a dictation to its paste when a remote service recognises, less the time that the service takes.

A script of its own, since the names of the services lead to their stand-in only inside a private network: it prints its
times as JSON. In between lies the real way: TLS to the name of the service, upload, answer.
"""

import argparse
import http.client
import json
import ssl
import statistics
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path.append(str(ROOT / "tools"))
sys.dont_write_bytecode = True

from desktop import HOTKEY, Desktop, private_network  # noqa: E402
from figures import Row, spread  # noqa: E402

SERVICE_MS = 300
TEXT = "recognised elsewhere"
HOST = "api.openai.com"


def dictate(desktop, quillo):
    """From the release of the keys to Ctrl+V, ms, and to the line that announces the upload."""
    desktop.editor.clear()
    desktop.keyboard.press(*HOTKEY)
    desktop.speak("hello world")
    released = desktop.keyboard.release(*reversed(HOTKEY))[0]
    quillo.wait_for_line("Trying cloud transcription")
    uploading = next(at for line, at in reversed([*zip(quillo.lines, quillo.times)]) if "Trying cloud" in line)
    desktop.editor.wait_for_text(TEXT)
    pasted = next(event for event in desktop.editor.events if "KeyPress Key_V modifiers=ControlModifier " in event)
    return (int(pasted.split()[0]) - released) / 1e6, (uploading - released) / 1e6


def exchange(services, form):
    """The same upload by a bare client, ms."""
    context = ssl.create_default_context(cafile=private_network.AUTHORITIES)
    begin = time.monotonic_ns()
    connection = http.client.HTTPSConnection(HOST, context=context, timeout=30)
    connection.request("POST", services.PATH, form, {"Content-Type": "multipart/form-data; boundary=border"})
    connection.getresponse().read()
    connection.close()
    return (time.monotonic_ns() - begin) / 1e6


def form_like(services):
    """A form with the file of the last upload."""
    wav = services.content(services.requests()[-1]["parts"][0])
    head = '--border\r\nContent-Disposition: form-data; name="file"; filename="audio.wav"\r\n\r\n'
    return head.encode() + wav + b"\r\n--border--\r\n"


def times(binaries, count):
    with private_network.Services() as services, Desktop(binaries, binaries / "quillo") as desktop:
        services.answer(body=json.dumps({"text": TEXT}), delay=SERVICE_MS / 1000)
        desktop.configure(transcriptionSource="openai", openaiKey="sk-measured", openaiEnabled=True)
        quillo = desktop.start_quillo()
        ours, noticed, bare = [], [], []
        for _ in range(count):
            pasted, uploading = dictate(desktop, quillo)
            ours.append(pasted - SERVICE_MS)
            noticed.append(uploading)
            bare.append(exchange(services, form_like(services)) - SERVICE_MS)
        return {"pasted": ours, "uploading": noticed, "bare": bare}


def measure(binaries, count):
    if private_network.UNAVAILABLE:
        print(f"Remote recognition is left out: {private_network.UNAVAILABLE}")
        return []
    command = [sys.executable, "-B", Path(__file__), "--binaries", binaries, "--count", str(count)]
    done = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, timeout=300)
    found = json.loads(done.stdout.splitlines()[-1])
    note = (
        f"{spread(found['pasted'], 'ms')}. Medians: release to upload {statistics.median(found['uploading']):.1f}, the "
        f"same upload by a bare client {statistics.median(found['bare']):.1f} less the service's {SERVICE_MS}, which is "
        "handshake and transfer; 50 are a pause"
    )
    median = statistics.median(found["pasted"])
    return [Row("key release to Ctrl+V less the remote service's time, median", median, "ms", None, "<= 70 ms", note)]


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--binaries", type=Path, required=True)
    arguments.add_argument("--count", type=int, required=True)
    options = arguments.parse_args()
    private_network.enter()
    print(json.dumps(times(options.binaries, options.count)))


if __name__ == "__main__":
    main()
