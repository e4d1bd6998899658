"""The generator's actions run on a server of the Remote Execution API, which Debian's sid
has.

Debian's Bazel refuses the server, so the actions that it plans are sent by another
client: the command, the inputs, the outputs and the environment are those of its
aquery. And a build with Ninja is run by a client of its own.
"""

import concurrent.futures
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import time

import pytest

from consumers.bazel.driver import Bazel
from consumers.bazel.servers import remote_execution
from consumers.bazel.workspace import GENERATE
from support.commands import run

pytestmark = [
    pytest.mark.needs("buildbox-casd", "trexe", package="buildbox"),
    pytest.mark.needs("siso"),
]

PREBUILT = ["--config=prebuilt", "--config=prebuilt_protoc"]
TARGET = "//weather:weather_rpc_qarn_rpc"
# Seconds, after which a client that waits for a dead server is ended.
CLIENT_TIMEOUT = 60
# What the 200 actions of one step are made from.
ACTIONS = 200
PROTO = """\
syntax = "proto3";
package many.part%d;
message Ping {}
service Pinger { rpc Send(Ping) returns (Ping); }
"""

# Writes half a header and then waits, for as long as a file says so; after that
# it is the program that it is given.
SLOW = """\
#!/bin/sh
if [ -e '{flag}' ]; then
  printf '// half a header' > '{header}'
  : > '{flag}.started'
  while [ -e '{flag}' ]; do sleep 0.1; done
fi
exec "$@"
"""


class Action:
    """What is sent: a command with its inputs, a dictionary from the path on the
    worker to the file here, and its outputs."""

    def __init__(self, arguments, inputs, outputs, environment=None):
        self.arguments = list(arguments)
        self.inputs = dict(inputs)
        self.outputs = sorted(outputs)
        self.environment = dict(environment or {})


class Result:
    """How that ended, and the files that came back, by their paths."""

    def __init__(self, done, folder, metadata):
        self.status, self.output = done.returncode, done.stdout
        self.files = files_below(folder)
        self.cached = metadata.get("actionResultMetadata", {}).get("cachedResult")

    def expect(self, files, cached):
        """It succeeded, and brought these files."""
        assert self.status == 0, self.output
        assert self.cached == cached
        assert self.files == files

    def expect_nothing(self):
        """It failed, and left nothing."""
        assert self.status != 0
        assert self.files == {}


def files_below(folder):
    """The contents of all files below the folder, by their paths."""
    paths = [path for path in folder.rglob("*") if path.is_file()]
    return {str(path.relative_to(folder)): path.read_bytes() for path in paths}


def send(action, url, folder, user=None):
    """Runs the action on the server; what comes back is put into `folder`.

    user: whose client it is, if not of the user of the test.
    """
    folder.mkdir(parents=True)
    if user:
        shutil.chown(folder, user)
    metadata = folder.with_name(f"{folder.name}.json")
    done = subprocess.run(
        [
            *(["runuser", "-u", user, "--"] if user else []),
            "trexe",
            f"--remote={url}",
            f"--d={folder}",
            f"--result-metadata-file={metadata}",
            *(f"--input-path={here}:{there}" for there, here in action.inputs.items()),
            *(f"--output-path={output}" for output in action.outputs),
            *(f"--env={name}={value}" for name, value in action.environment.items()),
            *action.arguments,
        ],
        stdin=subprocess.DEVNULL,
        timeout=CLIENT_TIMEOUT,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        check=False,
    )
    text = metadata.read_text() if metadata.exists() else "{}"
    return Result(done, folder, json.loads(text))


def runner_of(server):
    """The process in which the server has an action run, by its id."""
    for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
        with contextlib.suppress(OSError):
            # The program's name in parentheses, a letter, the parent's id.
            _, program, rest = re.split("[()]", stat.read_text(), maxsplit=2)
            if program.startswith("buildbox-run") and int(rest.split()[1]) == server.pid:
                return int(stat.parent.name)
    raise AssertionError("the server runs no action")


@pytest.fixture(name="bazel", scope="module")
def fixture_bazel(sid, workspace, prebuilt):
    """A Bazel without a cache, so that all files are there to be sent."""
    if not sid:
        pytest.skip("the server is in Debian's sid")
    registry = workspace.work / "first/registry"
    bazel = Bazel(workspace.bazel.workspace, workspace.work / "uncached", [], registry)
    yield bazel
    bazel.shutdown()


