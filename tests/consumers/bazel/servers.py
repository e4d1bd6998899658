"""Servers on the loopback, each for as long as a `with` lasts."""

import contextlib
import os
import shutil
import signal
import socket
import subprocess
import time

from support.testkit import Failure


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
    with open(log, encoding="utf-8", errors="replace") as file:
        raise Failure(f"{server.args[0]} does not serve:\n{file.read()}")


@contextlib.contextmanager
def http_cache(folder, configuration):
    """nginx with the file `configuration`, at a free port; gives its URL."""
    port = free_port()
    os.makedirs(os.path.join(folder, "data"))
    with open(configuration, encoding="utf-8") as file:
        text = file.read().replace("127.0.0.1:8980", f"127.0.0.1:{port}")
    place = os.path.join(folder, "nginx.conf")
    with open(place, "w", encoding="utf-8") as file:
        # Its workers are of another user otherwise, who may not write here.
        file.write("user root;\n" + text)
    command = [shutil.which("nginx"), "-p", folder, "-e", "error.log", "-c", place]
    with serving(command, port, os.path.join(folder, "log")):
        yield f"http://127.0.0.1:{port}"


@contextlib.contextmanager
def remote_execution(folder, runner="hosttools"):
    """buildbox-casd with four jobs and its store in `folder`; gives its URL and the
    process.

    runner: "hosttools" runs an action in a folder with its inputs; "bubblewrap"
    where this folder is the root, and there is nothing else.
    """
    port = free_port()
    os.makedirs(folder, exist_ok=True)
    command = [
        shutil.which("buildbox-casd"),
        f"--bind=127.0.0.1:{port}",
        f"--buildbox-run={shutil.which(f'buildbox-run-{runner}')}",
        "--jobs=4",
        os.path.join(folder, "store"),
    ]
    with serving(command, port, os.path.join(folder, "log")) as server:
        yield f"http://127.0.0.1:{port}", server
