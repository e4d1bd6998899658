"""The check of a runtime, with the example's and with damaged copies of it."""

import configparser
import os
import pathlib
import re
import shutil
import subprocess

import pytest

from consumers.context import append, copy_into, fresh_folder, with_places, write_program
from support.commands import run, words

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wnon-virtual-dtor", "-Werror"]
STRICT = ["-std=c++17", *WARNINGS]

FILES = {
    f"{way}/{name}"
    for way in ("plain", "api")
    for name in ("kinds.rpc.cpp", "no_package.rpc.cpp", "use.cc")
}


def read_damages():
    """What damages.ini has: by the damage its changes, misfits and dependent names, and
    which damages are quick."""
    parser = configparser.ConfigParser(interpolation=None, delimiters=("=",))
    parser.read(pathlib.Path(__file__).with_name("damages.ini"))
    damaged, quick = {}, set()
    for what, damage in parser.items():
        if what == parser.default_section:
            continue
        changes = []
        for line in damage["change"].strip().splitlines():
            file, _, texts = line.replace("\\n", "\n").partition(" | ")
            old, _, new = texts.partition(" =>")
            # One blank parts them; more are of the text.
            changes.append((file, old, new[1:]))
        misfits = dict(line.split(": ", 1) for line in damage["misfit"].strip().splitlines())
        damaged[what] = (changes, misfits, damage.get("dependent", "").split())
        if "quick" in damage:
            quick.add(what)
    return damaged, quick


DAMAGED, QUICK = read_damages()


def copy_of_runtime(context, changes, name="runtime"):
    """Makes a copy of the example's runtime with the changes of a damage."""
    folder = fresh_folder(context.work / name)
    copy_into(folder, context.runtime)
    for file, old, new in changes:
        # What is for the network, in a folder of its own, no generated file includes.
        paths = list((folder / "qarn/rpc").glob(file))
        texts = {path: path.read_text() for path in paths}
        assert any(old in text for text in texts.values()), "nothing to damage"
        for path, text in texts.items():
            path.write_text(text.replace(old, new))
    return folder


def checked(context, folder, *flags, status=0, env=None):
    """Runs the installed check, and returns what it says of each name, and its
    last line."""
    env = {"TMPDIR": context.work, **(env or {})}
    output = run([context.check_runtime, folder, *flags], status=status, env=env)
    lines = output.strip().splitlines()
    said = dict(line.split(None, 1) for line in lines if not line.startswith("check_runtime: "))
    return said, lines[-1]


def names(context):
    """The names that the check has probes for."""
    text = (context.prefix / "share/qarn-rpc-gen/check_runtime/probes.cc").read_text()
    return re.findall(r"^// probe: (\S+)", text, re.MULTILINE)


def expect_fits(context, folder, *flags, env):
    """All fits, and the check leaves nothing behind."""
    before = os.listdir(context.work)
    said, last = checked(context, folder, *flags, env=env)
    assert said == dict.fromkeys(set(names(context)) | FILES | {"linked"}, "fits")
    assert last == "check_runtime: the runtime fits"
    assert os.listdir(context.work) == before


def oldest_standard():
    """The oldest that this protobuf's headers can be compiled at: they ask for C++17
    since releases have been counted from 22 on."""
    release = re.search(r"libprotoc (\d+)", run(["protoc", "--version"]))[1]
    return "-std=c++17" if int(release) >= 22 else "-std=c++11"


def test_check_runtime(context):
    """The example's runtime fits, name by name, as does one that decides otherwise
    whatever it may."""
    oldest = oldest_standard()
    expect_fits(context, context.runtime, oldest, *WARNINGS, env={"CXX": "g++"})
    bare = context.projects / "bare_runtime"
    warnings = [flag for flag in WARNINGS if "virtual" not in flag]
    # A protoc that was moved does not find protobuf's own .proto files.
    protoc = shutil.copy(shutil.which("protoc"), context.work)
    environment = {"CXX": "clang++", "PROTOC": protoc}
    expect_fits(context, bare, oldest, *warnings, env=environment)


CLANG = {"CXX": "ccache clang++" if shutil.which("ccache") else "clang++"}


def test_check_runtime_clang(context):
    """clang says the same as gcc of what fits, and why something does not."""
    expect_fits(context, context.runtime, "-std=c++20", *WARNINGS, env=CLANG)
    for what in sorted(QUICK):
        expect_named(context, what, CLANG)


@pytest.mark.parametrize("what", sorted(QUICK))
def test_check_runtime_damaged(context, what):
    """A damage of each sort is found in the names that it is in, and no other."""
    expect_named(context, what)


