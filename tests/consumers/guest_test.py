"""CMake projects of shapes that the function must not get in the way of."""

import re
import shutil

import pytest

from consumers.context import append, cmake_version, copy_into, fresh_folder, write_program
from support.commands import run, words

GCC_OPTIONS = (
    "-Wall;-Wextra;-Wpedantic;-Wconversion;-Wsign-conversion;-Wshadow;-Wold-style-cast;"
    "-Wnon-virtual-dtor;-Wsuggest-override;-Wuseless-cast;-Wcast-qual;-Wundef"
)


def documented_warnings(context):
    """What the page says that -Weverything finds in RPC files."""
    text = (context.source / "docs/qarn_rpc_generate.md").read_text()
    row = re.search(r"^\| `-Weverything`.*$", text, re.MULTILINE)
    assert row, "the page has no row for -Weverything"
    return set(re.findall(r"`-W([a-z0-9+-]+)`", row[0])) - {"everything"}


def test_cmake_strict(context):
    """The caller's warnings are errors: message code and the options library have
    none of them, RPC files those that the page names."""
    build = context.cmake(
        context.echo_project("strict"),
        "-DCMAKE_CXX_COMPILER=g++",
        f"-DSTRICT_OPTIONS={GCC_OPTIONS}",
    )
    build.build()
    context.expect_conversation(build.folder / "echo")
    if not shutil.which("clang++-14"):
        pytest.skip("clang++-14 is not installed (Debian's package clang)")
    warnings = documented_warnings(context)
    options = ";".join(["-Weverything", *(f"-Wno-{name}" for name in sorted(warnings))])
    build = context.cmake(
        context.echo_project("strict"),
        "-DCMAKE_CXX_COMPILER=clang++-14",
        f"-DSTRICT_OPTIONS={options}",
    )
    build.build()
    context.expect_conversation(build.folder / "echo")
    # -Werror, which comes later, fails what a warning is left in.
    found = {}
    for apart in ("OFF", "ON"):
        build = context.cmake(
            context.echo_project("strict"),
            "-DCMAKE_CXX_COMPILER=clang++-14",
            "-DSTRICT_OPTIONS=-Weverything;-ferror-limit=0",
            f"-DMESSAGES_APART={apart}",
        )
        output = run([*build.command, "--", "-k", "0"], status=None)
        found[apart] = re.findall(
            r"(?:generated|messages)/\w+\.(\w+\.\w+):.*\[-Werror,-W([^]]+)\]", output
        )
    assert {warning for _, warning in found["OFF"]} == warnings
    assert {ending for ending, _ in found["ON"]} == {"rpc.h", "rpc.cpp"}


def test_cmake_linting(context):
    """A linter for the whole build sees the project's own sources alone, from CMake
    3.27 on; before, clang-tidy finds nothing where the page's file is."""
    project = context.echo_project("strict")
    log = context.work / "linted"
    linter = write_program(
        context.work / "linter",
        f"""
for word; do
  case "$word" in *.cc | *.cpp) basename "$word" >> "{log}"; exit ;; esac
done
""",
    )
    if cmake_version() >= (3, 27):
        context.cmake(project, f"-DCMAKE_CXX_CLANG_TIDY={linter}").build()
        assert log.read_text() == "main.cc\n"
    if not shutil.which("clang-tidy"):
        pytest.skip("clang-tidy is not installed")
    build = context.cmake(project, "-DCMAKE_CXX_CLANG_TIDY=clang-tidy")
    build.build()
    append(project / "main.cc", "bool Odd(int number) { return number; }\n")
    output = run(build.command, status=None)
    assert set(re.findall(r"(\w+\.\w+):\d+:\d+: error:", output)) == {"main.cc"}


def test_cmake_exported(context):
    """Libraries with generated code are installed and exported, with the options
    library and without it, and used from there and from the build folder."""
    project = context.echo_project("exported")
    (project / "plain.proto").write_text(
        'syntax = "proto3";\npackage plain;\nmessage Word { string text = 1; }\n'
    )
    for shared in ("OFF", "ON"):
        build = context.cmake(project, f"-DBUILD_SHARED_LIBS={shared}")
        build.build()
        prefix = fresh_folder(context.work / "prefix")
        run(["cmake", "--install", build.folder, "--prefix", prefix])
        moved = fresh_folder(context.work / "moved")
        prefix.rename(moved / "prefix")
        for place in (moved / "prefix", build.folder):
            user = fresh_folder(context.work / "user")
            copy_into(user, context.projects / "exported/user")
            copy_into(user, *context.main_files)
            user_build = context.cmake(user, f"-DCMAKE_PREFIX_PATH={place}")
            user_build.build()
            context.expect_conversation(user_build.folder / "echo")


def test_cmake_arguments(context):
    """Quoted lists, options that become empty, a configured file, and one that the
    build writes and another of the list imports."""
    for generator in ("Ninja", "Unix Makefiles"):
        project = context.project("arguments")
        build = context.cmake(project, generator=generator)
        build.build()
        for name in ("first", "configured", "written"):
            # It stands where the .proto file is imported.
            assert (build.folder / f"{name}.rpc.h").exists()
        run([build.folder / "arguments"])
        build.expect_nothing()


