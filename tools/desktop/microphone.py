"""A microphone without hardware: a private sound server whose null sink is recorded from."""

import signal
import subprocess
import threading
import time
import wave
from pathlib import Path

from .program import PATIENCE, Program, wait_until

HERE = Path(__file__).parent
SINK = "microphone"


class Microphone:
    """Plays speech into the recordings of every program that has this environment."""

    def __init__(self, env):
        self._env = env
        self._start()

    def _start(self):
        how = ["--daemonize=no", "--exit-idle-time=-1", "--disable-shm=yes"]
        self._server = Program(["pulseaudio", "-n", "-F", HERE / "default.pa", *how], self._env)
        wait_until(self._socket.exists, lambda: "no sound server:\n" + self._server.tail())
        self._listen()

    def _listen(self):
        # An idle null sink hands out blocks of up to two seconds. One recorder that asks for a short delay keeps the
        # blocks short for everyone; it takes the sink a moment to follow.
        self._recorder = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "parec", "--latency-msec=10", "--channels=1", "-d", SINK + ".monitor"],
            env=self._env,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            start_new_session=True,
        )
        self._smooth_since = None
        self._drain = threading.Thread(target=self._keep_alive, daemon=True)
        self._drain.start()

    @property
    def _socket(self):
        return Path(self._env["XDG_RUNTIME_DIR"], "pulse", "native")

    def _keep_alive(self):
        last = time.monotonic()
        while self._recorder.stdout.read1(65536):
            now = time.monotonic()
            if now - last > 0.2 or self._smooth_since is None:
                self._smooth_since = now
            last = now
        self._smooth_since = None

    def wait_until_smooth(self, seconds=1.5):
        """Waits until sound has been arriving in short blocks for the given time."""
        wait_until(
            lambda: self._smooth_since and time.monotonic() - self._smooth_since > seconds,
            lambda: "the microphone stutters:\n" + self._server.tail(),
        )

    def play(self, path):
        """Plays a sound file to its end."""
        subprocess.run(["paplay", f"--device={SINK}", path], env=self._env, check=True, timeout=PATIENCE + 60)

    def listeners(self):
        """How many programs are recording at this moment."""
        return len(self._control("list", "short", "source-outputs").splitlines()) - 1  # the recorder of our own

    def kill_server(self):
        """Ends the sound server at once, and with it the microphone."""
        self._server.signal(signal.SIGKILL)
        self._server.wait()
        self.close()
        self._socket.unlink()

    def unplug(self):
        """Takes the microphone away from the sound server, which lives on."""
        self._control("unload-module", "module-null-sink")
        self._stop_listening()

    def plug_in(self):
        """Brings it back."""
        for command in (HERE / "default.pa").read_text().splitlines():
            if SINK in command and not command.startswith("#"):
                self._control(*command.split())
        self._listen()
        self.wait_until_smooth()

    def _control(self, *command):
        command = ["pactl", *command]
        answer = subprocess.run(command, env=self._env, check=True, capture_output=True, text=True, timeout=PATIENCE)
        return answer.stdout

    def suspend_server(self):
        """Lets the sound server hang: nothing comes from it any more, and nobody who asks it gets an answer."""
        self._server.signal(signal.SIGSTOP)

    def resume_server(self):
        """The sound server goes on, and answers what it was asked meanwhile."""
        self._smooth_since = None
        self._server.signal(signal.SIGCONT)
        self.wait_until_smooth()

    def restart_server(self):
        """Brings the microphone back."""
        self._start()
        self.wait_until_smooth()

    def _stop_listening(self):
        self._recorder.kill()
        self._recorder.wait()
        self._drain.join(5)
        self._recorder.stdout.close()

    def close(self):
        self._stop_listening()
        self._server.close()


def synthesise(path, text, env, voice="en-us", speed=150, amplitude=100, silence=0.3):
    """Writes a WAV file of a text spoken at `speed` words a minute, with silence (seconds) on both sides."""
    command = ["espeak-ng", "-v", voice, "-s", str(speed), "-a", str(amplitude), "-w", str(path), text]
    subprocess.run(command, env=env, check=True, timeout=PATIENCE)
    with wave.open(str(path)) as spoken:
        params, frames = spoken.getparams(), spoken.readframes(spoken.getnframes())
    frames = frames[: (len(frames.rstrip(bytes(1))) + 1) & ~1]  # the synthesiser's own silence at the end
    quiet = bytes(round(silence * params.framerate) * params.sampwidth * params.nchannels)
    with wave.open(str(path), "wb") as padded:
        padded.setparams(params)
        padded.writeframes(quiet + frames + quiet)


def write_silence(path, seconds, rate=16000):
    """Writes a WAV file of digital silence."""
    with wave.open(str(path), "wb") as quiet:
        quiet.setparams((1, 2, rate, 0, "NONE", ""))
        quiet.writeframes(bytes(2 * round(seconds * rate)))
