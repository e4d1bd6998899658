"""The README's commands work as they are printed, and it names the version."""

import os
import pathlib
import re

import pytest

from support.commands import run


@pytest.fixture(name="readme")
def fixture_readme(source):
    return (source / "README.md").read_text()


def block(text, language, part):
    """The one block of that language that holds `part`."""
    blocks = re.findall(rf"^```{language}\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
    (found,) = [body for body in blocks if part in body]
    return found


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


def test_commands_by_hand_build_a_program(readme, folder, env):
    run(["sh", "-e", "-c", block(readme, "sh", "--qarn-rpc_out")], folder, env)
    assert run([folder / "greeter"], folder, env) == "hello, world\n"


def test_status_names_the_version(source, readme):
    version = re.search(r"^  VERSION (\S+)$", (source / "CMakeLists.txt").read_text(), re.M)[1]
    assert f"\nStatus: version {version}. " in readme


@pytest.mark.parametrize("page", ["README.md", "CONTRIBUTING.md"])
def test_scripts_are_there(source, page):
    """Those that the page tells its reader to run."""
    blocks = re.findall(r"^```sh\n(.*?)^```$", (source / page).read_text(), re.M | re.S)
    names = re.findall(r"^((?:scripts|\.ci)/\S+)", "".join(blocks), re.MULTILINE)
    assert names
    assert [name for name in names if not os.access(source / name, os.X_OK)] == []
