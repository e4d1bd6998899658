"""What examples/echo's server says on the wire: to a client that nobody here wrote,
Debian's python3-websockets, and to those that keep to no rule."""

import asyncio
import re
import subprocess

import pytest

from runtime.raw_call import BINARY, OK, TEXT, RawCall, frame, line, say


@pytest.fixture(name="websockets")
def fixture_websockets():
    """The client's module."""
    return pytest.importorskip("websockets")


@pytest.fixture(name="port")
def fixture_port(built):
    """The port of an echo_server."""
    with subprocess.Popen(
        [built.build / "tests/generated/example_echo_server"], stdout=subprocess.PIPE, text=True
    ) as server:
        (port,) = re.findall(r"^listening on port (\d+)$", server.stdout.readline())
        yield int(port)
        server.terminate()
        server.communicate(timeout=12)


def test_says(port, websockets):
    async def call():
        async with websockets.connect(f"ws://127.0.0.1:{port}/demo.echo.Echo/Say") as connection:
            await connection.send(line(b"good morning"))
            await connection.send(OK)
            return [message async for message in connection]

    assert asyncio.run(call()) == [line(b"good morning"), OK]


def test_chats(port, websockets):
    async def call():
        async with websockets.connect(f"ws://127.0.0.1:{port}/demo.echo.Echo/Chat") as connection:
            for text in (b"one", b"two"):
                await connection.send(line(text))
                assert await connection.recv() == line(b"you said: " + text)
            await connection.send(OK)
            return [message async for message in connection]

    assert asyncio.run(call()) == [OK]


HEADERS = "4 the%20headers%20cannot%20be%20read"
NO_END = "4 a%20text%20came%20that%20is%20no%20end"


@pytest.mark.parametrize(
    "method, headers, frames, end",
    [
        ("No", "", b"", "2 no%20method%20demo.echo.Echo%2FNo%20is%20known"),
        ("Chat", "Qarn-Timeout: soon\r\n", b"", HEADERS),
        ("Chat", "Qarn-Timeout: 99999999999999999999\r\n", b"", HEADERS),
        ("Chat", "Qarn-Label: %4\r\n", b"", HEADERS),
        ("Chat", "", frame(TEXT, b"12"), NO_END),
        ("Chat", "", frame(TEXT, b"0 %"), NO_END),
        (
            "Tally",
            "",
            frame(BINARY, line(b"a")) + frame(BINARY, b"\n"),
            "4 the%20bytes%20are%20not%20a%20message%20of%20the%20method%27s%20type",
        ),
    ],
)
def test_says_what_is_wrong(port, method, headers, frames, end):
    with RawCall(port, method, headers) as call:
        call.send(frames)
        assert call.read_end() == ([], end)
    assert say(port, b"hello") == ([line(b"hello")], OK)


@pytest.mark.parametrize("pieces", range(1, 8))
def test_stands_pieces_of_a_message_behind_a_bad_text(port, pieces):
    """It closes after the text, while it still reads the pieces."""
    frames = frame(TEXT, b"no end") + frame(BINARY, b"f", first=0)
    frames += frame(0, b"f", first=0) * (pieces - 1)
    with RawCall(port, "Chat") as call:
        call.send(frames + frame(0, b"f") + frame(BINARY, b""))
        assert call.read_end() == ([], NO_END)
    assert say(port, b"hello") == ([line(b"hello")], OK)
