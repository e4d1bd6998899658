"""What CMake finds and checks of protoc, protobuf and the plugin, and the calls that it
refuses."""

import os
import pathlib
import re
import shutil

import pytest

from consumers.context import (
    ECHO,
    OPTIONS,
    TEXT,
    Context,
    fresh_folder,
    runs,
    with_places,
    write_program,
)
from support.commands import run, words


def stand_in_protoc(folder, version, refused="--no-such-option"):
    """Writes a protoc that says it is `version` and does not know `refused`."""
    return write_program(
        folder / f"protoc-{version}",
        f"""
case "$*" in
  --version) echo "libprotoc {version}" ;;
  *{refused}*) echo "Unknown flag: {refused}" >&2; exit 1 ;;
  *) exec "{shutil.which("protoc")}" "$@" ;;
esac
""",
    )


def stand_in_library(folder, number):
    """Writes lines of CMake that make protobuf's library say that it is of the
    release `number`, which is written as 3021012 for 3.21.12."""
    include_dir = folder / f"include-{number}"
    header = include_dir / "google/protobuf/stubs/common.h"
    header.parent.mkdir(parents=True, exist_ok=True)
    # For CMake alone: the compiler reads the machine's header.
    header.write_text(
        f"#if 0\n#define GOOGLE_PROTOBUF_VERSION {number}\n#endif\n"
        "#include_next <google/protobuf/stubs/common.h>\n"
    )
    if number >= 7036000:
        (include_dir / "google/protobuf/runtime_version.h").touch()
    return f"""
find_library(protobuf_file protobuf REQUIRED)
find_path(protobuf_dir google/protobuf/descriptor.proto REQUIRED)
add_library(protobuf::libprotobuf UNKNOWN IMPORTED)
set_target_properties(protobuf::libprotobuf PROPERTIES
  IMPORTED_LOCATION "${{protobuf_file}}"
  INTERFACE_INCLUDE_DIRECTORIES "{include_dir};${{protobuf_dir}}")
"""


def test_cmake_old_protoc(context):
    """The same with a protoc that has no --dependency_out."""
    protoc = stand_in_protoc(context.work, "2.6.1", refused="--dependency_out")
    library = context.work / "library.cmake"
    library.write_text(stand_in_library(context.work, 2006001))
    project = context.echo_project("cmake")
    build = context.cmake(
        project, f"-DQARN_RPC_PROTOC_EXECUTABLE={protoc}", f"-DCMAKE_PROJECT_INCLUDE={library}"
    )
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(build.folder / "echo")
    build.expect_after(project / "text.proto", runs(TEXT | ECHO))


class CaseProject:
    """A project that is configured again and again, each time with other lines
    of CMake in it."""

    def __init__(self, context):
        self.folder = context.echo_project("errors")
        self.build = self.folder / "build"
        self.command = ["cmake", "-S", self.folder, "-B", self.build, "-G", "Ninja"]
        run([*self.command, f"-DCMAKE_PREFIX_PATH={context.prefix}", "-DCASE="])

    def configure(self, snippet, env=None, status=0):
        """Configures with `snippet` in the project, and returns what CMake said."""
        (self.folder / "case.cmake").write_text(snippet)
        return run([*self.command, "-DCASE=case.cmake"], env=env, status=status)

    def rules(self):
        """The text of the rules that the last configuration wrote."""
        return (self.build / "build.ninja").read_text()


FIND = "find_package(qarn-rpc-gen REQUIRED)\n"
CALL = "qarn_rpc_generate(TARGET echo PROTOS echo.proto)\n"


def test_cmake_skew(context):
    """protoc and library of different releases: nothing, a warning, an error. Of those
    that fit, protoc 3.12 to 3.14 is told to take proto3's optional."""
    case = CaseProject(context)
    for version, number, release, outcome in (
        ("3.21.12", 3021012, "3.21.12", "fits"),
        ("3.21.9", 3021012, "3.21.12", "warning"),
        ("3.20.3", 3021012, "3.21.12", "error"),
        ("22.0", 3021012, "3.21.12", "error"),
        ("3.11.4", 3011004, "3.11.4", "fits"),
        ("3.12.4", 3012004, "3.12.4", "fits, told"),
        ("3.14.0", 3014000, "3.14.0", "fits, told"),
        ("3.15.0", 3015000, "3.15.0", "fits"),
        ("22.5", 4022005, "22.5", "fits"),
        ("22.1", 4022005, "22.5", "warning"),
        ("36.2", 7036002, "36.2", "fits"),
        ("36.1", 7036002, "36.2", "error"),
        ("3.21.12", 7036002, "36.2", "error"),
    ):
        protoc = stand_in_protoc(context.work, version)
        snippet = (
            FIND
            + stand_in_library(context.work, number)
            + f'set(QARN_RPC_PROTOC_EXECUTABLE "{protoc}")\n'
            + CALL
            + CALL.replace("echo.proto", "text.proto")
        )
        output = case.configure(snippet, status=None if outcome == "error" else 0)
        name = f"protoc {version} with library {release}"
        assert output.count("CMake Warning") == int(outcome == "warning"), f"{name}: warnings"
        assert output.count("CMake Error") == int(outcome == "error"), f"{name}: errors"
        if outcome.startswith("fits"):
            is_told = "--experimental_allow_proto3_optional" in case.rules()
            assert is_told == (outcome == "fits, told"), name
            continue
        header = f"{context.work}/include-{number}/google/protobuf/stubs/common.h"
        refuses = (
            "The library refuses to compile what this protoc writes. " if outcome == "error" else ""
        )
        expected = (
            f"qarn-rpc-gen: protoc is of release {version} ('{protoc}', from "
            "QARN_RPC_PROTOC_EXECUTABLE), but protobuf's library of release "
            f"{release} ('{header}'). {refuses}Install both of one release, or set "
            "QARN_RPC_PROTOC_EXECUTABLE to the full path of a protoc "
            f"{release} that runs on this machine."
        )
        assert expected in words(output)