@pytest.mark.parametrize("what", sorted(DAMAGED.keys() - QUICK))
def test_check_runtime_damaged_otherwise(context, what):
    """So are all other damages."""
    expect_named(context, what)


def expect_named(context, what, env=None):
    """The damage is found in the names that it is in, and no other."""
    changes, misfits, dependent = DAMAGED[what]
    folder = copy_of_runtime(context, changes)
    said, last = checked(context, folder, *STRICT, status=1, env=env)
    fitting = set(names(context)) - set(misfits) - set(dependent)
    assert {name for name in said if said[name] == "fits"} == fitting
    for name, pattern in misfits.items():
        assert "because of" not in said[name]
        assert re.search(pattern, said[name])
        assert "[with" not in said[name] and str(context.prefix) not in said[name], "noise"
    for name in dependent:
        assert said[name] == f"cannot fit, because of {', '.join(misfits)}"
    kept = re.fullmatch(
        "check_runtime: the runtime does not fit: (.*); all that the compiler said is in (.*)",
        last,
    )
    assert kept, last
    assert kept[1] == ", ".join(misfits)
    log = pathlib.Path(kept[2], next(iter(misfits)).replace("::", ".") + ".log").read_text()
    assert "error" in log and "check_runtime/probes.cc:" in log


def test_check_runtime_header(context):
    """A header that does not compile alone stands for all names."""
    folder = copy_of_runtime(context, [("status.h", "namespace qarn {", "Missing missing;")])
    said, last = checked(context, folder, *STRICT, status=1)
    assert list(said) == names(context)
    text = "qarn/rpc/status.h:9: 'Missing' does not name a type"
    assert text in said.pop("qarn/rpc.h")
    assert set(said.values()) == {"cannot fit, because of qarn/rpc.h"}
    assert "does not fit: qarn/rpc.h;" in last


def test_check_runtime_files(context):
    """Whole files are told from names: here a macro spoils a service of theirs."""
    said, last = checked(context, context.runtime, "-DUnpackaged=1", status=1)
    misfits = [
        f"{way}/{name}" for name in ("no_package.rpc.cpp", "use.cc") for way in ("plain", "api")
    ]
    assert {name for name in said if said[name] != "fits"} == set(misfits)
    assert "linked" not in said
    assert f"does not fit: {', '.join(misfits)};" in last


def test_check_runtime_linked(context):
    """A program of all files shows what no file alone does."""
    changes = [
        ("status.h", "enum class StatusCode", "int Twice() { return 2; }\nenum class StatusCode")
    ]
    said, last = checked(context, copy_of_runtime(context, changes), status=1)
    assert {name for name in said if said[name] != "fits"} == {"linked"}
    assert "multiple definition of `qarn::rpc::Twice()'" in said["linked"]
    assert "does not fit: linked;" in last

    # A runtime with a library of its own.
    changes = [("client.h", "virtual ~StubBase() {}", "virtual ~StubBase();")]
    folder = copy_of_runtime(context, changes)
    said, last = checked(context, folder)
    assert "not linked: undefined reference to" in said["linked"]
    assert "name the runtime's library among the flags" in said["linked"]
    assert last == "check_runtime: the runtime fits, as far as its headers go"
    library = context.work / "libmine.a"
    for text, status in (("qarn::rpc::StubBase::~StubBase() {}", 0), ("", 1)):
        unit = context.work / "stub_base.cc"
        unit.write_text(f'#include "qarn/rpc.h"\n{text}\n')
        run(["c++", "-I", folder, "-c", unit, "-o", f"{library}.o"])
        library.unlink(missing_ok=True)
        run(["ar", "rcs", library, f"{library}.o"])
        said, _ = checked(context, folder, f"-L{context.work}", "-lmine", status=status)
        if status == 0:
            assert said["linked"] == "fits"
        else:
            assert "undefined reference to" in said["linked"]