def test_cmake_twice(context):
    """One .proto file in several targets of a folder."""
    for generator in ("Ninja", "Unix Makefiles"):
        build = context.cmake(context.project("twice"), generator=generator)
        build.build()
        for name in ("first", "second", "parts"):
            run([build.folder / name])
        build.expect_nothing()


def test_cmake_handed_on(context):
    """PRIVATE, RUNTIME_TARGET, the lists of files, and .proto files among sources."""
    project = context.project("handed_on")
    build = context.cmake(project)
    build.build()
    run([build.folder / "shop"])
    assert (build.folder / "lists").read_text() == "".join(
        f"{build.folder}/generated/stock.{end}\n" for end in ("pb.h", "rpc.h", "pb.cc", "rpc.cpp")
    )
    # The folder is not handed on.
    append(project / "main.cc", '#include "stock.rpc.h"\n')
    output = run(build.command, status=None)
    assert "stock.rpc.h: No such file" in output


def test_cmake_shared_options(context):
    """A program and a shared library that both use the options share the library of
    them, in both orders. An archive in each is refused, where CMake sees it; where
    it does not, one order ends the program."""
    project = context.project("shared")
    for first in ("ON", "OFF"):
        build = context.cmake(project, f"-DLIBRARY_FIRST={first}")
        build.build()
        run([build.folder / "shop"])
    for first in ("ON", "OFF"):
        output = run(
            ["cmake", build.folder, "-DQARN_RPC_SHARED_OPTIONS=OFF", f"-DLIBRARY_FIRST={first}"],
            status=None,
        )
        assert words(
            "qarn-rpc-gen: 'shop' would hold the library of the options, "
            "'qarn_rpc_service_options', twice: in 'shop' and 'stock'. "
            "The program would end when it starts. Make it a shared library: "
            "set(QARN_RPC_SHARED_OPTIONS ON) ahead of the first qarn_rpc_generate(), or, if it "
            "is a library of your own, add_library(qarn_rpc_service_options SHARED)."
        ) in words(output)
    run(["cmake", build.folder, "-DINDIRECT=ON"])
    build.build()
    output = run([build.folder / "shop"], status=None)
    registered = 'Multiple extension registrations for type "google.protobuf.MethodOptions"'
    assert f"{registered}, field number 50001." in output


def test_cmake_export_macro(context):
    """EXPORT_MACRO exports the messages of a library that hides the rest. Services
    stay hidden, and RPC code of the program's own is the way out."""
    project = context.project("export_macro")
    build = context.cmake(project, "-DEXPORT=EXPORT_MACRO;STOCK_EXPORT")
    build.build()
    run([build.folder / "shop"])
    run(["cmake", build.folder, "-DUSES_SERVICE=ON"])
    assert "undefined reference to `shop::stock::Stock::Stub::_rpcmethod_Look'" in run(
        build.command, status=None
    )
    run(["cmake", build.folder, "-DSERVICE_HERE=ON"])
    build.build()
    run([build.folder / "shop"])
    run(["cmake", build.folder, "-DEXPORT="])
    assert "undefined reference to `shop::stock::Item::" in run(build.command, status=None)


def test_cmake_folders(context):
    """Import folders come from linked libraries, a target gets code from a call in
    another folder, Boost's headers are found without warnings, and generated headers
    are installed as a file set."""
    boost = fresh_folder(context.work / "boost") / "include/boost"
    boost.mkdir(parents=True)
    (boost / "version.hpp").touch()
    # With a warning, if it were not a system header.
    (boost / "shared_ptr.hpp").write_text(
        "#pragma once\n#include_next <boost/shared_ptr.hpp>\n"
        "#define BOOST_OF_THE_PROJECT\nstatic int UnusedFunctionOfBoost() { return 0; }\n"
    )
    prefixes = f"-DCMAKE_PREFIX_PATH={context.prefix};{context.work}/boost"
    for generator, ways in (
        ("Ninja", ""),
        ("Unix Makefiles", "UNITY"),
        ("Unix Makefiles", "PRECOMPILE"),
    ):
        project = context.project("folders")
        build = context.cmake(project, prefixes, f"-DWAYS={ways}", generator=generator)
        build.build()
        printed = run([build.folder / "library"])
        assert printed == "library.Books library.Shelves library.Stores\n"
        build.expect_nothing()
        # Both ends of an import through a library.
        build.expect_after_edit(
            project / "words/word.proto",
            "message Word {",
            "// A word.\nmessage Word {",
            {f"generate {name}" for name in ("word", "book", "shelf", "store")},
        )
    if cmake_version() >= (3, 23):
        prefix = fresh_folder(context.work / "prefix")
        run(["cmake", "--install", build.folder, "--prefix", prefix])
        headers = prefix / "include/book"
        assert sorted(path.name for path in headers.iterdir()) == ["book.pb.h", "book.rpc.h"]
