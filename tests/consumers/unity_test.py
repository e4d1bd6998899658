"""RPC files that CMake compiles joined, or with a precompiled header."""

import json
import os
import re

import pytest

from consumers.context import OPTIONS, cmake_version, fresh_folder, write_program
from support.commands import run, words

UNITY_RUNS = {"generate stock", "generate odd", "generate alone"}
UNITY_CODE = UNITY_RUNS | {"compile stock.pb", "compile odd.pb", "compile alone.pb"}
UNITY_JOINED = {"compile unity_1", "compile apart_1", "compile alone.rpc"}
UNITY_OWN = {"compile main", "compile other", "compile cmake_pch", "link shop"}


def commands_of(build):
    """The compiler's command for each source, by the source's name."""
    entries = json.loads((build.folder / "compile_commands.json").read_text())
    return {os.path.basename(entry["file"]): entry["command"] for entry in entries}


def unity_build(context, ways, *arguments, generator="Ninja"):
    """Configures the project unity with RPC files compiled in these ways."""
    project = context.project("unity")
    return project, context.cmake(
        project,
        f"-DWAYS={ways}",
        "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON",
        *arguments,
        generator=generator,
    )


def test_cmake_unity(context):
    """UNITY joins the RPC files that can be, and nothing else; a global unity build
    does the same, and joins the project's own sources as it is told."""
    project, build = unity_build(context, "UNITY")
    build.expect_all(UNITY_CODE | UNITY_JOINED | OPTIONS | UNITY_OWN)
    assert run([build.folder / "shop"]) == "shop.v1.Stock\n"
    v2 = project / "v2/stock.proto"
    # Both files of that name are counted under it, so the first one is touched too.
    os.utime(project / "v1/stock.proto")
    build.expect_after(v2, {"generate stock"})
    os.utime(project / "v1/stock.proto")
    build.expect_after_edit(
        v2,
        "service Stock {",
        "service Stock {\n  rpc More(Item) returns (Item);",
        {"generate stock", "compile stock.pb", "compile unity_1", "compile apart_1", "link shop"},
    )
    before = commands_of(build).keys()
    run(["cmake", build.folder, "-DWAYS=", "-DCMAKE_UNITY_BUILD=ON"])
    build.expect_steps("a global unity build", {"compile unity_0_cxx.cxx", "link shop"})
    after = commands_of(build).keys()
    assert (before - after, after - before) == ({"main.cc", "other.cc"}, {"unity_0_cxx.cxx"})


# Each .proto file's package and text. In their order, those that do not join the
# ones before them are marked.
APART = {
    "first": ("shop", "service A { rpc B_C(Item) returns (Item); }"),
    # shop::A_B_C is declared already.
    "enumerator!": ("shop", "service A_B { rpc C(Item) returns (Item); }"),
    "other_package": ("other", "service A { rpc B_C(Item) returns (Item); }"),
    # shop::AMethods is a template.
    "message!": ("shop", "message AMethods {} service D { rpc E(AMethods) returns (AMethods); }"),
    # shop::A is a class.
    "package!": ("shop.A", "service F { rpc G(Item) returns (Item); }"),
    # After it, std would be shop::std in the package shop alone.
    "standard": ("shop.std", ""),
    "elsewhere": ("other", "service H { rpc I(Item) returns (Item); }"),
    "after_standard!": ("shop", "service J { rpc K(Item) returns (Item); }"),
}
APART_IN_API = {
    "outer": ("shop", "service A { rpc B(Item) returns (Item); }"),
    # Its names are seen in the services namespace of shop, where A would be two.
    "inner!": ("shop.api", "service A { rpc B(Item) returns (Item); }"),
}


def test_cmake_unity_apart(context):
    """RPC files that cannot be joined with others are found and compiled apart; of
    three that cannot be joined with each other, the page's way is asked for."""
    for namespace, files in (("", APART), ("api", APART_IN_API)):
        project = fresh_folder(context.work / "project")
        names = [name.rstrip("!") for name in files]
        for name, (package, code) in zip(names, files.values()):
            text = f'syntax = "proto3";\npackage {package};\nmessage Item {{}}\n{code}'
            (project / f"{name}.proto").write_text(text.replace("Item", f"Item_{name}"))
        call = f"qarn_rpc_generate(TARGET shop PROTOS {'.proto '.join(names)}.proto UNITY"
        call += f" SERVICES_NAMESPACE {namespace})" if namespace else ")"
        top = project / "CMakeLists.txt"
        top.write_text(
            "cmake_minimum_required(VERSION 3.20)\nproject(shop LANGUAGES CXX)\n"
            "find_package(qarn-rpc-gen REQUIRED)\nadd_library(shop STATIC)\n"
            f'target_include_directories(shop PUBLIC "${{RPC_RUNTIME_DIR}}")\n{call}\n'
        )
        build = context.cmake(project)
        build.build()
        folder = build.folder / "CMakeFiles/qarn_rpc_unity.dir"
        included = {
            kind: re.findall(r'"\S+/(\w+)\.rpc\.cpp"', path.read_text())
            for kind in ("unity", "apart")
            for path in folder.glob(f"*_{kind}_1.cpp")
        }
        assert included == {
            "unity": [name for name in files if "!" not in name],
            "apart": [name[:-1] for name in files if "!" in name],
        }, f"RPC files in each source, with the namespace {namespace}"
    (project / "third.proto").write_text(
        'syntax = "proto3";\npackage shop.api;\nmessage M {}\n'
        "service A { rpc N(M) returns (M); }\n"
    )
    top.write_text(top.read_text().replace("inner.proto", "inner.proto third.proto"))
    text = f"'{build.folder}/third.rpc.cpp' can be joined neither with the RPC files"
    assert f"qarn-rpc-gen: {text}" in words(run(build.command, status=None))


