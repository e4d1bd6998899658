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
