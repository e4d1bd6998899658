"""What the plugin does when something around it breaks.

In every case: no exit status 0 without the whole response on standard output,
no hang, no signal but the one that the system gives for the fault, and through
protoc no file written.
"""

import os
import signal
import time

import pytest

from robustness.reliability.wire import (
    Response,
    echo_request,
    field,
    file,
    message,
    method,
    request,
    service,
)


def large_file(methods):
    """One file with a service of so many methods."""
    names = (f"Method{i}" for i in range(methods))
    return {
        "large.proto": file("large.proto", "", [message("M")], [service("S", map(method, names))])
    }


SMALL = echo_request(methods=("Ping", "Push", "Watch", "Talk"))
# Fits in no pipe, so that the plugin must wait for the reader.
LARGE = request(large_file(2000))
REQUESTS = {"small": SMALL, "large": LARGE}


def expect_honest(result, what=""):
    """Either it failed and says so, or the response is whole."""
    assert result.status in (0, 1), f"{what}: {result}"
    if result.status == 1:
        assert result.out == b"", what
        assert result.err != b"", what
    else:
        Response(result.out)


def expect_pair(result, base):
    """The whole response for one file, without an error; returns it."""
    assert result.status == 0, result
    response = Response(result.out)
    assert response.error is None
    assert list(response.files) == [base + ".rpc.h", base + ".rpc.cpp"]
    return response


def expect_no_files(folder):
    assert [path for path in (folder / "out").rglob("*") if path.is_file()] == []


def test_empty_input_is_an_empty_request(plugin):
    result = plugin.run(b"")
    assert (result.status, result.err) == (0, b"")
    assert Response(result.out).files == {}


def test_request_cut_off_at_every_length(plugin):
    refused = 0
    for length in range(len(SMALL)):
        result = plugin.run(SMALL[:length])
        expect_honest(result, f"{length} bytes")
        refused += result.status
    # Cut off at 0 it is the empty request. Between two fields it names a
    # file to generate that it does not hold.
    print(f"of {len(SMALL)} lengths: status 1 for {refused}")
    assert refused == len(SMALL) - 1


def test_request_garbled_at_every_byte(plugin):
    ends = {0: 0, 1: 0}
    for at, byte in enumerate(SMALL):
        for other in {0, 255, byte ^ 1, byte ^ 128} - {byte}:
            result = plugin.run(SMALL[:at] + bytes([other]) + SMALL[at + 1 :])
            expect_honest(result, f"byte {at} as {other}")
            ends[result.status] += 1
    print(f"status 1 for {ends[1]}, a whole response for {ends[0]}")
    assert ends[1] > 0


@pytest.mark.parametrize("redirection", ["<&-", "</"], ids=["closed", "a folder"])
def test_input_that_cannot_be_read(plugin, redirection):
    result = plugin.run(shell=f'exec "$0" {redirection}')
    assert result.status == 1
    assert b"protoc sent unparseable request to plugin" in result.err


def test_request_of_64_mib(plugin):
    result = plugin.run(SMALL + field(9999, bytes(64 << 20)))
    assert result.out == plugin.run(SMALL).out
    assert result.status == 0


def test_parameter_of_64_mib(plugin):
    result = plugin.run(echo_request(parameter="x" * (64 << 20)))
    assert result.status == 0
    # The texts are too long to be compared in an assert, which would show how they differ.
    error = Response(result.out).error
    is_whole = error == "echo.proto: Unknown parameter: " + "x" * (64 << 20)
    assert is_whole, error[:200]


def test_200000_methods_in_one_service(plugin):
    result = plugin.run(request(large_file(200000)))
    header = bytes(expect_pair(result, "large").files["large.rpc.h"])
    has_last = b"_rpcmethod_Method199999;" in header
    assert has_last


def test_100000_messages(plugin):
    messages = [message("M")] + [message(f"M{i}") for i in range(100000)]
    pings = service("Echo", [method("Ping", ".M99999")])
    result = plugin.run(request({"many.proto": file("many.proto", "", messages, [pings])}))
    expect_pair(result, "many")


def test_nesting_as_deep_as_descriptors_go(plugin):
    """protoc's parser stops sooner; its descriptor sets do not."""
    deepest = 0
    for depth in range(1, 111):
        inner = message("M")
        for _ in range(depth - 1):
            inner = message("M", inner)
        echo = service("Echo", [method("Ping", ".M" * depth)])
        result = plugin.run(request({"deep.proto": file("deep.proto", "", [inner], [echo])}))
        expect_honest(result, f"depth {depth}")
        if result.status == 0:
            deepest = depth
            header = expect_pair(result, "deep").files["deep.rpc.h"]
            assert b"::M" + b"_M" * (depth - 1) + b" " in bytes(header)
    print(f"status 0 up to a depth of {deepest}")
    assert deepest >= 31


def test_package_of_a_million_components(plugin):
    package = ".".join(["a"] * 1000000)
    result = plugin.run(request({"p.proto": file("p.proto", package)}))
    print(result)
    expect_honest(result)


