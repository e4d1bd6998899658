"""What the README's two commands say where something is missing: scripts/setup.sh,
which both call first, and scripts/demo.sh when a step fails.

Everything runs in a copy of scripts/ with a PATH of its own: the tools that the
scripts always have, and stand-ins for what may be missing or fail.
"""

import os
import shutil
import subprocess

import pytest

ALWAYS_THERE = "bash cat dirname env find grep id mkdir mktemp readlink rm sed sort touch".split()
BUILD_PACKAGES = (
    "cmake g++ libboost-dev libprotobuf-dev libprotoc-dev lld ninja-build protobuf-compiler"
)


class Machine:
    """A copy of the scripts, and the programs that they find."""

    def __init__(self, folder, source):
        self.tree = folder / "tree"
        self.programs = folder / "programs"
        self.calls = folder / "calls"
        self.programs.mkdir()
        self.calls.touch()
        shutil.copytree(source / "scripts", self.tree / "scripts")
        for name in ALWAYS_THERE:
            (self.programs / name).symlink_to(shutil.which(name))

    def add(self, name, script="exit 0"):
        """A stand-in, which writes down how it was called."""
        program = self.programs / name
        program.unlink(missing_ok=True)
        program.write_text(f'#!/bin/bash\necho "{name} $*" >>{self.calls}\n{script}\n')
        program.chmod(0o755)

    def add_apt(self, installed="false"):
        """An apt that has nothing installed, or, with "true", everything."""
        self.add("apt-get")
        self.add("dpkg-query", f"{installed} && printf installed")

    def run(self, *command, through=()):
        """Status, output and what was called."""
        done = subprocess.run(
            [*through, *command],
            cwd=self.tree,
            env={"PATH": str(self.programs)},
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
        )
        return done.returncode, done.stdout, self.calls.read_text()


@pytest.fixture(name="machine")
def fixture_machine(tmp_path, source):
    """One with nothing but what is always there."""
    return Machine(tmp_path, source)


@pytest.mark.parametrize("command", ["scripts/demo.sh", "scripts/test.sh"])
def test_without_root_and_sudo_names_what_to_install(machine, command):
    machine.add_apt()
    machine.add("id", "echo 1000")
    status, output, calls = machine.run(command)
    test_packages = " libgmock-dev libgtest-dev" if command == "scripts/test.sh" else ""
    assert status == 1
    assert "neither is available; run as root: apt-get update && apt-get install " in output
    assert set((BUILD_PACKAGES + test_packages).split()) <= set(output.split())
    assert "apt-get" not in calls
    assert not (machine.tree / "build").exists()


def test_installs_what_is_missing_through_sudo(machine):
    machine.add_apt()
    machine.add("id", "echo 1000")
    machine.add("sudo")
    status, output, calls = machine.run("scripts/setup.sh", "build")
    assert (status, output) == (0, f"To be installed with apt: {BUILD_PACKAGES}\n")
    assert calls.splitlines()[-2:] == [
        "sudo apt-get update -qq",
        "sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "
        f"--no-install-recommends {BUILD_PACKAGES}",
    ]


def test_installs_nothing_that_is_there(machine):
    machine.add_apt(installed="true")
    status, output, calls = machine.run("scripts/setup.sh", "build", "test")
    assert (status, output) == (0, "")
    assert "apt-get" not in calls


def test_only_says_it_when_told_so(machine):
    machine.add_apt()
    status, output, calls = machine.run("scripts/setup.sh", "--no-install", "build", "lint")
    assert status == 0
    assert "To be installed with apt: black clang " in output
    assert "To be installed with npm, in build/tools: @bazel/buildifier@" in output
    assert "apt-get" not in calls


def test_says_what_to_run_when_apt_fails(machine):
    machine.add_apt()
    machine.add("apt-get", 'echo "E: no network"; exit 100')
    machine.add("id", "echo 0")
    status, output, _ = machine.run("scripts/setup.sh", "build")
    assert status == 1
    assert output.splitlines()[-2:] == [
        "E: no network",
        "setup.sh: apt-get failed, see its output above; "
        f"run as root: apt-get update && apt-get install {BUILD_PACKAGES}",
    ]


def test_knows_its_groups(machine):
    status, output, _ = machine.run("scripts/setup.sh", "build", "tset")
    assert status == 2
    assert output.startswith("setup.sh: there is no group 'tset'\nusage: ")