def test_cmake_plugins(context):
    """The program for any syntax comes first, then the plain one, with one line;
    QARN_RPC_PLUGIN_EXECUTABLE wins; a cross build looks on the PATH."""
    case = CaseProject(context)
    folder = fresh_folder(context.work / "bin")
    plain = write_program(folder / "protoc-gen-qarn-rpc", "exit 1\n")
    any_syntax = folder / "protoc-gen-qarn-rpc-any"
    line = (
        "-- qarn-rpc-gen: there is no protoc-gen-qarn-rpc-any, so protoc-gen-qarn-rpc is used, "
        "which protoc refuses to run on files with proto3 optional or an edition\n"
    )
    package = f"{context.prefix}/share/cmake/qarn-rpc-gen"
    function = (
        f'set(QARN_RPC_PROTO_DIR "{context.prefix}/include")\n'
        f'include("{package}/QarnRpcGenerate.cmake")\n'
    )
    calls = CALL + CALL.replace("echo.proto", "text.proto")

    def target(program):
        name = f"qarn-rpc-gen::{program.name}"
        return (
            f"add_executable({name} IMPORTED)\n"
            f"set_target_properties({name} PROPERTIES IMPORTED_LOCATION {program})\n"
        )

    def expect_plugin(name, snippet, plugin, lines, env=None):
        output = case.configure(function + snippet + calls, env=env)
        plugins = set(re.findall(r"--plugin=protoc-gen-qarn-rpc=(\S+)", case.rules()))
        assert plugins == {str(plugin)}, name
        assert output.count(line) == lines, name

    both = target(plain) + target(any_syntax)
    expect_plugin("both targets", both, any_syntax, 0)
    expect_plugin("the plain target", target(plain), plain, 1)
    expect_plugin("the variable", both + f'set(QARN_RPC_PLUGIN_EXECUTABLE "{plain}")\n', plain, 0)
    cross = both + "unset(QARN_RPC_PLUGIN_ON_PATH CACHE)\nset(CMAKE_CROSSCOMPILING TRUE)\n"
    path = {"PATH": f"{folder}:{os.environ['PATH']}"}
    expect_plugin("plain on the PATH", cross, plain, 1, path)
    write_program(any_syntax, "exit 1\n")
    expect_plugin("both on the PATH", cross, any_syntax, 0, path)


def test_cmake_cross(context):
    """A cross build runs the host's tools, not those of its target system."""
    sysroot = context.work / "sysroot"
    shutil.copytree(context.prefix, sysroot / "usr")
    for tool in ("protoc", *(plugin.name for plugin in context.plugins)):
        write_program(
            sysroot / "usr" / "bin" / tool,
            "echo this runs on the target only >&2\nexit 1\n",
        )
    toolchain = context.work / "toolchain.cmake"
    toolchain.write_text(
        f"set(CMAKE_SYSTEM_NAME Linux)\n"
        f'list(APPEND CMAKE_FIND_ROOT_PATH "{sysroot}")\n'
        "set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)\n"
    )
    project = context.echo_project("cmake")
    path = f"{context.plugin.parent}:{os.environ['PATH']}"
    build = context.cmake(
        project,
        f"-DCMAKE_TOOLCHAIN_FILE={toolchain}",
        f"-DCMAKE_PREFIX_PATH={sysroot}/usr",
        "-DQARN_RPC_LINT=ON",
        env={"PATH": path},
    )
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(build.folder / "echo")
    rules = (build.folder / "build.ninja").read_text()
    assert f"--plugin=protoc-gen-qarn-rpc-lint={context.plugin_lint} " in rules


@pytest.fixture(name="case_project", scope="module")
def fixture_case_project(source, prefix, tmp_path_factory):
    return CaseProject(Context(source, prefix, tmp_path_factory.mktemp("errors")))


def error_cases():
    """The lines of CMake and the answer of each case of errors/cases.cmake."""
    text = pathlib.Path(__file__).with_name("errors").joinpath("cases.cmake").read_text()
    for case in text.split("\n\n")[1:]:
        calls, answer = case.split("\n#> ", 1)
        for call in calls.split("\n# or\n"):
            yield pytest.param(call, words(answer.replace("\n#> ", " ")), id=call)


@pytest.mark.parametrize("call, answer", error_cases())
def test_cmake_errors(case_project, prefix, call, answer):
    """Each refusal of the functions and of the package, as whole texts."""
    places = {
        "@project@": case_project.folder,
        "@work@": case_project.folder.parent,
        "@prefix@": prefix,
    }
    find = "" if "qarn-rpc-gen" in call else FIND
    output = case_project.configure(find + with_places(call, places), status=None)
    assert with_places(answer, places) in words(output)
    # One error alone: the function stops at the first one.
    assert output.count("CMake Error") == 1
