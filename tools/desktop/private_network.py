"""The remote services under their real names, for this machine's programs inside a private network alone.

A process starts itself once more in mount and network namespaces of its own, where the names lead to loopback
and an authority of its own vouches for them. Nothing outside sees any of it.
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from .program import Program, wait_until

HOSTS = ["api.openai.com", "api.mistral.ai", "huggingface.co"]
AUTHORITIES = Path("/etc/ssl/certs/ca-certificates.crt")
MARK = "QUILLO_PRIVATE_NETWORK"


def model_address(model_id):
    """Where the program fetches a model from."""
    return f"huggingface.co/ggerganov/whisper.cpp/resolve/main/ggml-{model_id}.bin"


UNSHARE = ["unshare", *([] if os.geteuid() == 0 else ["-r"]), "-m", "-n"]


def _why_unavailable():
    missing = [tool for tool in ("unshare", "ip", "mount", "openssl") if not shutil.which(tool)]
    if missing or not AUTHORITIES.exists():
        return f"not installed: {missing or AUTHORITIES}"
    trial = [*UNSHARE, "sh", "-c", "ip link set lo up && mount --bind /etc/hosts /etc/hosts"]
    answer = subprocess.run(trial, capture_output=True, text=True, timeout=60)
    return "no private namespaces: " + answer.stderr.strip() if answer.returncode else ""


UNAVAILABLE = "" if MARK in os.environ else _why_unavailable()
"""The reason why there can be no private network here, empty where there can."""


def enter():
    """Continues this script in a private network; returns there, or at once where there can be none."""
    if MARK not in os.environ and not UNAVAILABLE:
        os.environ[MARK] = "1"
        sys.stdout.flush()
        os.execvp("unshare", [*UNSHARE, sys.executable, "-B", *sys.argv])


class Services:
    """The stand-in for all the services, over TLS; a context manager."""

    PATH = "/v1/audio/transcriptions"

    def __enter__(self):
        self.folder = Path(tempfile.mkdtemp(prefix="quillo-services-"))
        self._prepare_names()
        script = Path(__file__).with_name("stand_in_services.py")
        certificate = ["--cert", self.folder / "cert.pem", "--key", self.folder / "key.pem"]
        command = [sys.executable, "-B", script, self.folder, "--port", "443", *certificate]
        self._server = Program(command, dict(os.environ))
        wait_until((self.folder / "port").exists, lambda: "no services:\n" + self._server.tail())
        return self

    def __exit__(self, *_):
        self._server.close()
        shutil.rmtree(self.folder, ignore_errors=True)

    def answer(self, **answer):
        """What transcriptions are answered with from now on; the requests so far are forgotten."""
        self.answer_all({self.PATH: answer})

    def answer_all(self, answers):
        """The same for any paths."""
        (self.folder / "requests.jsonl").unlink(missing_ok=True)
        new = self.folder / "answers.new"
        new.write_text(json.dumps(answers))
        new.replace(self.folder / "answers.json")

    def requests(self):
        file = self.folder / "requests.jsonl"
        return [json.loads(line) for line in file.read_text().splitlines()] if file.exists() else []

    def content(self, part):
        return (self.folder / part["file"]).read_bytes()

    def _prepare_names(self):
        self._shadow(Path("/etc/hosts"), "127.0.0.1 " + " ".join(HOSTS) + "\n")
        names = ",".join("DNS:" + host for host in HOSTS)
        request = ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=stand-in"]
        request += ["-addext", f"subjectAltName={names}", "-keyout", "key.pem", "-out", "cert.pem"]
        subprocess.run(request, cwd=self.folder, check=True, capture_output=True, timeout=60)
        self._shadow(AUTHORITIES, (self.folder / "cert.pem").read_text())
        subprocess.run(["ip", "link", "set", "lo", "up"], check=True, timeout=60)

    def _shadow(self, file, more):
        shadow = self.folder / file.name
        shadow.write_text(file.read_text() + more)
        subprocess.run(["mount", "--bind", shadow, file], check=True, timeout=60)