@pytest.mark.parametrize("command", ["scripts/demo.sh", "scripts/test.sh"])
def test_says_that_the_tree_cannot_be_written(machine, command):
    machine.add_apt(installed="true")
    through = []
    if os.getuid() == 0:
        # The user root writes anywhere, but for one without that capability.
        through = [shutil.which("setpriv"), "--bounding-set=-dac_override"]
        if not through[0]:
            pytest.skip("setpriv is not installed")
    machine.tree.chmod(0o555)
    try:
        status, output, calls = machine.run(command, through=through)
    finally:
        machine.tree.chmod(0o755)
    assert status == 1
    assert len(output.splitlines()) == 1
    assert output.startswith("setup.sh: ")
    assert f" cannot write to {machine.tree}; use a copy" in output
    assert calls == ""


# What each stand-in of the compiler finds is said by the words in its input and
# arguments that make it fail.
@pytest.mark.parametrize(
    "programs, not_found, expected",
    [
        ("c++ cmake ninja protoc", "nothing", None),
        ("c++ cmake protoc", "nothing", "program ninja"),
        ("c++ cmake ninja protoc", "boost", "header boost/version.hpp"),
        ("c++ cmake ninja protoc", "-lprotoc", "library protoc"),
    ],
)
def test_looks_for_what_is_needed_where_there_is_no_apt(machine, programs, not_found, expected):
    for name in programs.split():
        machine.add(name, f'! grep -qwe {not_found} <<<"$* $(cat)"')
    status, output, _ = machine.run("scripts/setup.sh", "build")
    if expected is None:
        assert (status, output) == (0, "")
    else:
        assert status == 1
        assert f"setup.sh: not found: {expected}\n" in output
        assert set(BUILD_PACKAGES.split()) <= set(output.split())


def test_names_all_that_is_missing_where_there_is_no_apt(machine):
    status, output, _ = machine.run("scripts/setup.sh", "build", "test")
    assert status == 1
    assert (
        "setup.sh: not found: program c++, program cmake, program ninja, program protoc, "
        "header boost/version.hpp, header google/protobuf/compiler/code_generator.h, "
        "library protobuf, library protoc, program diff, program pkg-config, program python3, "
        "module pytest, header gmock/gmock.h, header gtest/gtest.h, library gmock, library gtest\n"
    ) in output


def test_looks_where_cmake_is_told_to(machine):
    for name in "cmake ninja protoc".split():
        machine.add(name)
    machine.add("c++", '[[ "$*" == *-I/opt/pb/include\\ -L/opt/pb/lib* ]]')
    command = ["scripts/setup.sh", "build"]
    through = [shutil.which("env"), "CMAKE_PREFIX_PATH=/opt/other:/opt/pb"]
    assert machine.run(*command)[0] == 1
    assert machine.run(*command, through=through)[:2] == (0, "")


@pytest.fixture(name="demo")
def fixture_demo(machine):
    """All that the demo needs, each step of which succeeds."""
    machine.add_apt(installed="true")
    lines = "for i in {1..30}; do echo line $i; done"
    fails = f'if [[ "cmake $*" == *"$FAILING"* ]]; then {lines}; echo reason >&2; exit 3; fi'
    machine.add("cmake", f"FAILING=$(<{machine.tree}/failing)\n{fails}\n{lines}")
    machine.add("protoc", "touch build/demo/echo.rpc.h")
    talk = machine.tree / "examples/echo/talk.sh"
    talk.parent.mkdir(parents=True)
    talk.write_text("#!/bin/bash\necho they talked\n")
    talk.chmod(0o755)
    (machine.tree / "failing").write_text("none of them")
    return machine


def test_the_demo_cuts_what_succeeded_alone(demo):
    status, output, _ = demo.run("scripts/demo.sh")
    assert status == 0
    assert output.endswith("they talked\n")
    assert output.count("line 2\n") == 5
    # The build of the plugin alone is shown whole.
    assert output.count("line 30\n") == 1


@pytest.mark.parametrize(
    "step",
    [
        "cmake --preset release",
        "cmake --build --preset release",
        "cmake --install build/release",
        "cmake -G Ninja -S examples/echo",
        "cmake --build build/demo/build",
    ],
)
def test_the_demo_shows_what_failed_whole(demo, step):
    (demo.tree / "failing").write_text(step)
    status, output, _ = demo.run("scripts/demo.sh")
    assert status != 0
    before, last = output.rstrip("\n").rsplit("\n", 1)
    assert last.startswith(f"demo.sh: this step failed: {step}")
    assert before.endswith("\nline 30\nreason")
    assert "they talked" not in output
