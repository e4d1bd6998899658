"""What examples/echo's server stands: clients that send anything, say nothing, stop
or are killed. And what its client sees of a server that is killed."""

import itertools
import os
import pathlib
import random
import resource
import signal
import subprocess
import sys
import threading
import time

import pytest

from runtime.raw_call import (
    BINARY,
    CLOSE,
    DEADLINE_PASSED,
    OK,
    TEXT,
    RawCall,
    frame,
    line,
    repeat_request,
    say,
)

MIB = 1 << 20
# How long bytes come at random.
SECONDS = 60
# The default limits of the server.
CONNECTIONS = 256
MESSAGE = MIB


class Server:
    """An echo_server."""

    def __init__(self, built, folder, descriptors=4096):
        self.log = folder / "server.log"
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(
                [built.build / "tests/generated/example_echo_server"],
                stdout=log,
                stderr=subprocess.STDOUT,
                # AddressSanitizer would keep what is freed.
                env={**os.environ, "ASAN_OPTIONS": "quarantine_size_mb=1"},
                preexec_fn=lambda: resource.setrlimit(
                    resource.RLIMIT_NOFILE, (descriptors, descriptors)
                ),
            )
        start = "listening on port "
        assert wait_until(lambda: self.log.read_text().endswith("\n")), "it does not listen"
        self.port = int(self.log.read_text()[len(start) :].split("\n", 1)[0])
        self.at_rest = self.descriptors()
        self.memory_at_rest = self.memory()

    def descriptors(self):
        """How many it has open."""
        return len(list(pathlib.Path(f"/proc/{self.process.pid}/fd").iterdir()))

    def memory(self):
        """The most that it has had in memory, in bytes."""
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        (peak,) = [text.split()[1] for text in status.splitlines() if text.startswith("VmHWM:")]
        return int(peak) * 1024

    def growth(self):
        """What it has taken since it started, at most, in bytes."""
        return self.memory() - self.memory_at_rest

    def is_at_rest(self):
        """Whether no connection is left, within a while."""
        return wait_until(lambda: self.descriptors() == self.at_rest)

    def serves(self):
        """Whether a call succeeds."""
        return say(self.port, b"hello") == ([line(b"hello")], OK)


def wait_until(condition, seconds=30):
    """Whether the condition comes true."""
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True


@pytest.fixture(name="start_server")
def fixture_start_server(built, tmp_path):
    """Starts servers, which must stop as they should when they are told to."""
    # For the connections that the tests hold.
    resource.setrlimit(
        resource.RLIMIT_NOFILE, (4096, resource.getrlimit(resource.RLIMIT_NOFILE)[1])
    )
    servers = []

    def start(**options):
        servers.append(Server(built, tmp_path, **options))
        return servers[-1]

    yield start
    for server in servers:
        server.process.send_signal(signal.SIGCONT)
        server.process.terminate()
        assert server.process.wait(timeout=12) in (0, -signal.SIGKILL)


@pytest.fixture(name="server")
def fixture_server(start_server):
    """One with the limits that it has by default."""
    return start_server()


def random_bytes(source, port):
    """Bytes at random, ahead of an upgrade or behind one."""
    with RawCall(port, source.choice((None, "Chat", "Repeat"))) as call:
        for _ in range(source.randrange(20)):
            call.send(source.randbytes(source.randrange(1, 2000)))


def random_frames(source, port):
    """Frames that are valid one by one."""
    payloads = (b"", line(b"x"), repeat_request(b"x", 1000), b"0 ", b"5 no", b"\x03\xe8", b"\xff")
    with RawCall(port, source.choice(("Say", "Repeat", "Tally", "Chat"))) as call:
        for _ in range(source.randrange(30)):
            opcode = source.choice((0, TEXT, BINARY, BINARY, CLOSE, 9, 10))
            call.send(frame(opcode, source.choice(payloads), first=source.choice((0, 0x80))))


def test_serves_others_while_anything_comes(server):
    seed = random.randrange(1 << 32)
    print("seed", seed)
    end = time.monotonic() + SECONDS
    attacks = itertools.count()
    stray = []

    def attack(what, source):
        while time.monotonic() < end:
            try:
                what(source, server.port)
            except ConnectionError:
                pass  # it was cut off, as it should be
            except Exception as error:  # pylint: disable=broad-except
                stray.append(error)
                return
            next(attacks)

    threads = [
        threading.Thread(target=attack, args=(what, random.Random(seed + i)))
        for i, what in enumerate((random_bytes, random_frames) * 2)
    ]
    for thread in threads:
        thread.start()
    calls = 0
    while time.monotonic() < end:
        assert server.serves()
        calls += 1
    for thread in threads:
        thread.join()
    assert not stray
    assert calls > 100
    assert next(attacks) > 100
    assert server.is_at_rest()
    assert server.growth() < 64 * MIB


def test_lets_those_wait_who_are_too_many(server):
    silent = [RawCall(server.port) for _ in range(2000)]
    assert wait_until(lambda: server.descriptors() == server.at_rest + CONNECTIONS)
    assert server.growth() < 64 * MIB
    for call in silent:
        call.socket.close()
    assert server.serves()
    assert server.is_at_rest()


