"""A call of examples/echo's service over a raw socket, for tests that say what no
client of ours would, and a few messages of echo.proto as bytes."""

import base64
import os
import socket
import struct

OK = "0 "
DEADLINE_PASSED = "7"

# Opcodes of frames.
TEXT, BINARY, CLOSE = 1, 2, 8


def varint(number):
    """As protobuf writes it."""
    low = bytes([number & 0x7F | (0x80 if number > 0x7F else 0)])
    return low + (varint(number >> 7) if number > 0x7F else b"")


def line(text):
    """A Line with that text."""
    return b"\n" + varint(len(text)) + text


def repeat_request(text, times):
    """A RepeatRequest."""
    return b"\n" + varint(len(line(text))) + line(text) + b"\x10" + varint(times)


def frame(opcode, payload, length=None, first=0x80):
    """A masked frame, of a payload that says to be of another length if it is given."""
    length = len(payload) if length is None else length
    size = (
        struct.pack("!B", 0x80 | length)
        if length < 126
        else struct.pack("!BH", 0xFE, length)
        if length < 1 << 16
        else struct.pack("!BQ", 0xFF, length)
    )
    # The mask is zero, so the payload stays as it is.
    return bytes([first | opcode]) + size + bytes(4) + payload


class RawCall:
    """A connection; with `method` a call on it that the server has accepted."""

    def __init__(self, port, method=None, headers=""):
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=60)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.received = b""
        if method:
            key = base64.b64encode(os.urandom(16)).decode()
            self.send(
                f"GET /demo.echo.Echo/{method} HTTP/1.1\r\nHost: localhost\r\n"
                "Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                f"Sec-WebSocket-Key: {key}\r\n{headers}\r\n".encode()
            )
            while b"\r\n\r\n" not in self.received:
                self._receive()
            head, self.received = self.received.split(b"\r\n\r\n", 1)
            assert head.startswith(b"HTTP/1.1 101 "), head

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, data):
        self.socket.sendall(data)

    def _receive(self):
        data = self.socket.recv(65536)
        if not data:
            raise ConnectionError("the server closed the connection")
        self.received += data

    def _take(self, size):
        while len(self.received) < size:
            self._receive()
        taken, self.received = self.received[:size], self.received[size:]
        return taken

    def read_frame(self):
        """Opcode and payload of the next one."""
        opcode, size = self._take(2)
        if size >= 126:
            size = int.from_bytes(self._take(2 if size == 126 else 8), "big")
        return opcode & 15, self._take(size)

    def read_end(self):
        """The answers, and the text of the end."""
        answers = []
        while True:
            opcode, payload = self.read_frame()
            if opcode == TEXT:
                return answers, payload.decode()
            if opcode == BINARY:
                answers.append(payload)


def say(port, text):
    """A whole call of Say; what was answered, and the end."""
    with RawCall(port, "Say") as call:
        call.send(frame(BINARY, line(text)) + frame(TEXT, OK.encode()))
        return call.read_end()