@pytest.fixture(name="action", scope="module")
def fixture_action(bazel):
    """What Bazel plans for the generator."""
    bazel.build(*PREBUILT, TARGET)
    root = bazel.exec_root()
    (planned,) = bazel.aquery(f'mnemonic("{GENERATE}", {TARGET})', *PREBUILT)
    inputs = {file: root / file for file in planned.files}
    return Action(planned.arguments, inputs, planned.outputs, planned.environment)


@pytest.fixture(name="expected", scope="module")
def fixture_expected(bazel, action):
    """The files that Bazel has from that here."""
    root = bazel.exec_root()
    assert len(action.outputs) == 2
    return {output: (root / output).read_bytes() for output in action.outputs}


@pytest.fixture(name="room")
def fixture_room(request, workspace):
    """A folder that clients of other users can reach."""
    folder = workspace.work / re.sub(r"\W", "_", request.node.name)
    folder.mkdir()
    return folder


def test_bazel_is_refused(bazel, room):
    """Debian's Bazel and the server have no version of the API in common."""
    with remote_execution(room / "store") as (url, _):
        output = bazel.refused(
            "build",
            *PREBUILT,
            f"--remote_executor={url.replace('http', 'grpc')}",
            "--spawn_strategy=remote",
            "//stations:station_rpc_qarn_rpc",
        )
    assert "client supported API versions, 2.0 to 2.0, is not supported" in output


def test_same_bytes(action, expected, room):
    """The action gives the same bytes there; the next client gets them cached."""
    with remote_execution(room / "store") as (url, _):
        send(action, url, room / "out_1").expect(expected, cached=False)
        send(action, url, room / "out_2").expect(expected, cached=True)
        # Another client: its own copies of the files, and another user.
        other = room / "other"
        other.mkdir()
        inputs = {}
        for number, (there, here) in enumerate(action.inputs.items()):
            inputs[there] = shutil.copy(here, other / str(number))
        run(["chown", "-R", "nobody", other])
        copied = Action(action.arguments, inputs, action.outputs, action.environment)
        send(copied, url, other / "out", user="nobody").expect(expected, cached=True)


def test_undeclared_input(action, room):
    """Without one of its inputs it fails: nothing else is there."""
    with remote_execution(room / "store") as (url, _):
        for number, left_out in enumerate(sorted(action.inputs)):
            inputs = {t: h for t, h in action.inputs.items() if t != left_out}
            lacking = Action(action.arguments, inputs, action.outputs)
            send(lacking, url, room / f"out_{number}").expect_nothing()


def test_bare_worker(action, expected, room):
    """It runs where its inputs are all that there is, without /usr or /tmp."""
    with remote_execution(room / "store", "bubblewrap") as (url, _):
        send(action, url, room / "out").expect(expected, cached=False)
        # A shell does not.
        shell = Action(["/bin/sh", "-c", "true"], {}, [])
        assert send(shell, url, room / "shell").status != 0


def wait_for(path):
    for _ in range(300):
        if path.exists():
            return
        time.sleep(0.1)
    raise AssertionError(f"{path} was not written: the action did not begin")


@pytest.mark.parametrize("victim", ["worker", "server"])
def test_killed(action, expected, room, victim):
    """A worker or a server killed half way leaves nothing; the next run is whole."""
    header = next(output for output in action.outputs if output.endswith(".h"))
    flag = room / "waits"
    flag.touch()
    slow = room / "slow"
    slow.write_text(SLOW.format(flag=flag, header=header))
    slow.chmod(0o755)
    action = Action(
        ["./slow", *action.arguments],
        {**action.inputs, "slow": slow},
        action.outputs,
        {"PATH": "/usr/bin:/bin"},
    )
    with remote_execution(room / "store") as (url, server):
        with concurrent.futures.ThreadPoolExecutor() as pool:
            sent = pool.submit(send, action, url, room / "killed")
            try:
                wait_for(room / "waits.started")
                if victim == "worker":
                    os.kill(runner_of(server), signal.SIGKILL)
                else:
                    os.killpg(server.pid, signal.SIGKILL)
            finally:
                # Whatever is left of the action now ends.
                flag.unlink()
            sent.result().expect_nothing()
    # The same store, after a new start.
    with remote_execution(room / "store") as (url, _):
        send(action, url, room / "out").expect(expected, cached=False)


