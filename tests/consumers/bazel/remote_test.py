"""Runs the generator's actions on a server of the Remote Execution API.

Debian's Bazel refuses the server, so the actions that it plans are sent by
another client: the command, the inputs, the outputs and the environment are those
of its aquery. And a build with Ninja is run by a client of its own. It begins with
the workspace that bazel_test --sid built in the same work folder. Exit status 0:
all steps passed; 1: one failed; 77: something is missing.
"""

import argparse
import concurrent.futures
import contextlib
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time

from consumers.bazel.bazel_driver import Bazel, run_steps
from consumers.bazel.bazel_test import GENERATE, WORKSPACE
from consumers.bazel.servers import remote_execution
from support.testkit import Failure, Skip, expect, fresh_folder, need, run, status_of

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

    def __init__(self, status, output, folder, metadata):
        self.status = status
        self.output = output
        self.files = {}
        for place, _, names in os.walk(folder):
            for name in names:
                path = os.path.join(place, name)
                with open(path, "rb") as file:
                    self.files[os.path.relpath(path, folder)] = file.read()
        self.cached = metadata.get("actionResultMetadata", {}).get("cachedResult")


def send(action, url, folder, user=None):
    """Runs the action on the server; what comes back is put into `folder`.

    user: whose client it is, if not of the user of the test.
    """
    fresh_folder(folder)
    if user:
        shutil.chown(folder, user)
    metadata = folder + ".json"
    with contextlib.suppress(FileNotFoundError):
        os.remove(metadata)
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
    text = "{}"
    if os.path.exists(metadata):
        with open(metadata, encoding="utf-8") as file:
            text = file.read()
    return Result(done.returncode, done.stdout, folder, json.loads(text))


def runner_of(server):
    """The process in which the server has an action run, by its id."""
    for name in filter(str.isdigit, os.listdir("/proc")):
        with contextlib.suppress(OSError):
            with open(f"/proc/{name}/stat", encoding="utf-8") as file:
                # The program's name in parentheses, a letter, the parent's id.
                _, program, rest = re.split("[()]", file.read(), maxsplit=2)
            if program.startswith("buildbox-run") and int(rest.split()[1]) == server.pid:
                return int(name)
    raise Failure("the server runs no action")