# By what is wrong: arguments, environment, the status and what is said. @runtime@ is
# the example's runtime, @broken@ a program that fails, @work@ a folder without either.
ERRORS = {
    "no argument": ([], {}, 2, "usage: check_runtime.sh INCLUDE_DIR [compiler flag...]"),
    "a flag first": (["-Wall"], {}, 2, "usage: check_runtime.sh"),
    "no runtime": (
        ["@work@"],
        {},
        3,
        "check_runtime: there is no qarn/rpc.h in '@work@'; "
        "name the folder from which it is included",
    ),
    "no compiler": (
        ["@runtime@"],
        {"CXX": "no-such-compiler -m64"},
        4,
        "check_runtime: the compiler 'no-such-compiler -m64' was not found; "
        "set CXX to the one that you use",
    ),
    "a broken compiler": (
        ["@runtime@"],
        {"CXX": "@broken@"},
        4,
        "check_runtime: the compiler '@broken@' does not compile an empty file",
    ),
    "an unknown flag": (
        ["@runtime@", "-std=c++1"],
        {"CXX": "g++"},
        4,
        "check_runtime: the compiler 'g++' does not compile an empty file: ",
    ),
    "no protoc": (
        ["@runtime@"],
        {"PROTOC": "/no/protoc"},
        5,
        "check_runtime: /no/protoc was not found; put protoc on the PATH, "
        "or set PROTOC to its path",
    ),
    "a broken protoc": (
        ["@runtime@"],
        {"PROTOC": "@broken@"},
        5,
        "check_runtime: protoc does not generate the files to check with",
    ),
    "no folder": (
        ["@runtime@"],
        {"TMPDIR": "/no/folder"},
        5,
        "check_runtime: no temporary folder could be made; "
        "set TMPDIR to a folder that can be written to",
    ),
    "no plugin": (
        ["@runtime@"],
        {"QARN_RPC_PLUGIN": "/no/plugin"},
        5,
        "check_runtime: protoc-gen-qarn-rpc was not found; "
        "put it on the PATH, or set QARN_RPC_PLUGIN to its path",
    ),
    "no headers": (
        ["@runtime@", "-nostdinc++"],
        {},
        5,
        "check_runtime: what generated code includes besides qarn/rpc.h does not compile: ",
    ),
}


@pytest.mark.parametrize("arguments, environment, status, text", ERRORS.values(), ids=ERRORS)
def test_check_runtime_errors(context, arguments, environment, status, text):
    """Each way to go wrong has a status and one line."""
    places = {
        "@runtime@": context.runtime,
        "@broken@": write_program(context.work / "broken", "exit 1\n"),
        "@work@": context.work,
    }
    environment = {name: with_places(value, places) for name, value in environment.items()}
    done = subprocess.run(
        [context.check_runtime, *(with_places(argument, places) for argument in arguments)],
        env={**os.environ, "TMPDIR": str(context.work), **environment},
        stdin=subprocess.DEVNULL,
        capture_output=True,
        text=True,
        check=False,
    )
    assert done.returncode == status
    assert done.stdout == ""
    assert done.stderr.count("\n") == 1
    assert with_places(text, places) in done.stderr


def test_cmake_check_runtime(context):
    """The function of the package says the same of a library, and fails the
    build with one that does not fit."""
    project = context.project("check_runtime")
    append(
        project / "CMakeLists.txt",
        'target_compile_definitions(my_runtime INTERFACE ON "-DWORDS=\\"a b\\"")\n',
    )

    def build(runtime, status):
        common = ["cmake", "-S", project, "-B", project / "build", "-G", "Ninja"]
        run(
            [*common, f"-DCMAKE_PREFIX_PATH={context.prefix}", f"-DRPC_RUNTIME_DIR={runtime}"],
            env={"CXX": "c++ -DARGUMENT_OF_CXX"},
        )
        command = ["cmake", "--build", project / "build", "--target", "check_runtime_my_runtime"]
        return run(command, status=status)

    output = build(context.runtime, 0)
    assert "RpcService::AddMethod fits" in words(output)
    assert "check_runtime: the runtime fits" in output
    # The library's standard and definitions are the ones that count.
    damaged = copy_of_runtime(
        context,
        [
            ("*.h", "RMT_BIDI_STREAMING", "RMT_BOTH_STREAMING"),
            (
                "status.h",
                "enum class StatusCode",
                'static_assert(__cplusplus == 202002L, "20");\n'
                'static_assert(sizeof(WORDS) == 4, "a b");\n'
                "#if !defined(ON) || !defined(ARGUMENT_OF_CXX)\n#error\n#endif\n"
                "enum class StatusCode",
            ),
        ],
        "blank and $ sign",
    )
    output = build(damaged, None)
    assert "check_runtime: the runtime does not fit: RMT_BIDI_STREAMING;" in output
    assert words(
        "qarn_rpc_check_runtime: 'my_runtime' does not fit the code that "
        "protoc-gen-qarn-rpc generates"
    ) in words(output)
    nothing = fresh_folder(context.work / "nothing")
    assert words(
        "qarn_rpc_check_runtime: there is no qarn/rpc.h in the include folders of "
        f"'my_runtime' ('{nothing}'). Give that library the folder from which qarn/rpc.h "
        "is included."
    ) in words(build(nothing, None))
