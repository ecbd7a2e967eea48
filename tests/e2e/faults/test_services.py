"""A remote service that is slow, silent, untruthful or gone, at each phase of a request; the local model takes over."""

import unittest

import common
import private_network
from support import DesktopTest

SPOKEN = "hello world"
REPLY = '{"text": "from afar"}'
FROM_AFAR = "from afar"

ANSWERS = {
    # of the service: what is done with the request, what is pasted
    "closes after the request's headers": ({"how": "hang-up"}, SPOKEN),
    "closes without an answer": ({"how": "drop"}, SPOKEN),
    "closes in the middle of the body": ({"how": "cut"}, SPOKEN),
    "sends less than it said": ({"how": "short"}, SPOKEN),
    "sends more than it said": ({"how": "long"}, FROM_AFAR),
    "does not say how much it sends": ({"how": "no-length"}, FROM_AFAR),
    "is slow": ({"chunk": 1, "delay": 0.1}, FROM_AFAR),
    "answers with something else": ({"body": "<html>Sign in to this network</html>"}, SPOKEN),
    "answers with nothing": ({"body": ""}, SPOKEN),
    "answers without end": ({"size": 64 << 20}, SPOKEN),
    "sends elsewhere": ({"status": 302, "headers": {"Location": "https://api.openai.com/"}}, SPOKEN),
    "refuses the key": ({"status": 401}, SPOKEN),
    "has broken down": ({"status": 503}, SPOKEN),
}
SILENCES = {"never answers": ({"how": "stall"}, SPOKEN), "falls silent in the body": ({"how": "stall-midway"}, SPOKEN)}


class Cloud(DesktopTest):
    def setUp(self):
        super().setUp()
        self.desktop.configure(transcriptionSource="openai", openaiKey="sk-none", openaiEnabled=True)

    def expect_dictation(self, text, fault):
        self.editor.clear()
        self.hold_and_speak(SPOKEN)
        self.expect_paste(text)
        took_over = self.quillo.count("Trying local transcription")
        self.assertEqual(took_over, self.taken_over + (text == SPOKEN), fault)
        self.taken_over = took_over

    def expect_dictations(self, faults):
        """Goes through all the faults with one program."""
        self.start()
        self.taken_over = 0
        for fault, (begin, text) in faults.items():
            with self.subTest(fault):
                begin()
                self.expect_dictation(text, fault)
        self.expect_orderly_end()


class Answers(private_network.ServicesTest, Cloud):
    def test_answers(self):
        def giving(answer):
            return lambda: self.services.answer(**({} if "size" in answer else {"body": REPLY}) | answer)

        faults = ANSWERS | (SILENCES if common.LONG else {})
        self.expect_dictations({fault: (giving(answer), text) for fault, (answer, text) in faults.items()})


def open_tunnel(connection):
    connection.recv(4096)
    connection.sendall(b"HTTP/1.1 200 Connection established\r\n\r\n")


def close_in_handshake(connection):
    open_tunnel(connection)
    connection.recv(16)


def answer_in_clear(connection):
    open_tunnel(connection)
    connection.recv(4096)
    connection.sendall(b"HTTP/1.1 400 Bad Request\r\n\r\n")


class Connections(Cloud):
    def test_connections(self):
        proxy = self.use_proxy(None)
        phases = {
            "closes at once": lambda connection: None,
            "closes during the handshake": close_in_handshake,
            "speaks no TLS": answer_in_clear,
        }
        faults = {
            name: (lambda behaviour=behaviour: setattr(proxy, "behave", behaviour), SPOKEN)
            for name, behaviour in phases.items()
        }
        self.expect_dictations(faults | {"refuses connections": (proxy.close, SPOKEN)})


if __name__ == "__main__":
    private_network.enter()
    unittest.main()
