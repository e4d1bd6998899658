"""The source tree by itself, and CMake projects that take it in."""

import os
import re
import shutil

from consumers.context import ECHO, TEXT
from support.testkit import expect, fresh_folder, run


def copy_of_source_tree(context, folder):
    """Copies what the project is built from, so that it can be edited."""
    os.makedirs(folder)
    for name in ("CMakeLists.txt", "cmake", "docs", "packaging", "proto", "src"):
        source = os.path.join(context.source, name)
        target = os.path.join(folder, name)
        (shutil.copytree if os.path.isdir(source) else shutil.copy)(source, target)
    return folder


def test_add_subdirectory(context):
    """The source tree as a folder of the project; the plugin is built with it."""
    project = context.echo_project("add_subdirectory")
    tree = copy_of_source_tree(context, os.path.join(project, "third_party", "qarn-rpc-gen"))
    build = context.cmake(project)
    build.build()
    context.expect_conversation(os.path.join(build.folder, "echo"))
    build.expect_nothing()
    # A new plugin writes new code. main.cc is the plugin's and the program's.
    build.expect_after(
        os.path.join(tree, "src", "plugin", "main.cc"), TEXT | ECHO | {"link protoc-gen-qarn-rpc"}
    )
    installed = run(
        ["cmake", "--install", build.folder, "--prefix", os.path.join(context.work, "installed")]
    )
    expect("files that a user of the tree installs", "qarn-rpc" in installed, False)


def test_fetch_content(context):
    """FetchContent, from the local tree."""
    project = context.echo_project("fetch_content")
    tree = copy_of_source_tree(context, os.path.join(context.work, "tree"))
    build = context.cmake(project, f"-DQARN_RPC_SOURCE_DIR={tree}")
    build.build()
    context.expect_conversation(os.path.join(build.folder, "echo"))
    build.expect_nothing()


def test_static_option(context):
    """Archives by default, and what the option says when it changes."""
    build = os.path.join(fresh_folder(context.work), "build")
    for option, suffix in (
        ([], ".a"),
        (["-DQARN_RPC_STATIC=OFF"], ".so"),
        (["-DQARN_RPC_STATIC=ON"], ".a"),
    ):
        run(["cmake", "-S", context.source, "-B", build, "-DQARN_RPC_BUILD_TESTS=OFF", *option])
        with open(os.path.join(build, "CMakeCache.txt"), encoding="utf-8") as file:
            found = re.findall(
                r"^Protobuf_(?:PROTOC_)?LIBRARY_RELEASE:\w+=(.*)$", file.read(), re.MULTILINE
            )
        expect(
            f"libraries with {option}",
            [os.path.splitext(path)[1] for path in found],
            [suffix, suffix],
        )


def test_old_protobuf(context):
    """Before 3.12 the plugin for any syntax is not built, and one line says so.

    A stand-in: the protobuf of this machine with the version of an old one.
    """
    work = fresh_folder(context.work)
    with open(os.path.join(work, "ProtobufConfig.cmake"), "w", encoding="utf-8") as file:
        file.write('include("${CMAKE_ROOT}/Modules/FindProtobuf.cmake")\n')
        file.write('set(Protobuf_VERSION "${stand_in_version}")\n')
    for version, is_built in (("2.6.1", False), ("3.11.4", False), ("3.12.0", True)):
        build = os.path.join(work, version)
        output = run(
            [
                "cmake",
                "-S",
                context.source,
                "-B",
                build,
                "-G",
                "Ninja",
                f"-DProtobuf_DIR={work}",
                f"-Dstand_in_version={version}",
                "-DQARN_RPC_BUILD_TESTS=OFF",
                "-DQARN_RPC_STATIC=OFF",
            ]
        )
        said = [line for line in output.splitlines() if "protoc-gen-qarn-rpc-any" in line]
        expected = (
            f"-- protobuf {version} has nothing for a plugin to declare, so "
            "protoc-gen-qarn-rpc-any is not built; that needs 3.12"
        )
        expect(f"lines about it with {version}", said, [] if is_built else [expected])
        with open(os.path.join(build, "build.ninja"), encoding="utf-8") as file:
            rules = file.read()
        expect(
            f"plugins with {version}",
            set(re.findall(r"^build (protoc-gen-[\w-]+): ", rules, re.MULTILINE)),
            {"protoc-gen-qarn-rpc"} | ({"protoc-gen-qarn-rpc-any"} if is_built else set()),
        )
        with open(os.path.join(build, "package", "qarn-rpc-gen.pc"), encoding="utf-8") as file:
            named = re.findall(r"^plugin_any=(.*)$", file.read(), re.MULTILINE)
        suffix = "-any" if is_built else ""
        expect(f"plugin_any with {version}", named, ["${bindir}/protoc-gen-qarn-rpc" + suffix])
