"""The README's sample and commands work as they are printed."""

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
def fixture_folder(tmp_path, source, built, readme):
    """The folder that the commands by hand begin with."""
    (tmp_path / "greeter.proto").write_text(block(readme, "proto", "service Greeter"))
    (tmp_path / "PATH_TO").mkdir()
    for name, target in {
        "main.cc": source / "tests/docs/greeter_main.cc",
        "PATH_TO/protoc-gen-qarn-rpc": built.plugin,
        "PATH_TO/protoc": built.protoc,
        "PATH_TO_THIS_PROJECT": source,
        "PATH_TO_YOUR_RUNTIME": source / "examples/runtime",
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
        "PATH": f"{folder}/PATH_TO:{os.environ['PATH']}",
        "CPLUS_INCLUDE_PATH": ":".join(headers),
        "LIBRARY_PATH": libraries,
        "LD_LIBRARY_PATH": libraries,
    }


def test_header_of_the_sample_has_the_lines_shown(readme, folder, env):
    """In their order."""
    command = ["protoc", "-I.", "-IPATH_TO_THIS_PROJECT/proto", "--qarn-rpc_out=.", "greeter.proto"]
    run(command, folder, env)
    header = (folder / "greeter.rpc.h").read_text()
    lines = iter(header.splitlines())
    for shown in block(readme, "cpp", "class Greeter").splitlines():
        assert not shown or shown in lines, f"show what is generated now:\n{header}"


def test_commands_by_hand_build_a_program(readme, folder, env):
    run(["sh", "-e", "-c", block(readme, "sh", "--qarn-rpc_out")], folder, env)
    assert run([folder / "greeter"], folder, env) == "hello, one\nhello, two\nhello, three\n"


@pytest.mark.parametrize("page", ["README.md", "CONTRIBUTING.md"])
def test_scripts_are_there(source, page):
    """Those that the page tells its reader to run."""
    blocks = re.findall(r"^```sh\n(.*?)^```$", (source / page).read_text(), re.M | re.S)
    names = re.findall(r"^((?:scripts|\.ci)/\S+)", "".join(blocks), re.MULTILINE)
    assert names
    assert [name for name in names if not os.access(source / name, os.X_OK)] == []
