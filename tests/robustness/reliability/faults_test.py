"""What the plugin does when something around it breaks.

In every case: no exit status 0 without the whole response on standard output,
no hang, no signal but the one that the system gives for the fault, and through
protoc no file written.
"""

import os
import signal
import subprocess
import time
import unittest

from robustness.reliability.plugin import (
    PLUGIN,
    PluginTest,
    files_below,
    has_sanitizers,
    main,
    run,
    run_protoc,
)
from robustness.reliability.wire import (
    NotWhole,
    Response,
    echo_request,
    field,
    file,
    message,
    method,
    request,
    service,
)

SMALL = echo_request(methods=("Ping", "Push", "Watch", "Talk"))


def large_file(methods):
    """One file with a service of so many methods."""
    names = ("Method%d" % i for i in range(methods))
    return {
        "large.proto": file("large.proto", "", [message("M")], [service("S", map(method, names))])
    }


class FaultTest(PluginTest):
    def assert_honest(self, result, what=""):
        """Either it failed and says so, or the response is whole."""
        self.assertIn(result.status, (0, 1), "%s: %s" % (what, result))
        if result.status == 1:
            self.assertEqual(result.out, b"", what)
            self.assertNotEqual(result.err, b"", what)
            return
        try:
            Response(result.out)
        except NotWhole as wrong:
            self.fail("%s: status 0 and a broken response: %s" % (what, wrong))

    def assert_pair(self, result, base):
        """The whole response for one file, without an error."""
        self.assertEqual(result.status, 0, result)
        response = Response(result.out)
        self.assertIsNone(response.error)
        self.assertEqual(list(response.files), [base + ".rpc.h", base + ".rpc.cpp"])
        return response


class InputTest(FaultTest):
    def test_empty_input_is_an_empty_request(self):
        result = run(b"")
        self.record("empty input", result)
        self.assertEqual((result.status, result.err), (0, b""))
        self.assertEqual(Response(result.out).files, {})

    def test_request_cut_off_at_every_length(self):
        refused = 0
        for length in range(len(SMALL)):
            result = run(SMALL[:length])
            self.assert_honest(result, "%d bytes" % length)
            refused += result.status
        # Cut off at 0 it is the empty request. Between two fields it names a
        # file to generate that it does not hold.
        self.record(
            "request cut off at each of %d lengths" % len(SMALL),
            "status 1 for %d, a whole response for %d" % (refused, len(SMALL) - refused),
        )
        self.assertEqual(refused, len(SMALL) - 1)

    def test_request_garbled_at_every_byte(self):
        ends = {0: 0, 1: 0}
        for at, byte in enumerate(SMALL):
            for other in {0, 255, byte ^ 1, byte ^ 128} - {byte}:
                result = run(SMALL[:at] + bytes([other]) + SMALL[at + 1 :])
                self.assert_honest(result, "byte %d as %d" % (at, other))
                ends[result.status] += 1
        self.record(
            "request garbled at each byte, %d times" % sum(ends.values()),
            "status 1 for %d, a whole response for %d" % (ends[1], ends[0]),
        )
        self.assertGreater(ends[1], 0)

    def test_closed_input(self):
        result = run(shell='exec "$0" <&-')
        self.record("standard input closed", result)
        self.assertEqual(result.status, 1)
        self.assertIn(b"protoc sent unparseable request to plugin", result.err)

    def test_input_that_cannot_be_read(self):
        result = run(shell='exec "$0" </')
        self.record("standard input is a folder", result)
        self.assertEqual(result.status, 1)
        self.assertIn(b"protoc sent unparseable request to plugin", result.err)

    def test_request_of_64_mib(self):
        result = run(SMALL + field(9999, bytes(64 << 20)))
        self.record("request of 64 MiB, an unknown field", result)
        self.assertEqual(result.out, run(SMALL).out)
        self.assertEqual(result.status, 0)

    def test_parameter_of_64_mib(self):
        result = run(echo_request(parameter="x" * (64 << 20)))
        self.record("unknown parameter of 64 MiB", result)
        self.assertEqual(result.status, 0)
        self.assertEqual(
            Response(result.out).error,
            "echo.proto: Unknown parameter: " + "x" * (64 << 20),
        )

    def test_200000_methods_in_one_service(self):
        result = run(request(large_file(200000)))
        self.record("200,000 methods in one service", result)
        header = self.assert_pair(result, "large").files["large.rpc.h"]
        self.assertIn(b"_rpcmethod_Method199999;", bytes(header))

    def test_100000_messages(self):
        messages = [message("M")] + [message("M%d" % i) for i in range(100000)]
        pings = service("Echo", [method("Ping", ".M99999")])
        result = run(request({"many.proto": file("many.proto", "", messages, [pings])}))
        self.record("100,000 messages", result)
        self.assert_pair(result, "many")

    def test_nesting_as_deep_as_descriptors_go(self):
        """protoc's parser stops sooner; its descriptor sets do not."""
        deepest = 0
        for depth in range(1, 111):
            inner = message("M")
            for _ in range(depth - 1):
                inner = message("M", inner)
            echo = service("Echo", [method("Ping", ".M" * depth)])
            result = run(request({"deep.proto": file("deep.proto", "", [inner], [echo])}))
            self.assert_honest(result, "depth %d" % depth)
            if result.status == 0:
                deepest = depth
                header = self.assert_pair(result, "deep").files["deep.rpc.h"]
                self.assertIn(b"::M" + b"_M" * (depth - 1) + b" ", bytes(header))
        self.record("messages nested up to 110 deep", "status 0 up to %d, then 1" % deepest)
        self.assertGreaterEqual(deepest, 31)

    def test_package_of_a_million_components(self):
        package = ".".join(["a"] * 1000000)
        result = run(request({"p.proto": file("p.proto", package)}))
        self.record("package of a million components", "status %d" % result.status)
        self.assert_honest(result)

    def test_text_beyond_2_gib(self):
        """More than protobuf can send: refused, not cut short."""
        if has_sanitizers():
            self.skipTest("a sanitizer would need twice the memory")
        with open("/proc/meminfo", encoding="ascii") as stream:
            values = dict(line.split()[:2] for line in stream)
        if int(values["MemAvailable:"]) < 14 << 20:
            self.skipTest("needs 14 GiB of free memory")
        names = ["M%d" % i for i in range(5)]
        result = run(
            echo_request(methods=names, parameter="services_namespace=" + "n" * (62 << 20))
        )
        self.record("a generated text beyond 2 GiB", result)
        self.assertEqual(result.status, 1, result)
        self.assertEqual(result.out, b"")
        self.assertIn(b"Error writing to stdout", result.err)


