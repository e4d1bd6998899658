"""Runs the plugin, alone and through protoc, for the reliability tests."""

import dataclasses
import subprocess
import tempfile

from robustness.reliability.wire import field

# No case may hang. Builds with sanitizers on a busy machine need most of it.
TIME_LIMIT = 300


@dataclasses.dataclass
class Result:
    """How a run ended, and the bytes that it wrote."""

    status: int
    # It may be too large to be shown.
    out: bytes = dataclasses.field(repr=False)
    err: bytes


class Plugin:
    """The plugin, and the protoc that it was built with."""

    def __init__(self, path, protoc):
        self.path, self.protoc = path, protoc

    def run(self, data=b"", shell=None, **options):
        """Runs the plugin with `data` on standard input.

        `shell` is a shell command in which "$0" is the plugin, for redirections and
        limits; `options` go to subprocess. A plugin that does not end in time is
        killed, and that is a failure.
        """
        command = ["sh", "-c", shell, self.path] if shell else [self.path]
        with tempfile.TemporaryFile() as stdin:
            stdin.write(data)
            stdin.seek(0)
            options.setdefault("stdin", stdin)
            options.setdefault("stdout", subprocess.PIPE)
            options.setdefault("stderr", subprocess.PIPE)
            done = subprocess.run(command, timeout=TIME_LIMIT, check=False, **options)
        return Result(done.returncode, done.stdout, done.stderr)

    def start(self, data):
        """Starts the plugin, and returns it with `data` written to it."""
        plugin = subprocess.Popen([self.path], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        plugin.stdin.write(data)
        plugin.stdin.close()
        return plugin

    def run_protoc(self, files, folder, wrapper=None, out=None):
        """Runs protoc over the descriptors of files, with the plugin or a script around
        it. `folder` gets them, and the folder `out` unless another one is given."""
        descriptors = folder / "descriptors.pb"
        descriptors.write_bytes(b"".join(field(1, one) for one in files.values()))
        if out is None:
            out = folder / "out"
            out.mkdir(exist_ok=True)
        command = [self.protoc, f"--plugin=protoc-gen-qarn-rpc={wrapper or self.path}"]
        command += [f"--descriptor_set_in={descriptors}", f"--qarn-rpc_out={out}", *files]
        done = subprocess.run(
            command,
            timeout=TIME_LIMIT,
            check=False,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
        )
        return Result(done.returncode, done.stdout, done.stderr)

    def wrapped(self, folder, line):
        """A script in the folder that runs a line of shell ahead of the plugin."""
        script = folder / "wrapper"
        script.write_text(f"#!/bin/sh\n{line}\nexec '{self.path}'\n")
        script.chmod(0o755)
        return script

    def has_sanitizers(self):
        with open(self.path, "rb") as stream:
            return b"__asan_init" in stream.read()
