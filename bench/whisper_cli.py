"""whisper.cpp's own command line, run as Quillo's recognition runs: greedy, English, no time stamps, four threads.

Everything that these options leave open has the same value in both: fallback temperatures in steps of 0.2, five
candidates above temperature 0, the same thresholds, flash attention.
"""

import os
import re
import shutil
import subprocess

OPTIONS = ["-bs", "1", "-t", "4", "-l", "en", "-nt"]


class WhisperCli:
    """`prefix` is where whisper.cpp is installed; empty for the system's."""

    def __init__(self, prefix, model):
        self._env = dict(os.environ)
        self._program = shutil.which("whisper-cli")
        if prefix:
            self._program = f"{prefix}/bin/whisper-cli"
            self._env["LD_LIBRARY_PATH"] = f"{prefix}/lib"
        if not self._program:
            raise SystemExit("error: whisper.cpp's command line (whisper-cli) is not installed")
        self._model = model

    def transcribe(self, wav):
        """Returns the text, and the milliseconds from the loaded model to the printed text by its own clock."""
        command = [self._program, "-m", self._model, *OPTIONS, wav]
        done = subprocess.run(command, env=self._env, check=True, capture_output=True, text=True, timeout=120)
        times = dict(re.findall(r"(\w+) time = +([\d.]+) ms", done.stderr))
        return done.stdout.strip(), float(times["total"]) - float(times["load"])