def write_protos(folder):
    """Writes the .proto files of many actions; returns their names without suffix."""
    folder.mkdir()
    names = [f"part{number}" for number in range(ACTIONS)]
    for number, name in enumerate(names):
        (folder / f"{name}.proto").write_text(PROTO % number)
    return names


def generate_here(prebuilt, protos, out):
    """The generated files of all .proto files in a folder, by their names."""
    out.mkdir()
    start = time.monotonic()
    for path in sorted(protos.iterdir()):
        command = [prebuilt.protoc, f"--plugin=protoc-gen-qarn-rpc={prebuilt.plugin}"]
        command += [f"--proto_path={protos}", f"--qarn-rpc_out={out}", path.name]
        subprocess.run(command, check=True)
    print(f"  the same here, one after the other: {time.monotonic() - start:.1f} s")
    return files_below(out)


def test_many_actions(bazel, prebuilt, room):
    """200 actions, four at once, each with the bytes of a run here."""
    protos = room / "protos"
    actions = []
    for name in write_protos(protos):
        arguments = ["./protoc", "--plugin=protoc-gen-qarn-rpc=plugin", "--qarn-rpc_out=."]
        inputs = {"protoc": prebuilt.protoc, "plugin": prebuilt.plugin}
        inputs[f"{name}.proto"] = protos / f"{name}.proto"
        outputs = [f"{name}.rpc.h", f"{name}.rpc.cpp"]
        actions.append(Action([*arguments, f"{name}.proto"], inputs, outputs))
    here = generate_here(prebuilt, protos, room / "here")
    with remote_execution(room / "store") as (url, _):
        for what, cached in (("run there", False), ("out of the cache", True)):
            start = time.monotonic()
            folders = [room / what / str(number) for number in range(ACTIONS)]
            with concurrent.futures.ThreadPoolExecutor(max_workers=4) as pool:
                results = list(pool.map(send, actions, [url] * ACTIONS, folders))
            print(f"  {ACTIONS} actions {what}: {time.monotonic() - start:.1f} s")
            for result, action in zip(results, actions):
                result.expect({output: here[output] for output in action.outputs}, cached)


def ninja_project(source, prebuilt, project):
    """Writes a project with a step of Ninja for each of many .proto files."""
    shutil.copytree(source / "tests/consumers/bazel/siso", project)
    tools = project / "tools"
    tools.mkdir()
    shutil.copy(prebuilt.protoc, tools / "protoc")
    shutil.copy(prebuilt.plugin, tools / "protoc-gen-qarn-rpc-any")
    steps = "include rules.ninja\n"
    for part in write_protos(project / "proto"):
        steps += (
            f"build gen/{part}.rpc.h gen/{part}.rpc.cpp: qarn_rpc proto/{part}.proto"
            " | tools/protoc tools/protoc-gen-qarn-rpc-any\n"
        )
    (project / "build.ninja").write_text(steps)
    (project / ".sisoroot").touch()
    return project


def siso(project, url):
    """Builds; returns how many steps ran here, there, and came from the cache."""
    start = time.monotonic()
    output = run(["./build.sh", url.replace("http://", "")], cwd=project)
    print(f"  siso took {time.monotonic() - start:.1f} s")
    counts = re.search(r"local:(\d+) remote:(\d+) cache:(\d+)", output)
    if counts:
        return tuple(int(count) for count in counts.groups())
    assert re.search("Everything is up-to-date|no work to do", output, re.IGNORECASE)
    return (0, 0, 0)


def test_ninja(bazel, prebuilt, source, room):
    """A build with Ninja has its generator run there, by the client siso."""
    with remote_execution(room / "store") as (url, _):
        first = ninja_project(source, prebuilt, room / "siso")
        assert siso(first, url) == (0, ACTIONS, 0)
        here = generate_here(prebuilt, first / "proto", room / "here")
        assert files_below(first / "gen") == here
        assert siso(first, url) == (0, 0, 0)
        second = ninja_project(source, prebuilt, room / "siso_elsewhere")
        assert siso(second, url) == (0, 0, ACTIONS)
        assert files_below(second / "gen") == here
        with open(first / "proto/part7.proto", "a") as file:
            file.write("message Pong {}\n")
        assert siso(first, url) == (0, 1, 0)