def test_takes_no_memory_for_a_message_that_does_not_come(server):
    calls = [RawCall(server.port, "Chat") for _ in range(CONNECTIONS)]
    for call in calls:
        call.send(frame(BINARY, b"", length=MESSAGE))
    time.sleep(1)
    assert server.growth() < 32 * MIB
    for call in calls:
        call.socket.close()
    assert server.is_at_rest()


def test_serves_on_after_descriptors_ran_out(start_server):
    server = start_server(descriptors=64)
    chat = frame(BINARY, line(b"a")) + frame(TEXT, OK.encode())
    # UndefinedBehaviorSanitizer needs descriptors the first time.
    with RawCall(server.port, "Chat") as first:
        first.send(chat)
        first.read_end()
    with RawCall(server.port, "Chat") as running:
        calls = [RawCall(server.port) for _ in range(100)]
        assert wait_until(lambda: server.descriptors() == 64)
        running.send(chat)
        assert running.read_end() == ([line(b"you said: a")], OK)
        for call in calls:
            call.socket.close()
        assert server.serves()
    assert server.is_at_rest()


def test_holds_what_its_room_has_of_a_flood(server):
    with RawCall(server.port, "Chat") as call:
        call.socket.settimeout(3)
        sent = 0
        with pytest.raises(TimeoutError):
            while sent < 1000 * MIB:
                sent += call.socket.send(frame(BINARY, line(b"x" * 60000)))
        assert server.growth() < 8 * MIB
        assert server.serves()
    assert server.is_at_rest()


def start_child(port, *calls):
    """A process with calls, each the arguments of a RawCall, that prints the end of
    the last one."""
    folder = pathlib.Path(__file__).resolve().parents[1]
    code = (
        "import sys; from runtime.raw_call import RawCall\n"
        f"calls = [RawCall({port}, *call) for call in {calls!r}]\n"
        "print('started', flush=True)\nprint(calls[-1].read_end()[1])\n"
    )
    child = subprocess.Popen(
        [sys.executable, "-B", "-c", code], cwd=folder, stdout=subprocess.PIPE, text=True
    )
    assert child.stdout.readline() == "started\n"
    return child


def test_ends_the_call_of_a_client_that_stopped_at_its_deadline(server):
    child = start_child(server.port, ("Chat", "Qarn-Timeout: 2000\r\n"))
    child.send_signal(signal.SIGSTOP)
    assert server.descriptors() > server.at_rest
    assert server.is_at_rest()
    child.send_signal(signal.SIGCONT)
    assert child.communicate()[0].split()[0] == DEADLINE_PASSED


def test_lets_the_calls_of_a_killed_client_go(server):
    child = start_child(server.port, ("Say",), ("Repeat",), ("Tally",), ("Chat",))
    assert server.descriptors() == server.at_rest + 4
    child.kill()
    child.wait()
    assert server.is_at_rest()


def test_stops_in_time_whatever_its_clients_do(server):
    everything = frame(BINARY, repeat_request(b"x" * 1000, (1 << 31) - 1))
    sent = (b"", b"GET /", everything, frame(BINARY, b"", length=MESSAGE), frame(CLOSE, b""))
    calls = [RawCall(server.port, method) for method in (None, None, "Repeat", "Tally", "Say")]
    gone = RawCall(server.port, "Repeat")
    for call, data in zip(calls + [gone], sent + (everything,)):
        call.send(data)
    gone.socket.close()
    child = start_child(server.port, ("Chat",))
    child.send_signal(signal.SIGSTOP)
    flood = RawCall(server.port, "Chat")
    flood.socket.settimeout(1)
    with pytest.raises(TimeoutError):
        while True:
            flood.send(frame(BINARY, line(b"x" * 60000)))
    assert server.serves()
    server.process.terminate()
    assert server.process.wait(timeout=10) == 0
    child.kill()
    child.wait()
    for call in calls + [flood]:
        call.socket.close()


def caller(built, server, *arguments):
    """A client of ours, whose output is to be read."""
    return subprocess.Popen(
        [built.build / "tests/runtime/runtime_caller", str(server.port), *map(str, arguments)],
        stdout=subprocess.PIPE,
        text=True,
    )


def test_its_client_sees_that_the_server_was_killed(server, built):
    os.kill(server.process.pid, signal.SIGSTOP)
    client = caller(built, server, "each")
    assert client.stdout.readline() == "started\n"
    server.process.kill()
    output, _ = client.communicate(timeout=60)
    assert sorted(output.splitlines()) == ["Chat: 8", "Repeat: 8", "Say: 8", "Tally: 8"]


def test_serves_ten_thousand_calls(server, built):
    client = caller(built, server, "many", 10_000, 64)
    assert client.communicate(timeout=300)[0] == "10000\n"
    assert server.is_at_rest()


def test_carries_a_million_messages_in_each_direction(server, built):
    client = caller(built, server, "chat", 1_000_000)
    assert client.communicate(timeout=300)[0] == "1000000\n"
    assert server.growth() < 32 * MIB