class OutputTest(FaultTest):
    # Fits in no pipe, so that the plugin must wait for the reader.
    LARGE = request(large_file(2000))

    def test_closed_output(self):
        for what, data in (("small", SMALL), ("large", self.LARGE)):
            result = run(data, shell='exec "$0" >&-')
            self.record("standard output closed, %s response" % what, result)
            self.assertEqual(result.status, 1)
            self.assertIn(b"Error writing to stdout", result.err)

    def test_full_output(self):
        for what, data in (("small", SMALL), ("large", self.LARGE)):
            result = run(data, shell='exec "$0" >/dev/full')
            self.record("standard output full, %s response" % what, result)
            self.assertEqual(result.status, 1)
            self.assertIn(b"Error writing to stdout", result.err)

    def test_file_size_limit(self):
        """ulimit -f counts 512 bytes; the response is far larger."""
        path = os.path.join(self.folder(), "response")
        result = run(
            self.LARGE,
            shell='ulimit -f 8; exec "$0" >"$RESPONSE"',
            env=dict(os.environ, RESPONSE=path),
        )
        self.record("standard output beyond ulimit -f", result)
        self.assertEqual(result.status, -signal.SIGXFSZ)

    def test_reader_that_goes_away(self):
        for what, data in (("small", SMALL), ("large", self.LARGE)):
            for ignored in (False, True):
                reading, writing = os.pipe()
                os.close(reading)
                shell = '%sexec "$0"' % ("trap '' PIPE; " if ignored else "")
                result = run(data, shell=shell, stdout=writing)
                os.close(writing)
                self.record(
                    "reader gone, %s response%s" % (what, ", SIGPIPE ignored" if ignored else ""),
                    result,
                )
                self.assertEqual(result.status, 1 if ignored else -signal.SIGPIPE)

    def test_reader_that_goes_away_half_way(self):
        result = run(self.LARGE, shell='{ "$0"; echo $? >&2; } | head -c 1000')
        status = int(result.err.split()[-1])
        self.record("reader gone half way", "SIGPIPE" if status == 141 else status)
        self.assertEqual(status, 128 + signal.SIGPIPE)

    def test_pipe_that_is_read_slowly(self):
        with subprocess.Popen([PLUGIN], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as plugin:
            plugin.stdin.write(self.LARGE)
            plugin.stdin.close()
            out = b""
            while True:
                piece = os.read(plugin.stdout.fileno(), 4096)
                if not piece:
                    break
                out += piece
        self.record("reader of 4,096 bytes at a time", "status %d" % plugin.returncode)
        self.assertEqual(plugin.returncode, 0)
        self.assertEqual(out, run(self.LARGE).out)


@unittest.skipIf(has_sanitizers(), "a sanitizer reserves more memory than any limit")
class MemoryTest(FaultTest):
    FILES = large_file(20000)
    # The status with which the loader ends when it cannot map the libraries.
    NO_LOADER = 127

    def test_limited_memory(self):
        """From too little to load the libraries to enough."""
        data = request(self.FILES)
        whole = run(data)
        self.assertEqual(whole.status, 0)
        ends = {}
        kib = 6144
        while kib < 1 << 20:
            result = run(data, shell='ulimit -v %d; exec "$0"' % kib)
            end = str(result) if result.status < 1 else "status %d" % result.status
            ends.setdefault(end, []).append(kib >> 10)
            if result.status == 0:
                self.assertEqual(result.out, whole.out)
            else:
                self.assertIn(result.status, (self.NO_LOADER, -signal.SIGABRT), result)
            kib = kib * 5 // 4
        for end, mib in ends.items():
            self.record("ulimit -v of %d to %d MiB" % (mib[0], mib[-1]), end)
        self.assertIn("SIGABRT", ends)
        self.assertIn("status 0", ends)

    def test_limited_memory_through_protoc(self):
        folder = self.folder()
        wrapper = os.path.join(folder, "wrapper")
        with open(wrapper, "w", encoding="utf-8") as stream:
            stream.write("#!/bin/sh\nulimit -v 65536\nexec '%s'\n" % PLUGIN)
        os.chmod(wrapper, 0o755)
        result = run_protoc(self.FILES, self.FILES, folder, plugin=wrapper)
        self.record("the same through protoc", result)
        self.assertEqual(result.status, 1)
        self.assertEqual(files_below(os.path.join(folder, "out")), {})


class SignalTest(FaultTest):
    FILES = large_file(200000)

    def terminate(self, pid):
        """Sends SIGTERM to a plugin that is in the midst of its work."""
        time.sleep(0.2)
        os.kill(pid, signal.SIGTERM)

    def test_sigterm_half_way(self):
        with subprocess.Popen([PLUGIN], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as plugin:
            plugin.stdin.write(request(self.FILES))
            plugin.stdin.close()
            self.terminate(plugin.pid)
            out = plugin.stdout.read()
        self.record("SIGTERM half way", signal.Signals(-plugin.returncode).name)
        self.assertEqual(plugin.returncode, -signal.SIGTERM)
        self.assertEqual(out, b"")

    def test_sigterm_half_way_through_protoc(self):
        folder = self.folder()
        wrapper = os.path.join(folder, "wrapper")
        with open(wrapper, "w", encoding="utf-8") as stream:
            # The shell sends the signal to itself, which is the plugin by then.
            stream.write(
                "#!/bin/sh\n(sleep 0.5; kill -TERM $$) >/dev/null 2>&1 &\nexec '%s'\n" % PLUGIN
            )
        os.chmod(wrapper, 0o755)
        result = run_protoc(self.FILES, self.FILES, folder, plugin=wrapper)
        self.record("the same through protoc", result)
        self.assertEqual(result.status, 1)
        self.assertIn(b"signal 15", result.err)
        self.assertEqual(files_below(os.path.join(folder, "out")), {})


class ProtocTest(FaultTest):
    def test_output_folder_that_is_full(self):
        """protoc writes the files; that the plugin succeeded must not hide it."""
        folder = self.folder()
        files = large_file(10)
        result = run_protoc(files, files, folder, out=os.path.join(folder, "none"))
        self.record("through protoc, no output folder", "status %d" % result.status)
        self.assertEqual(result.status, 1)

    def test_refused_file(self):
        folder = self.folder()
        files = dict(
            large_file(10),
            # Its options ask for generic services.
            **{"bad.proto": file("bad.proto") + field(8, b"\x80\x01\x01")},
        )
        result = run_protoc(files, files, folder)
        self.record("through protoc, one of two files refused", "status %d" % result.status)
        self.assertEqual(result.status, 1)
        self.assertEqual(files_below(os.path.join(folder, "out")), {})


if __name__ == "__main__":
    main()