def test_text_beyond_2_gib(plugin, no_sanitizers):
    """More than protobuf can send: refused, not cut short."""
    with open("/proc/meminfo") as stream:
        values = dict(line.split()[:2] for line in stream)
    if int(values["MemAvailable:"]) < 14 << 20:
        pytest.skip("needs 14 GiB of free memory")
    names = [f"M{i}" for i in range(5)]
    parameter = "services_namespace=" + "n" * (62 << 20)
    result = plugin.run(echo_request(methods=names, parameter=parameter))
    assert result.status == 1
    assert result.out == b""
    assert b"Error writing to stdout" in result.err


@pytest.mark.parametrize("size", REQUESTS)
@pytest.mark.parametrize("place", ["&-", "/dev/full"], ids=["closed", "full"])
def test_output_that_cannot_be_written(plugin, size, place):
    result = plugin.run(REQUESTS[size], shell=f'exec "$0" >{place}')
    assert result.status == 1
    assert b"Error writing to stdout" in result.err


def test_file_size_limit(plugin, tmp_path):
    """ulimit -f counts 512 bytes; the response is far larger."""
    environment = {**os.environ, "RESPONSE": str(tmp_path / "response")}
    result = plugin.run(LARGE, shell='ulimit -f 8; exec "$0" >"$RESPONSE"', env=environment)
    assert result.status == -signal.SIGXFSZ


@pytest.mark.parametrize("size", REQUESTS)
@pytest.mark.parametrize(
    "shell, status", [('exec "$0"', -signal.SIGPIPE), ("trap '' PIPE; exec \"$0\"", 1)]
)
def test_reader_that_goes_away(plugin, size, shell, status):
    reading, writing = os.pipe()
    os.close(reading)
    result = plugin.run(REQUESTS[size], shell=shell, stdout=writing)
    os.close(writing)
    assert result.status == status


def test_reader_that_goes_away_half_way(plugin):
    result = plugin.run(LARGE, shell='{ "$0"; echo $? >&2; } | head -c 1000')
    status = int(result.err.split()[-1])
    assert status == 128 + signal.SIGPIPE


def test_pipe_that_is_read_slowly(plugin):
    with plugin.start(LARGE) as slow:
        out = b"".join(iter(lambda: os.read(slow.stdout.fileno(), 4096), b""))
    assert slow.returncode == 0
    assert out == plugin.run(LARGE).out


# The status with which the loader ends when it cannot map the libraries.
NO_LOADER = 127


def test_limited_memory(plugin, no_sanitizers):
    """From too little to load the libraries to enough."""
    data = request(large_file(20000))
    whole = plugin.run(data)
    assert whole.status == 0
    ends = {}
    kib = 6144
    while kib < 1 << 20:
        result = plugin.run(data, shell=f'ulimit -v {kib}; exec "$0"')
        ends.setdefault(result.status, []).append(kib >> 10)
        if result.status == 0:
            assert result.out == whole.out
        else:
            assert result.status in (NO_LOADER, -signal.SIGABRT), result
        kib = kib * 5 // 4
    for status, mib in ends.items():
        print(f"ulimit -v of {mib[0]} to {mib[-1]} MiB: status {status}")
    assert -signal.SIGABRT in ends
    assert 0 in ends


def test_limited_memory_through_protoc(plugin, no_sanitizers, tmp_path):
    wrapper = plugin.wrapped(tmp_path, "ulimit -v 65536")
    result = plugin.run_protoc(large_file(20000), tmp_path, wrapper)
    assert result.status == 1
    expect_no_files(tmp_path)


def test_sigterm_half_way(plugin):
    with plugin.start(request(large_file(200000))) as ended:
        time.sleep(0.2)
        os.kill(ended.pid, signal.SIGTERM)
        out = ended.stdout.read()
    assert ended.returncode == -signal.SIGTERM
    assert len(out) == 0


def test_sigterm_half_way_through_protoc(plugin, tmp_path):
    # The shell sends the signal to itself, which is the plugin by then.
    line = "(sleep 0.5; kill -TERM $$) >/dev/null 2>&1 &"
    result = plugin.run_protoc(large_file(200000), tmp_path, plugin.wrapped(tmp_path, line))
    assert result.status == 1
    assert b"signal 15" in result.err
    expect_no_files(tmp_path)


def test_output_folder_that_is_not_there(plugin, tmp_path):
    """protoc writes the files; that the plugin succeeded must not hide it."""
    result = plugin.run_protoc(large_file(10), tmp_path, out=tmp_path / "none")
    assert result.status == 1


def test_refused_file(plugin, tmp_path):
    # The options of the second ask for generic services.
    bad = file("bad.proto") + field(8, b"\x80\x01\x01")
    result = plugin.run_protoc({**large_file(10), "bad.proto": bad}, tmp_path)
    assert result.status == 1
    expect_no_files(tmp_path)
