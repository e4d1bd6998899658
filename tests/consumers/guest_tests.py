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
    expect("warnings of RPC files", {warning for _, warning in found["OFF"]}, warnings)
    expect(
        "generated files with warnings, with the messages in a library of their own",
        {ending for ending, _ in found["ON"]},
        {"rpc.h", "rpc.cpp"},
    )


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
            copy_into(user, *context.main_files)
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
    them, in both orders. An archive in each is refused, where CMake sees it; where
    it does not, one order ends the program."""
    project = context.project("shared")
    for first in ("ON", "OFF"):
        build = context.cmake(project, f"-DLIBRARY_FIRST={first}")
        build.build()
        run([os.path.join(build.folder, "shop")])
    for first in ("ON", "OFF"):
        output = run(
            ["cmake", build.folder, "-DQARN_RPC_SHARED_OPTIONS=OFF", f"-DLIBRARY_FIRST={first}"],
            status=None,
        )
        expect_in(
            f"output with two archives and LIBRARY_FIRST {first}",
            " ".join(output.split()),
            "qarn-rpc-gen: 'shop' would hold the library of the options, "
            "'qarn_rpc_service_options', twice: in 'shop' and 'stock'. "
            "The program would end when it starts. Make it a shared library: "
            "set(QARN_RPC_SHARED_OPTIONS ON) ahead of the first qarn_rpc_generate(), or, if it "
            "is a library of your own, add_library(qarn_rpc_service_options SHARED).",
        )
    run(["cmake", build.folder, "-DINDIRECT=ON"])
    build.build()
    expect_in(
        "output with two archives, and the shared library linked through another",
        run([os.path.join(build.folder, "shop")], status=None),
        'Multiple extension registrations for type "google.protobuf.MethodOptions", '
        "field number 50001.",
    )


def test_cmake_export_macro(context):
    """EXPORT_MACRO exports the messages of a library that hides the rest. Services
    stay hidden, and RPC code of the program's own is the way out."""
    project = context.project("export_macro")
    build = context.cmake(project, "-DEXPORT=EXPORT_MACRO;STOCK_EXPORT")
    build.build()
    run([os.path.join(build.folder, "shop")])
    run(["cmake", build.folder, "-DUSES_SERVICE=ON"])
    expect_in(
        "output with a service",
        run(build.command, status=None),
        "undefined reference to `shop::stock::Stock::Stub::_rpcmethod_Look'",
    )
    run(["cmake", build.folder, "-DSERVICE_HERE=ON"])
    build.build()
    run([os.path.join(build.folder, "shop")])
    run(["cmake", build.folder, "-DEXPORT="])
    expect_in(
        "output without EXPORT_MACRO",
        run(build.command, status=None),
        "undefined reference to `shop::stock::Item::",
    )


def test_cmake_folders(context):
    """Import folders come from linked libraries, a target gets code from a call in
    another folder, Boost's headers are found without warnings, and generated headers
    are installed as a file set."""
    boost = os.path.join(fresh_folder(os.path.join(context.work, "boost")), "include", "boost")
    os.makedirs(boost)
    with open(os.path.join(boost, "version.hpp"), "w", encoding="utf-8"):
        pass
    with open(os.path.join(boost, "shared_ptr.hpp"), "w", encoding="utf-8") as file:
        # With a warning, if it were not a system header.
        file.write(
            "#pragma once\n#include_next <boost/shared_ptr.hpp>\n"
            "#define BOOST_OF_THE_PROJECT\nstatic int UnusedFunctionOfBoost() { return 0; }\n"
        )
    prefixes = f"-DCMAKE_PREFIX_PATH={context.prefix};{os.path.join(context.work, 'boost')}"
    for generator, ways in (
        ("Ninja", ""),
        ("Unix Makefiles", "UNITY"),
        ("Unix Makefiles", "PRECOMPILE"),
    ):
        project = context.project("folders")
        build = context.cmake(project, prefixes, f"-DWAYS={ways}", generator=generator)
        build.build()
        expect(
            f"output with {generator} and {ways or 'neither way'}",
            run([os.path.join(build.folder, "library")]),
            "library.Books library.Shelves library.Stores\n",
        )
        build.expect_nothing()
        # Both ends of an import through a library.
        build.expect_after_edit(
            os.path.join(project, "words", "word.proto"),
            "message Word {",
            "// A word.\nmessage Word {",
            {f"generate {name}" for name in ("word", "book", "shelf", "store")},
        )
    version = re.search(r"version (\d+)\.(\d+)", run(["cmake", "--version"]))
    if tuple(map(int, version.groups())) >= (3, 23):
        prefix = fresh_folder(os.path.join(context.work, "prefix"))
        run(["cmake", "--install", build.folder, "--prefix", prefix])
        headers = os.path.join(prefix, "include", "book")
        expect("installed headers", sorted(os.listdir(headers)), ["book.pb.h", "book.rpc.h"])
