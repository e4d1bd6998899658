"""Runs the plugin, alone and through protoc, for the reliability tests.

The environment variables QARN_RPC_PLUGIN, QARN_RPC_PROTOC and
QARN_RPC_BUILD_FOLDER say what to run and where files may be put; ctest sets
them.
"""

import os
import signal
import subprocess
import sys
import tempfile
import unittest

from robustness.reliability.wire import field

# No case may hang. Builds with sanitizers on a busy machine need most of it.
TIME_LIMIT = 300


def setting(name):
    if name not in os.environ:
        sys.exit("%s is not set; run these tests with ctest, in a build folder" % name)
    return os.environ[name]


PLUGIN = setting("QARN_RPC_PLUGIN")
PROTOC = setting("QARN_RPC_PROTOC")
BUILD_FOLDER = setting("QARN_RPC_BUILD_FOLDER")


def has_sanitizers():
    with open(PLUGIN, "rb") as stream:
        return b"__asan_init" in stream.read()


class Result:
    def __init__(self, status, out, err):
        self.status = status
        self.out = out
        self.err = err

    def __str__(self):
        """The end of the run in words, as docs/reliability.md has it."""
        if self.status < 0:
            return signal.Signals(-self.status).name
        lines = self.err.decode(errors="replace").strip().splitlines()
        said = lines[-1].replace(PLUGIN + ": ", "") if lines else ""
        return "status %d%s" % (self.status, ', "%s"' % said[:90] if said else "")


def run(data=b"", shell=None, **options):
    """Runs the plugin with `data` on standard input.

    `shell` is a shell command in which "$0" is the plugin, for redirections and
    limits; `options` go to subprocess. A plugin that does not end in time is
    killed, and that is a failure.
    """
    command = ["sh", "-c", shell, PLUGIN] if shell else [PLUGIN]
    with tempfile.TemporaryFile() as stdin:
        stdin.write(data)
        stdin.seek(0)
        options.setdefault("stdin", stdin)
        options.setdefault("stdout", subprocess.PIPE)
        options.setdefault("stderr", subprocess.PIPE)
        done = subprocess.run(command, timeout=TIME_LIMIT, check=False, **options)
    return Result(done.returncode, done.stdout, done.stderr)


def run_protoc(files, names, folder, plugin=PLUGIN, out=None, parameter=""):
    """Runs protoc with the plugin over descriptors; `out` is made in `folder`."""
    descriptors = os.path.join(folder, "descriptors.pb")
    with open(descriptors, "wb") as stream:
        stream.write(b"".join(field(1, one) for one in files.values()))
    if out is None:
        out = os.path.join(folder, "out")
        os.makedirs(out, exist_ok=True)
    done = subprocess.run(
        [
            PROTOC,
            "--plugin=protoc-gen-qarn-rpc=" + plugin,
            "--descriptor_set_in=" + descriptors,
            "--qarn-rpc_out=%s:%s" % (parameter, out),
        ]
        + list(names),
        timeout=TIME_LIMIT,
        check=False,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
    )
    return Result(done.returncode, done.stdout, done.stderr)


def files_below(folder):
    """Path in `folder` to contents, for every file."""
    found = {}
    for where, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(where, name)
            with open(path, "rb") as stream:
                found[os.path.relpath(path, folder)] = stream.read()
    return found


class PluginTest(unittest.TestCase):
    """A test that says what it saw: record() prints a line of the table."""

    maxDiff = None

    def record(self, fault, result):
        print("  %-50s %s" % (fault, result), flush=True)

    def folder(self):
        made = tempfile.TemporaryDirectory(prefix="qarn_rpc_test_")
        self.addCleanup(made.cleanup)
        return made.name


def main():
    """Runs the tests of the calling program; the status is for ctest."""
    unittest.main(verbosity=2)
