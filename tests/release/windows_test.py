"""What only the files for Windows can have wrong, tried under wine: streams of text in
place of bytes, paths with blanks and long ones, and what the page for users says.

  python3 -m release.windows_test ROOT FOLDER WORK

FOLDER has the files of the release. Runs in a root of scripts/release.sh, since it
needs protoc.exe and mingw-w64. The same sources, built for this system, say what is
right. WINEPREFIX is where wine keeps its files.
"""

import os
import pathlib
import re
import shutil
import sys

from release.checkout import project_of
from support.testkit import Failure, expect, expect_in, fresh_folder, run, status_of, write

# protoc.exe is there.
PROTOBUF = "/usr/lib/protobuf-mingw-w64"
# Longer than the 260 characters that a path of Windows has without more ado.
LONG = "/".join("a folder whose name is long " + letter * 80 for letter in "abc")


class Windows:
    """The archive for Windows, the programs for this system, and where there is
    room."""

    def __init__(self, root, folder, work):
        self.root = pathlib.Path(root)
        self.work = pathlib.Path(fresh_folder(work))
        project = project_of(self.root)
        self.plain, self.any_syntax = project.PROGRAMS
        self.version = project.version_of(self.root)
        self.name = f"qarn-rpc-gen-{self.version}-win64"
        shutil.unpack_archive(f"{folder}/{self.name}.zip", self.work)
        self.programs = self.work / self.name / "bin"
        self.native = self.work / "native"
        run(
            ["cmake", "-S", self.root, "-B", self.native, "-G", "Ninja"]
            + ["-DCMAKE_BUILD_TYPE=Debug", "-DQARN_RPC_BUILD_TESTS=OFF", "-DQARN_RPC_STATIC=OFF"]
        )
        run(["cmake", "--build", self.native])
        page = (self.root / "docs/using.md").read_text(encoding="utf-8")
        self.section = page.split("\n## Windows\n")[1].split("\n## ")[0]

    def foreign(self, *command):
        """The command that runs a program for Windows."""
        return [self.root / "scripts/release/run_foreign.sh", "Windows", "x86_64", *command]

    def commands(self, language):
        """The commands of the page in that language of its code blocks."""
        (text,) = re.findall(rf"^```{language}\n(.*?)^```$", self.section, re.M | re.S)
        return text.replace("VERSION", self.version)


def record_request(windows):
    """What protoc sends for a file whose path is long and has blanks, and whose
    comments have what a stream of text changes, or takes for its end."""
    folder = fresh_folder(windows.work / "request")
    case = windows.root / "tests/golden/all_four_kinds/proto"
    text = next(case.rglob("*.proto")).read_bytes()
    (folder / LONG).mkdir(parents=True)
    (folder / LONG / "all kinds.proto").write_bytes(
        text + b"\n// One\r\n// and two \x1a.\nmessage Last {}\n"
    )
    request = windows.work / "request.bin"
    record = windows.work / "record.sh"
    write(record, f"#!/bin/sh\ncat >'{request}'\n")
    record.chmod(0o755)
    run(
        ["protoc", f"-I{windows.root}/proto", f"-I{folder}"]
        + [f"--plugin=protoc-gen-record={record}", f"--record_out={folder}"]
        + [f"{LONG}/all kinds.proto"]
    )
    data = request.read_bytes()
    for part in (b"\r\n", b"\x1a", LONG.encode()):
        if part not in data:
            raise Failure(f"the request has no {part!r}")
    return request


def check_streams(windows):
    """The answer is the same as here, byte for byte, wherever the program lies."""
    request = record_request(windows)
    folder = windows.work / LONG
    folder.mkdir(parents=True)
    for program in (windows.plain, windows.any_syntax):
        expected = run([windows.native / program], stdin=request, merge=False, text=False)
        expect_in("the answer", expected.decode(errors="replace"), f"{LONG}/all kinds.rpc.cpp")
        name = f"{program}.exe"
        shutil.copy(windows.programs / name, folder)
        for place in (windows.programs, folder):
            answer = run(windows.foreign(place / name), stdin=request, merge=False, text=False)
            if answer != expected:
                raise Failure(f"{place / name} does not answer as the program here does")


def check_refusal(windows):
    """What is no request ends with the framework's words and status 1."""
    program = windows.programs / f"{windows.plain}.exe"
    text = run(windows.foreign(program), stdin=__file__, status=1)
    expect_in("the refusal", text, "protoc sent unparseable request to plugin.")


def check_page(windows):
    """The commands of the page, in a folder with blanks: what protoc.exe writes
    there is what protoc writes here."""
    folder = pathlib.Path(fresh_folder(windows.work / "a project"))
    shutil.copytree(windows.work / windows.name, folder / windows.name)
    for proto in (windows.root / "examples/echo").glob("*.proto"):
        shutil.copy(proto, folder)
    (folder / "try.bat").write_bytes(windows.commands("bat").replace("\n", "\r\n").encode())
    run(
        windows.foreign("cmd", "/c", "try.bat"),
        cwd=folder,
        env={"WINEPATH": f"Z:{PROTOBUF}/bin"},
    )
    expected = fresh_folder(windows.work / "expected")
    run(
        ["protoc", f"-I{folder}", f"-I{windows.root}/proto", f"--cpp_out={expected}"]
        + [f"--plugin=protoc-gen-qarn-rpc={windows.native / windows.any_syntax}"]
        + [f"--qarn-rpc_out={expected}", "--qarn-rpc_opt=services_namespace=api"]
        + ["echo.proto", "text.proto"]
    )
    expect("the number of files", len(os.listdir(expected)), 8)
    run(["diff", "-r", expected, folder / "gen"])


def check_gate(windows):
    """The gate refuses a program that needs a library of MinGW."""
    (library,) = pathlib.Path("/usr/lib/gcc/x86_64-w64-mingw32").glob("*-posix/libstdc++-6.dll")
    check = "import gate, pathlib, sys; gate.check_libraries('it', pathlib.Path(sys.argv[1]))"
    text = run(
        [sys.executable, "-B", "-c", check, library],
        env={"PYTHONPATH": str(windows.root / "scripts/release")},
        status=1,
    )
    expect_in("the gate", text, "libstdc++-6.dll needs the libraries [")


def check_cross_build(windows):
    """The project of the quick start, cross-compiled for Windows by the commands of
    the page, runs there. The plugin is this system's, the package Windows'."""
    folder = pathlib.Path(fresh_folder(windows.work / "cross"))
    for path in (windows.root / "examples/echo", windows.root / "tests/consumers/quick_start"):
        shutil.copytree(path, folder, dirs_exist_ok=True)
    shutil.copy(windows.root / "scripts/release/mingw.cmake", folder)
    commands = windows.commands("sh")
    for word, path in (
        ("PREFIX", windows.work / windows.name),
        ("RUNTIME", windows.root / "examples/runtime"),
    ):
        commands = commands.replace(f"={word}", f"={path}")
    run(
        ["sh", "-e", "-c", commands],
        cwd=folder,
        env={"PATH": f"{windows.native}:{os.environ['PATH']}"},
    )
    text = run(windows.foreign(folder / "build/echo.exe")).replace("\r\n", "\n")
    conversation = windows.root / "examples/echo/conversation.txt"
    expect("what the example prints", text, conversation.read_text(encoding="utf-8"))


def main(arguments):
    """Tries all of it."""
    windows = Windows(*arguments)
    check_streams(windows)
    check_refusal(windows)
    check_page(windows)
    check_gate(windows)
    check_cross_build(windows)


if __name__ == "__main__":
    sys.exit(status_of(main, sys.argv[1:]))
