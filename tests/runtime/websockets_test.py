"""A client that nobody here wrote, Debian's python3-websockets, calls examples/echo's
server."""

import asyncio
import re
import subprocess

import pytest

from runtime.raw_call import OK, line


@pytest.fixture(name="websockets")
def fixture_websockets():
    """The client's module."""
    return pytest.importorskip("websockets")


@pytest.fixture(name="url")
def fixture_url(built):
    """The address of an echo_server's methods."""
    with subprocess.Popen(
        [built.build / "tests/generated/example_echo_server"], stdout=subprocess.PIPE, text=True
    ) as server:
        (port,) = re.findall(r"^listening on port (\d+)$", server.stdout.readline())
        yield f"ws://127.0.0.1:{port}/demo.echo.Echo"
        server.terminate()
        server.communicate(timeout=12)


def test_says(url, websockets):
    async def call():
        async with websockets.connect(f"{url}/Say") as connection:
            await connection.send(line(b"good morning"))
            await connection.send(OK)
            return [message async for message in connection]

    assert asyncio.run(call()) == [line(b"good morning"), OK]


def test_chats(url, websockets):
    async def call():
        async with websockets.connect(f"{url}/Chat") as connection:
            for text in (b"one", b"two"):
                await connection.send(line(text))
                assert await connection.recv() == line(b"you said: " + text)
            await connection.send(OK)
            return [message async for message in connection]

    assert asyncio.run(call()) == [OK]