class Test:
    """The steps, in the order in which main() calls them."""

    def __init__(self, options):
        self.source = options.source
        self.work = fresh_folder(os.path.join(options.work, "remote"))
        root = os.path.join(options.work, "first")
        self.bazel = Bazel(
            os.path.join(root, WORKSPACE),
            self._folder("output"),
            # No cache, so that all files are there to be sent.
            [],
            os.path.join(root, "registry"),
        )
        tools = os.path.join(self.bazel.workspace, "prebuilt")
        self.protoc = os.path.join(tools, "protoc/protoc-linux-x86_64")
        self.plugin = os.path.join(tools, "protoc-gen-qarn-rpc-any-linux-x86_64")
        if not os.path.exists(self.protoc):
            raise Skip("bazel_test --sid has not linked the programs")

    def _folder(self, name):
        return os.path.join(self.work, name)

    # Steps.

    def bazel_is_refused(self):
        """Debian's Bazel and the server have no version of the API in common."""
        # What it builds here is what the other steps compare with.
        self.bazel.build(*PREBUILT, TARGET)
        root = self.bazel.exec_root()
        (planned,) = self.bazel.aquery(f'mnemonic("{GENERATE}", {TARGET})', *PREBUILT)
        self.action = Action(
            planned.arguments,
            {file: os.path.join(root, file) for file in planned.files},
            planned.outputs,
            planned.environment,
        )
        self.expected = {}
        for output in planned.outputs:
            with open(os.path.join(root, output), "rb") as file:
                self.expected[output] = file.read()
        expect("number of generated files", len(self.expected), 2)
        with remote_execution(self._folder("refused")) as (url, _):
            output = self.bazel.refused(
                "build",
                *PREBUILT,
                f"--remote_executor={url.replace('http', 'grpc')}",
                "--spawn_strategy=remote",
                "//stations:station_rpc_qarn_rpc",
            )
        if not re.search("client supported API versions, 2.0 to 2.0, is not supported", output):
            raise Failure(f"Bazel was not refused for its version of the API:\n{output}")
        self.bazel.shutdown()

    def same_bytes(self):
        """The action gives the same bytes there; the next client gets them cached."""
        with remote_execution(self._folder("first")) as (url, _):
            self._expect(send(self.action, url, self._folder("out_1")), cached=False)
            self._expect(send(self.action, url, self._folder("out_2")), cached=True)
            # Another client: its own copies of the files, and another user.
            other = fresh_folder(self._folder("other"))
            inputs = {}
            for number, (there, here) in enumerate(self.action.inputs.items()):
                inputs[there] = shutil.copy(here, os.path.join(other, str(number)))
            run(["chown", "-R", "nobody", other])
            action = Action(
                self.action.arguments, inputs, self.action.outputs, self.action.environment
            )
            result = send(action, url, os.path.join(other, "out"), user="nobody")
            self._expect(result, cached=True)

    def _expect(self, result, cached):
        expect(f"exit status, with the output {result.output}", result.status, 0)
        expect("whether it came from the cache", result.cached, cached)
        if result.files != self.expected:
            raise Failure(f"other bytes came back, in {sorted(result.files)}")

    def undeclared_input(self):
        """Without one of its inputs it fails: nothing else is there."""
        with remote_execution(self._folder("undeclared")) as (url, _):
            for left_out in sorted(self.action.inputs):
                inputs = {t: h for t, h in self.action.inputs.items() if t != left_out}
                action = Action(self.action.arguments, inputs, self.action.outputs)
                result = send(action, url, self._folder("out"))
                if result.status == 0 or result.files:
                    raise Failure(f"it ran without {left_out}, and gave {sorted(result.files)}")

    def bare_worker(self):
        """It runs where its inputs are all that there is, without /usr or /tmp."""
        with remote_execution(self._folder("bare"), "bubblewrap") as (url, _):
            self._expect(send(self.action, url, self._folder("out")), cached=False)
            shell = Action(["/bin/sh", "-c", "true"], {}, [])
            if send(shell, url, self._folder("out")).status == 0:
                raise Failure("a shell ran too: there must be more on the worker")

    def killed_worker(self):
        """A worker or a server killed half way leaves nothing; the next run is whole."""
        header = next(output for output in self.action.outputs if output.endswith(".h"))
        for victim in ["worker", "server"]:
            flag = self._folder(f"{victim}_waits")
            slow = self._folder(f"{victim}_slow")
            with open(slow, "w", encoding="utf-8") as file:
                file.write(SLOW.format(flag=flag, header=header))
            os.chmod(slow, 0o755)
            action = Action(
                ["./slow", *self.action.arguments],
                {**self.action.inputs, "slow": slow},
                self.action.outputs,
                {"PATH": "/usr/bin:/bin"},
            )
            with open(flag, "w", encoding="utf-8"):
                pass
            store = self._folder(f"{victim}_store")
            with remote_execution(store) as (url, server):
                with concurrent.futures.ThreadPoolExecutor() as pool:
                    sent = pool.submit(send, action, url, self._folder(f"{victim}_out"))
                    try:
                        self._wait_for(flag + ".started")
                        if victim == "worker":
                            os.kill(runner_of(server), signal.SIGKILL)
                        else:
                            os.killpg(server.pid, signal.SIGKILL)
                    finally:
                        # Whatever is left of the action now ends.
                        os.remove(flag)
                    result = sent.result()
                if result.status == 0 or result.files:
                    raise Failure(f"{victim} killed, and it gave {sorted(result.files)}")
            # The same store, after a new start.
            with remote_execution(store) as (url, _):
                self._expect(send(action, url, self._folder("out")), cached=False)

    def _wait_for(self, path):
        for _ in range(300):
            if os.path.exists(path):
                return
            time.sleep(0.1)
        raise Failure(f"{path} was not written: the action did not begin")

    def many_actions(self):
        """200 actions, four at once, each with the bytes of a run here."""
        folder = fresh_folder(self._folder("many"))
        actions = []
        expected = []
        for number in range(ACTIONS):
            name = f"part{number}"
            with open(os.path.join(folder, f"{name}.proto"), "w", encoding="utf-8") as file:
                file.write(PROTO % number)
            arguments = [
                "./protoc",
                "--plugin=protoc-gen-qarn-rpc=plugin",
                "--qarn-rpc_out=.",
                f"{name}.proto",
            ]
            inputs = {
                "protoc": self.protoc,
                "plugin": self.plugin,
                f"{name}.proto": os.path.join(folder, f"{name}.proto"),
            }
            actions.append(Action(arguments, inputs, [f"{name}.rpc.h", f"{name}.rpc.cpp"]))
        here = self._generate_here(folder)
        for action in actions:
            expected.append({output: here[output] for output in action.outputs})
        with remote_execution(self._folder("many_store")) as (url, _):
            for what, cached in (("run there", False), ("out of the cache", True)):
                start = time.monotonic()
                with concurrent.futures.ThreadPoolExecutor(max_workers=4) as pool:
                    results = list(
                        pool.map(
                            lambda job: send(job[1], url, self._folder(f"many_out/{job[0]}")),
                            enumerate(actions),
                        )
                    )
                print(f"  {ACTIONS} actions {what}: {time.monotonic() - start:.1f} s", flush=True)
                failed = [result.output for result in results if result.status != 0]
                expect("actions that failed", failed, [])
                expect("actions cached", {result.cached for result in results}, {cached})
                for result, files in zip(results, expected):
                    if result.files != files:
                        raise Failure(f"other bytes came back: {sorted(result.files)}")

    def _generate_here(self, folder):
        """The generated files of all .proto files in `folder`, by their names."""
        out = fresh_folder(folder + "_here")
        start = time.monotonic()
        for name in sorted(os.listdir(folder)):
            subprocess.run(
                [
                    self.protoc,
                    f"--plugin=protoc-gen-qarn-rpc={self.plugin}",
                    f"--proto_path={folder}",
                    f"--qarn-rpc_out={out}",
                    name,
                ],
                check=True,
            )
        print(f"  the same here, one after the other: {time.monotonic() - start:.1f} s")
        return Result(0, "", out, {}).files

    def ninja(self):
        """A build with Ninja has its generator run there, by the client siso."""
        with remote_execution(self._folder("siso_store")) as (url, _):
            first = self._ninja_project("siso")
            expect("steps of the first build", self._siso(first, url), (0, ACTIONS, 0))
            here = self._generate_here(os.path.join(first, "proto"))
            if Result(0, "", os.path.join(first, "gen"), {}).files != here:
                raise Failure("siso brought other files than a run here gives")
            expect("steps of a build after it", self._siso(first, url), (0, 0, 0))
            second = self._ninja_project("siso_elsewhere")
            expect("steps of another tree", self._siso(second, url), (0, 0, ACTIONS))
            if Result(0, "", os.path.join(second, "gen"), {}).files != here:
                raise Failure("siso took other files out of the cache")
            with open(os.path.join(first, "proto/part7.proto"), "a", encoding="utf-8") as file:
                file.write("message Pong {}\n")
            expect("steps after an edit", self._siso(first, url), (0, 1, 0))

    def _ninja_project(self, name):
        project = os.path.join(self.work, name)
        shutil.copytree(os.path.join(self.source, "tests/consumers/bazel/siso"), project)
        tools = fresh_folder(os.path.join(project, "tools"))
        shutil.copy(self.protoc, os.path.join(tools, "protoc"))
        shutil.copy(self.plugin, os.path.join(tools, "protoc-gen-qarn-rpc-any"))
        os.mkdir(os.path.join(project, "proto"))
        steps = "include rules.ninja\n"
        for number in range(ACTIONS):
            part = f"part{number}"
            with open(os.path.join(project, f"proto/{part}.proto"), "w", encoding="utf-8") as file:
                file.write(PROTO % number)
            steps += (
                f"build gen/{part}.rpc.h gen/{part}.rpc.cpp: qarn_rpc proto/{part}.proto"
                " | tools/protoc tools/protoc-gen-qarn-rpc-any\n"
            )
        with open(os.path.join(project, "build.ninja"), "w", encoding="utf-8") as file:
            file.write(steps)
        with open(os.path.join(project, ".sisoroot"), "w", encoding="utf-8"):
            pass
        return project

    def _siso(self, project, url):
        """Builds; returns how many steps ran here, there, and came from the cache."""
        start = time.monotonic()
        output = run(["./build.sh", url.replace("http://", "")], cwd=project)
        print(f"  siso took {time.monotonic() - start:.1f} s")
        counts = re.search(r"local:(\d+) remote:(\d+) cache:(\d+)", output)
        if counts:
            return tuple(int(count) for count in counts.groups())
        if re.search("Everything is up-to-date|no work to do", output, re.IGNORECASE):
            return (0, 0, 0)
        raise Failure(f"siso does not say what it did:\n{output}")


STEPS = [
    Test.bazel_is_refused,
    Test.same_bytes,
    Test.undeclared_input,
    Test.bare_worker,
    Test.killed_worker,
    Test.many_actions,
    Test.ninja,
]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--source", required=True, help="root of the project")
    parser.add_argument("--work", required=True, help="work folder of bazel_test --sid")
    parser.add_argument("--sid", action="store_true", required=True, help="it has no other form")
    options = parser.parse_args()
    need("bazel", package="bazel-bootstrap")
    need("buildbox-casd", "trexe", package="buildbox")
    need("siso")
    run_steps(Test(options), STEPS)


if __name__ == "__main__":
    sys.exit(status_of(main))
