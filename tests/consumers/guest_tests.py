"""CMake projects of shapes that the function must not get in the way of."""

import os
import re

from consumers.context import copy_into, read, write_program
from support.testkit import Failure, expect, expect_in, fresh_folder, need, run

GCC_OPTIONS = (
    "-Wall;-Wextra;-Wpedantic;-Wconversion;-Wsign-conversion;-Wshadow;-Wold-style-cast;"
    "-Wnon-virtual-dtor;-Wsuggest-override;-Wuseless-cast;-Wcast-qual;-Wundef"
)


def documented_warnings(context):
    """What the page says that -Weverything finds in RPC files."""
    text = read(os.path.join(context.source, "docs", "qarn_rpc_generate.md"))
    row = re.search(r"^\| `-Weverything`.*$", text, re.MULTILINE)
    if not row:
        raise Failure("the page of qarn_rpc_generate has no row for -Weverything")
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
    context.expect_conversation(os.path.join(build.folder, "echo"))
    need("clang++-14", package="clang")
    warnings = documented_warnings(context)
    options = ";".join(["-Weverything", *(f"-Wno-{name}" for name in sorted(warnings))])
    build = context.cmake(
        context.echo_project("strict"),
        "-DCMAKE_CXX_COMPILER=clang++-14",
        f"-DSTRICT_OPTIONS={options}",
    )
    build.build()
    context.expect_conversation(os.path.join(build.folder, "echo"))
    # -Werror, which comes later, fails what a warning is left in.
    run(["cmake", build.folder, "-DSTRICT_OPTIONS=-Weverything;-ferror-limit=0"])
    output = run([*build.command, "--", "-k", "0"], status=None)
    found = set(re.findall(r"generated/\w+\.\w+\.\w+:.*\[-Werror,-W([^]]+)\]", output))
    expect("warnings of RPC files", found, warnings)


def test_cmake_linting(context):
    """A linter for the whole build sees the project's own sources alone, from CMake
    3.27 on; before, clang-tidy finds nothing where the page's file is."""
    project = context.echo_project("strict")
    log = os.path.join(context.work, "linted")
    linter = write_program(
        os.path.join(context.work, "linter"),
        f"""
for word; do
  case "$word" in *.cc | *.cpp) basename "$word" >> "{log}"; exit ;; esac
done
""",
    )
    version = re.search(r"version (\d+)\.(\d+)", run(["cmake", "--version"]))
    if tuple(map(int, version.groups())) >= (3, 27):
        context.cmake(project, f"-DCMAKE_CXX_CLANG_TIDY={linter}").build()
        expect("linted files", read(log), "main.cc\n")
    need("clang-tidy")
    build = context.cmake(project, "-DCMAKE_CXX_CLANG_TIDY=clang-tidy")
    build.build()
    with open(os.path.join(project, "main.cc"), "a", encoding="utf-8") as file:
        file.write("bool Odd(int number) { return number; }\n")
    output = run(build.command, status=None)
    expect(
        "findings",
        set(re.findall(r"(\w+\.\w+):\d+:\d+: error:", output)),
        {"main.cc"},
    )


def test_cmake_exported(context):
    """Libraries with generated code are installed and exported, with the options
    library and without it, and used from there and from the build folder."""
    project = context.echo_project("exported")
    with open(os.path.join(project, "plain.proto"), "w", encoding="utf-8") as file:
        file.write('syntax = "proto3";\npackage plain;\nmessage Word { string text = 1; }\n')
    for shared in ("OFF", "ON"):
        build = context.cmake(project, f"-DBUILD_SHARED_LIBS={shared}")
        build.build()
        prefix = fresh_folder(os.path.join(context.work, "prefix"))
        run(["cmake", "--install", build.folder, "--prefix", prefix])
        moved = fresh_folder(os.path.join(context.work, "moved"))
        os.rename(prefix, os.path.join(moved, "prefix"))
        for place in (os.path.join(moved, "prefix"), build.folder):
            user = fresh_folder(os.path.join(context.work, "user"))
            copy_into(user, os.path.join(context.projects, "exported", "user"))
            copy_into(user, os.path.join(context.example, "main.cc"))
            user_build = context.cmake(user, f"-DCMAKE_PREFIX_PATH={place}")
            user_build.build()
            context.expect_conversation(os.path.join(user_build.folder, "echo"))


def test_cmake_arguments(context):
    """Quoted lists, options that become empty, a configured file, and one that the
    build writes and another of the list imports."""
    for generator in ("Ninja", "Unix Makefiles"):
        project = context.project("arguments")
        build = context.cmake(project, generator=generator)
        build.build()
        for name in ("first", "configured", "written"):
            expect(
                f"whether {name}.rpc.h stands where {name}.proto is imported",
                os.path.exists(os.path.join(build.folder, f"{name}.rpc.h")),
                True,
            )
        run([os.path.join(build.folder, "arguments")])
        build.expect_nothing()


def test_cmake_twice(context):
    """One .proto file in several targets of a folder."""
    for generator in ("Ninja", "Unix Makefiles"):
        build = context.cmake(context.project("twice"), generator=generator)
        build.build()
        for name in ("first", "second", "parts"):
            run([os.path.join(build.folder, name)])
        build.expect_nothing()


def test_cmake_handed_on(context):
    """PRIVATE, RUNTIME_TARGET, the lists of files, and .proto files among sources."""
    project = context.project("handed_on")
    build = context.cmake(project)
    build.build()
    run([os.path.join(build.folder, "shop")])
    expect(
        "lists",
        read(os.path.join(build.folder, "lists")),
        "".join(
            f"{build.folder}/generated/stock.{end}\n"
            for end in ("pb.h", "rpc.h", "pb.cc", "rpc.cpp")
        ),
    )
    # The folder is not handed on.
    with open(os.path.join(project, "main.cc"), "a", encoding="utf-8") as file:
        file.write('#include "stock.rpc.h"\n')
    output = run(build.command, status=None)
    expect("whether the header is missed", "stock.rpc.h: No such file" in output, True)


def test_cmake_shared_options(context):
    """A program and a shared library that both use the options share the library of
    them, in both orders; with an archive in each, one order ends the program."""
    project = context.project("shared")
    for first in ("ON", "OFF"):
        build = context.cmake(project, f"-DLIBRARY_FIRST={first}")
        build.build()
        run([os.path.join(build.folder, "shop")])
    build = context.cmake(project, "-DLIBRARY_FIRST=OFF", "-DQARN_RPC_SHARED_OPTIONS=OFF")
    build.build()
    expect_in(
        "output with two archives",
        run([os.path.join(build.folder, "shop")], status=None),
        'Multiple extension registrations for type "google.protobuf.MethodOptions", '
        "field number 50001.",
    )