def test_cmake_precompile(context):
    """PRECOMPILE gives RPC files a precompiled header, and what the target has;
    the target's own sources keep theirs. With UNITY it does so for the units."""
    _, build = unity_build(context, "PRECOMPILE")
    rpc = {"compile stock.rpc", "compile odd.rpc", "compile alone.rpc"}
    build.expect_all(UNITY_CODE | rpc | OPTIONS | UNITY_OWN)
    assert run([build.folder / "shop"]) == "shop.v1.Stock\n"
    commands = commands_of(build)
    for source in ("stock.rpc.cpp", "odd.rpc.cpp"):
        for part in ("shop_qarn_rpc.dir/cmake_pch.hxx", "-DSHOP=1", "-std=gnu++20"):
            assert part in commands[source], f"the command for {source}"
    for source in ("main.cc", "other.cc", "stock.pb.cc"):
        assert "shop.dir/cmake_pch.hxx" in commands[source], f"the command for {source}"
    text = (build.folder / "CMakeFiles/qarn_rpc_probe.dir/includes.h").read_text()
    # Of its own headers protobuf writes <...> or "...", depending on its release.
    includes = re.sub("[<>]", '"', text).splitlines()
    for line in ('#include "google/protobuf/message.h"', '#include "qarn/rpc.h"'):
        assert includes.count(line) == 1, f"times that the precompiled header has {line}"
    assert [x for x in includes if x[:9] != "#include "] == []
    build.expect_after(context.plugin_any, UNITY_RUNS)


def test_cmake_unity_precompile(context):
    """Both ways together, with Makefiles."""
    _, build = unity_build(context, "UNITY;PRECOMPILE", generator="Unix Makefiles")
    build.expect_all(UNITY_CODE | UNITY_JOINED | OPTIONS | UNITY_OWN)
    for source, command in commands_of(build).items():
        if "unity_1" in source:
            assert "shop_qarn_rpc.dir/cmake_pch.hxx" in command
    build.expect_after(context.plugin_any, UNITY_RUNS)


def test_cmake_modules(context):
    """Where a project has all sources scanned for modules, generated ones are not."""
    if cmake_version() < (3, 28):
        pytest.skip("CMake before 3.28 scans no sources")
    for ways in ("", "UNITY", "PRECOMPILE"):
        _, build = unity_build(
            context, ways, "-DCMAKE_CXX_STANDARD=20", "-DCMAKE_CXX_SCAN_FOR_MODULES=ON"
        )
        rules = (build.folder / "build.ninja").read_text()
        scanned = {os.path.basename(path) for path in re.findall(r"(\S+)\.o\.ddi", rules)}
        assert scanned == {"main.cc", "other.cc"}, f"scanned sources with {ways or 'neither way'}"


def test_cmake_automoc(context):
    """Where a project has its sources searched for Qt's macros, generated ones are
    not."""
    moc = write_program(context.work / "moc", "exit 1\n")
    qt = context.work / "qt.cmake"
    # All that CMake wants to know of Qt.
    qt.write_text(
        "set(Qt5Core_VERSION_MAJOR 5)\nset(Qt5Core_VERSION_MINOR 15)\n"
        f'set(CMAKE_AUTOMOC ON)\nset(CMAKE_AUTOMOC_EXECUTABLE "{moc}")\n'
        "add_executable(Qt5::moc IMPORTED)\n"
        f'set_target_properties(Qt5::moc PROPERTIES IMPORTED_LOCATION "{moc}")\n'
    )
    for ways in ("", "UNITY", "PRECOMPILE"):
        _, build = unity_build(context, ways, f"-DCMAKE_PROJECT_INCLUDE={qt}")
        searched = {
            (info.parent.name, os.path.basename(entry[0]))
            for info in build.folder.rglob("AutogenInfo.json")
            for kind in ("HEADERS", "SOURCES")
            for entry in json.loads(info.read_text())[kind]
            if "cmake_pch" not in entry[0]
        }
        assert searched == {
            ("shop_autogen.dir", "main.cc"),
            ("shop_autogen.dir", "other.cc"),
        }, f"targets and files that are searched with {ways or 'neither way'}"
