"""Servers on the loopback, each for as long as a `with` lasts."""

import contextlib
import os
import shutil
import signal
import socket
import subprocess
import time

import pytest


def free_port():
    """A port of the loopback that nothing listens on."""
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


@contextlib.contextmanager
def serving(command, port, log):
    """Runs a server until the end of the `with`, from when it takes connections.

    log: the file that gets what it prints.
    """
    with open(log, "ab") as file:
        # A group of its own, so that what it starts ends with it.
        with subprocess.Popen(command, stdout=file, stderr=file, start_new_session=True) as server:
            try:
                _wait_for(server, port, log)
                yield server
            finally:
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(server.pid, signal.SIGTERM)


def _wait_for(server, port, log):
    for _ in range(100):
        with socket.socket() as client:
            if client.connect_ex(("127.0.0.1", port)) == 0:
                return
        if server.poll() is not None:
            break
        time.sleep(0.1)
    pytest.fail(f"{server.args[0]} does not serve:\n{log.read_text(errors='replace')}")


@contextlib.contextmanager
def http_cache(folder, configuration):
    """nginx with the file `configuration`, at a free port; gives its URL."""
    port = free_port()
    (folder / "data").mkdir(parents=True)
    text = configuration.read_text().replace("127.0.0.1:8980", f"127.0.0.1:{port}")
    place = folder / "nginx.conf"
    # Its workers are of another user otherwise, who may not write here.
    place.write_text("user root;\n" + text)
    command = [shutil.which("nginx"), "-p", folder, "-e", "error.log", "-c", place]
    with serving(command, port, folder / "log"):
        yield f"http://127.0.0.1:{port}"


@contextlib.contextmanager
def remote_execution(folder, runner="hosttools"):
    """buildbox-casd with four jobs and its store in `folder`; gives its URL and the
    process.

    runner: "hosttools" runs an action in a folder with its inputs; "bubblewrap"
    where this folder is the root, and there is nothing else.
    """
    port = free_port()
    folder.mkdir(exist_ok=True)
    command = [
        shutil.which("buildbox-casd"),
        f"--bind=127.0.0.1:{port}",
        f"--buildbox-run={shutil.which(f'buildbox-run-{runner}')}",
        "--jobs=4",
        folder / "store",
    ]
    with serving(command, port, folder / "log") as server:
        yield f"http://127.0.0.1:{port}", server
