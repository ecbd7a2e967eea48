#!/usr/bin/env python3
"""Stands in for the remote services: an HTTP server on loopback that answers as it is told and records what it gets.

    stand_in_services.py FOLDER [--port N] [--cert FILE --key FILE]

It ends when its standard input does. Everything passes through files in FOLDER, so that a test in any language can use
it:

  port             written once connections are accepted: the number of the port (--port 0, the default: any free one)
  answers.json     read afresh for every request: an object whose keys are paths, or host/path for one host only, and
                   whose values are answers, or lists of answers to be given in turn, the last one for ever. A request
                   for anything else is answered with 404.
  requests.jsonl   one JSON object for each request, in the order of arrival: method, host, path (with its query),
                   headers (names in lower case), size, and of a form its parts: name, fileName, type, size, file
  part-N.bin       the content of a part, as named by "file"

An answer is an object, each member of which may be left out:

  status     200
  headers    {}; a redirect is a status and a "Location"
  body       "", text; or "file": path, a file's bytes; or "size": that many zero bytes
  how        "whole"; "drop": closes without an answer; "stall": reads the request and never answers;
             "cut", "stall-midway", "short", "long": announces the whole length, sends half of the body and then resets
             the connection, or falls silent, or closes it; or sends twice the body;
             "no-length": announces no length, the end of the connection is the end
  chunk      65536, bytes to send at once
  delay      0, seconds to wait before each chunk
  after      0, requests that must have arrived in all before this one is answered, itself included
"""

import argparse
import email
import io
import json
import os
import socket
import ssl
import struct
import sys
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

FOREVER = threading.Event()


class Record:
    """All requests so far, shared by the threads of the connections."""

    def __init__(self, folder):
        self.folder = folder
        self.changed = threading.Condition()
        self.requests = 0
        self.parts = 0
        self.given = {}  # key of answers.json -> number of answers given

    def add(self, request, parts):
        with self.changed:
            for part in parts:
                self.parts += 1
                part["file"] = f"part-{self.parts}.bin"
                (self.folder / part["file"]).write_bytes(part.pop("content"))
            with open(self.folder / "requests.jsonl", "a", encoding="utf-8") as log:
                log.write(json.dumps(request | {"parts": parts}) + "\n")
            self.requests += 1
            self.changed.notify_all()

    def wait_for(self, requests):
        with self.changed:
            self.changed.wait_for(lambda: self.requests >= requests)

    def answer(self, host, path):
        path = path.partition("?")[0]
        answers = json.loads((self.folder / "answers.json").read_text(encoding="utf-8"))
        key = host + path if host + path in answers else path
        answer = answers.get(key, {"status": 404})
        if isinstance(answer, dict):
            return answer
        with self.changed:
            number = self.given[key] = self.given.get(key, 0) + 1
        return answer[min(number, len(answer)) - 1]


def form_parts(content_type, body):
    header = email.message_from_string(f"Content-Type: {content_type}\n\n")
    if header.get_content_type() != "multipart/form-data":
        return []
    parts = []
    for piece in (b"\r\n" + body).split(b"\r\n--" + header.get_boundary().encode())[1:-1]:
        head, _, content = piece.removeprefix(b"\r\n").partition(b"\r\n\r\n")
        part = email.message_from_bytes(head + b"\r\n\r\n")
        parts.append({"name": part.get_param("name", header="Content-Disposition"), "fileName": part.get_filename(),
                      "type": part["Content-Type"], "size": len(content), "content": content})
    return parts


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    record: Record

    def do_GET(self):
        self.close_connection = True
        host = self.headers.get("Host", "")
        answer = self.record.answer(host.partition(":")[0], self.path)
        how = answer.get("how", "whole")
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        self.record.add({"method": self.command, "host": host, "path": self.path, "size": len(body),
                         "headers": {name.lower(): value for name, value in self.headers.items()}},
                        form_parts(self.headers.get("Content-Type", ""), body))
        self.record.wait_for(answer.get("after", 0))
        if how == "stall":
            FOREVER.wait()
        if how != "drop":
            self.give(answer, how)

    do_POST = do_CONNECT = do_GET

    def give(self, answer, how):
        content = answer.get("body", "").encode() or bytes(answer.get("size", 0))
        with open(answer["file"], "rb") if "file" in answer else io.BytesIO(content) as body:
            size = body.seek(0, io.SEEK_END)
            body.seek(0)
            self.send_response(answer.get("status", 200))
            for name, value in answer.get("headers", {}).items():
                self.send_header(name, value)
            if how != "no-length":
                self.send_header("Content-Length", str(size))
            self.send_header("Connection", "close")
            self.end_headers()
            self.send_body(body, size // 2 if how in ("cut", "stall-midway", "short") else size, answer)
            if how == "long":
                body.seek(0)
                self.send_body(body, size, answer)
        if how == "stall-midway":
            FOREVER.wait()
        if how == "cut":  # closing without lingering sends a reset
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))

    def send_body(self, body, size, answer):
        while size > 0:
            time.sleep(answer.get("delay", 0))
            chunk = body.read(min(answer.get("chunk", 65536), size))
            self.wfile.write(chunk)
            size -= len(chunk)

    def log_message(self, *_):
        pass


class Server(ThreadingHTTPServer):
    request_queue_size = 64
    tls = None

    def finish_request(self, request, client_address):  # on the connection's own thread, so that a handshake may stall
        if self.tls:
            request = self.tls.wrap_socket(request, server_side=True)
        super().finish_request(request, client_address)
        if self.tls:
            request.close()

    def handle_error(self, request, client_address):
        print(f"stand-in services: {sys.exc_info()[1]}", file=sys.stderr)


def main():
    parser = argparse.ArgumentParser(description="Stands in for the remote services.")
    parser.add_argument("folder", type=Path)
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--cert")
    parser.add_argument("--key")
    arguments = parser.parse_args()

    (arguments.folder / "answers.json").write_text("{}")
    Handler.record = Record(arguments.folder)
    server = Server(("127.0.0.1", arguments.port), Handler)
    if arguments.cert:
        server.tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        server.tls.load_cert_chain(arguments.cert, arguments.key)
    threading.Thread(target=server.serve_forever, daemon=True).start()

    (arguments.folder / "port.new").write_text(str(server.server_port))
    os.replace(arguments.folder / "port.new", arguments.folder / "port")
    sys.stdin.read()


if __name__ == "__main__":
    main()
