"""The README's commands work as they are printed, and it names the version, as do
those of Bazel's modules."""

import os
import pathlib
import re

import pytest

from support.commands import run


def commands_of(page):
    """The texts of the blocks of commands."""
    return re.findall(r"^```sh\n(.*?)^```$", page.read_text(), re.MULTILINE | re.DOTALL)


@pytest.fixture(name="folder")
def fixture_folder(tmp_path, source, built):
    """The folder that the commands by hand begin with."""
    for name in ("PREFIX/bin", "path"):
        (tmp_path / name).mkdir(parents=True)
    for name, target in {
        "PREFIX/bin/protoc-gen-qarn-rpc-any": f"{built.plugin}-any",
        "path/protoc": built.protoc,
        "examples": source / "examples",
        "RUNTIME": source / "examples/runtime",
    }.items():
        (tmp_path / name).symlink_to(target)
    return tmp_path


@pytest.fixture(name="env")
def fixture_env(folder, built):
    """The environment of a user who has this protobuf."""
    # Named again, the default folder would hide the C++ library's own headers.
    headers = [
        path for path in built.system_folders if path.rstrip("/") not in ("", "/usr/include")
    ]
    libraries = ":".join(str(pathlib.Path(path).parent) for path in built.libraries)
    return {
        "PATH": f"{folder}/path:{os.environ['PATH']}",
        "CPLUS_INCLUDE_PATH": ":".join(headers),
        "LIBRARY_PATH": libraries,
        "LD_LIBRARY_PATH": libraries,
    }


def test_commands_by_hand_build_a_program(source, folder, env):
    (by_hand,) = [text for text in commands_of(source / "README.md") if "--qarn-rpc_out" in text]
    run(["sh", "-e", "-c", by_hand], folder, env)
    assert run([folder / "greeter"], folder, env) == "hello, world\n"


@pytest.mark.parametrize(
    "path, text",
    [
        ("README.md", "\nStatus: version {}. "),
        ("MODULE.bazel", '"{}"'),
        ("tests/consumers/bazel/workspace/MODULE.bazel", '"{}"'),
    ],
)
def test_version_is_the_one_that_cmake_has(source, path, text):
    version = re.search(r"^  VERSION (\S+)$", (source / "CMakeLists.txt").read_text(), re.M)[1]
    assert text.format(version) in (source / path).read_text()


@pytest.mark.parametrize("page", ["README.md", "CONTRIBUTING.md"])
def test_scripts_are_there(source, page):
    """Those that the page tells its reader to run."""
    names = re.findall(
        r"^((?:scripts|\.ci)/\S+)", "".join(commands_of(source / page)), re.MULTILINE
    )
    assert names
    assert [name for name in names if not os.access(source / name, os.X_OK)] == []
