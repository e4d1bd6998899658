"""What only the files for Windows can have wrong, tried under wine: streams of text in
place of bytes, paths with blanks and long ones, and what the page for users says.

Runs in a root of scripts/release.sh, since it needs protoc.exe and mingw-w64;
--release is the folder of the files. The same sources, built for this system, say
what is right. WINEPREFIX is where wine keeps its files.
"""

import os
import pathlib
import shutil
import sys

import pytest

from consumers.context import save_request
from release.checkout import code_blocks, project_of
from support.commands import run

# protoc.exe is there.
PROTOBUF = "/usr/lib/protobuf-mingw-w64"
# Longer than the 260 characters that a path of Windows has without more ado.
LONG = "/".join("a folder whose name is long " + letter * 80 for letter in "abc")


class Windows:
    """The archive for Windows, unpacked, and the programs for this system."""

    def __init__(self, source, release, work):
        self.source = source
        project = project_of(source)
        self.plain, self.any_syntax = project.PLUGINS
        self.version = project.version_of(source)
        name = f"qarn-rpc-gen-{self.version}-win64"
        shutil.unpack_archive(release / f"{name}.zip", work)
        self.unpacked = work / name
        self.programs = self.unpacked / "bin"
        self.native = work / "native"
        run(
            ["cmake", "-S", source, "-B", self.native, "-G", "Ninja"]
            + ["-DCMAKE_BUILD_TYPE=Debug", "-DQARN_RPC_BUILD_TESTS=OFF", "-DQARN_RPC_STATIC=OFF"]
        )
        run(["cmake", "--build", self.native])

    def foreign(self, *command):
        """The command that runs a program for Windows."""
        return [self.source / "scripts/release/run_foreign.sh", "Windows", "x86_64", *command]

    def commands(self, language):
        """The commands of the page in that language of its code blocks."""
        (text,) = code_blocks(self.source, "using/windows.md", language)
        return text.replace("VERSION", self.version)


@pytest.fixture(name="windows", scope="module")
def fixture_windows(request, source, tmp_path_factory):
    release = request.config.getoption("release")
    if not release:
        pytest.skip("--release names no folder with the files of a release")
    return Windows(source, release, tmp_path_factory.mktemp("windows"))


@pytest.fixture(name="request_file")
def fixture_request_file(source, tmp_path):
    """What protoc sends for a file whose path is long and has blanks, and whose
    comments have what a stream of text changes, or takes for its end."""
    case = source / "tests/golden/all_four_kinds/proto"
    text = next(case.rglob("*.proto")).read_bytes()
    folder = tmp_path / "request"
    (folder / LONG).mkdir(parents=True)
    (folder / LONG / "all kinds.proto").write_bytes(
        text + b"\n// One\r\n// and two \x1a.\nmessage Last {}\n"
    )
    arguments = [f"-I{source}/proto", f"-I{folder}", f"{LONG}/all kinds.proto"]
    request = save_request(folder, *arguments)
    data = request.read_bytes()
    assert all(part in data for part in (b"\r\n", b"\x1a", LONG.encode()))
    return request


def test_answer_is_the_same_as_here(windows, request_file, tmp_path):
    """Byte for byte, wherever the program lies."""
    folder = tmp_path / LONG
    folder.mkdir(parents=True)
    for program in (windows.plain, windows.any_syntax):
        expected = run([windows.native / program], stdin=request_file, merge=False, text=False)
        assert f"{LONG}/all kinds.rpc.cpp".encode() in expected
        name = f"{program}.exe"
        shutil.copy(windows.programs / name, folder)
        for place in (windows.programs, folder):
            command = windows.foreign(place / name)
            answer = run(command, stdin=request_file, merge=False, text=False)
            assert answer == expected, place


def test_refuses_what_is_no_request(windows):
    """With the framework's words and status 1."""
    program = windows.programs / f"{windows.plain}.exe"
    text = run(windows.foreign(program), stdin=__file__, status=1)
    assert "protoc sent unparseable request to plugin." in text


def test_commands_of_the_page(windows, tmp_path):
    """What protoc.exe writes in a folder with blanks is what protoc writes here."""
    project = tmp_path / "a project"
    shutil.copytree(windows.unpacked, project / windows.unpacked.name)
    for proto in (windows.source / "examples/echo").glob("*.proto"):
        shutil.copy(proto, project)
    (project / "try.bat").write_bytes(windows.commands("bat").replace("\n", "\r\n").encode())
    run(
        windows.foreign("cmd", "/c", "try.bat"),
        cwd=project,
        env={"WINEPATH": f"Z:{PROTOBUF}/bin"},
    )
    expected = tmp_path / "expected"
    expected.mkdir()
    run(
        ["protoc", f"-I{project}", f"-I{windows.source}/proto", f"--cpp_out={expected}"]
        + [f"--plugin=protoc-gen-qarn-rpc={windows.native / windows.any_syntax}"]
        + [f"--qarn-rpc_out={expected}", "--qarn-rpc_opt=services_namespace=api"]
        + ["echo.proto", "text.proto"]
    )
    assert len(os.listdir(expected)) == 8
    run(["diff", "-r", expected, project / "gen"])


def test_gate_refuses_a_program_that_needs_a_library_of_mingw(windows):
    (library,) = pathlib.Path("/usr/lib/gcc/x86_64-w64-mingw32").glob("*-posix/libstdc++-6.dll")
    check = "import gate, pathlib, sys; gate.check_libraries('it', pathlib.Path(sys.argv[1]))"
    text = run(
        [sys.executable, "-B", "-c", check, library],
        env={"PYTHONPATH": str(windows.source / "scripts/release")},
        status=1,
    )
    assert "libstdc++-6.dll needs the libraries [" in text


def test_cross_build(windows, tmp_path):
    """The program of the page on CMake, cross-compiled for Windows by the commands of
    the page, runs there. The plugin is this system's, the package Windows'."""
    example = windows.source / "examples/echo"
    for path in (example, windows.source / "tests/consumers/cmake"):
        shutil.copytree(path, tmp_path, dirs_exist_ok=True)
    shutil.copy(windows.source / "scripts/release/mingw.cmake", tmp_path)
    commands = windows.commands("sh").replace("=PREFIX", f"={windows.unpacked}")
    commands = commands.replace("=RUNTIME", f"={windows.source}/examples/runtime")
    path = f"{windows.native}:{os.environ['PATH']}"
    run(["sh", "-e", "-c", commands], cwd=tmp_path, env={"PATH": path})
    text = run(windows.foreign(tmp_path / "build/echo.exe")).replace("\r\n", "\n")
    assert text == (example / "conversation.txt").read_text()
