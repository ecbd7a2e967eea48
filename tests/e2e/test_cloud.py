"""Recognition by the remote services, under their real names and over real TLS."""

import struct
import unittest
from pathlib import Path

import private_network
from support import DesktopTest, wait_until

KEY = "sk-end-to-end-0123456789"


class Cloud(private_network.ServicesTest, DesktopTest):
    def start_with_source(self, source):
        self.desktop.configure(transcriptionSource=source, openaiKey=KEY, openaiEnabled=True)
        self.start()

    def expect_request(self):
        """Checks that one upload has come, and everything in it."""
        captured = self.captured_samples()
        (request,) = self.services.requests()
        self.assertEqual((request["method"], request["host"]), ("POST", "api.openai.com"))
        self.assertEqual(request["path"], self.services.PATH)
        self.assertEqual(request["headers"]["authorization"], "Bearer " + KEY)
        parts = [(part["name"], part["fileName"], part["type"]) for part in request["parts"]]
        self.assertEqual(parts, [("file", "audio.wav", "audio/wav"), ("model", None, None)])
        wav, model = map(self.services.content, request["parts"])
        self.assertEqual(model, b"whisper-1")
        size = captured * 2
        header = struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + size, b"WAVE", b"fmt ", 16, 1, 1, 16000, 32000, 2, 16,
                             b"data", size)  # fmt: skip
        self.assertEqual(wav[:44], header)
        self.assertEqual(len(wav), 44 + size)
        self.assertGreater(max(abs(sample) for (sample,) in struct.iter_unpack("<h", wav[44:])), 1000)

    def expect_secret_key(self):
        self.assertEqual(self.quillo.count(KEY), 0)
        self.assertNotIn(KEY.encode(), Path(f"/proc/{self.quillo.process.pid}/cmdline").read_bytes())

    def test_service_transcribes(self):
        self.services.answer(body='{"text": " Says the \\"service\\".\\n"}')
        self.start_with_source("openai")
        self.hold_and_speak("hello world")
        self.expect_paste('Says the "service".')
        self.expect_request()
        self.expect_secret_key()
        self.assertEqual(self.quillo.count("Trying local"), 0)
        self.expect_orderly_end()

    def test_service_takes_over_without_a_local_model(self):
        self.services.answer(body='{"text": "from afar"}')
        away = self.active_model_file.rename(self.active_model_file.with_suffix(".away"))
        self.addCleanup(away.rename, self.active_model_file)
        self.start_with_source("local")
        self.hold_and_speak("hello world")
        self.expect_paste("from afar")
        self.expect_request()
        self.assertEqual(self.quillo.count(r"Trying cloud transcription \(local\)"), 1)
        self.expect_orderly_end()

    def test_unanswered_upload_delays_the_end_but_loses_nothing(self):
        self.services.answer(how="stall")
        self.start_with_source("openai")
        self.hold_and_speak("hello world")
        wait_until(self.services.requests, lambda: "no upload")
        self.expect_orderly_end()
        self.expect_paste("hello world")


if __name__ == "__main__":
    private_network.enter()
    unittest.main()
