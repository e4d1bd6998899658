"""The source tree by itself, and CMake projects that take it in."""

import os
import pathlib
import re
import shutil

import pytest

from consumers.context import ECHO, TEXT, copy_into, fresh_folder, runs
from support.commands import run, words


def configure(context, build, *options, status=0):
    """Configures the source tree by itself in `build`, and returns what CMake said."""
    return run(["cmake", "-S", context.source, "-B", build, "-G", "Ninja", *options], status=status)


def copy_of_source_tree(context, folder):
    """Copies what the project is built from, so that it can be edited."""
    for name in ("cmake", "docs", "packaging", "proto", "src"):
        shutil.copytree(context.source / name, folder / name)
    copy_into(folder, context.source / "CMakeLists.txt")
    return folder


def cached(build, name):
    """The values in the cache of `build` whose names match `name`."""
    text = (build / "CMakeCache.txt").read_text()
    return re.findall(rf"^{name}:\w+=(.*)$", text, re.MULTILINE)


def test_add_subdirectory(context):
    """The source tree as a folder of the project; plugin and linter are built with it."""
    project = context.echo_project("add_subdirectory")
    tree = copy_of_source_tree(context, project / "third_party/qarn-rpc-gen")
    build = context.cmake(project, "-DQARN_RPC_LINT=ON")
    assert "echo.proto:19:1: warning: " in build.build()[1]
    context.expect_conversation(build.folder / "echo")
    build.expect_nothing()
    # A new plugin runs, and writes the same code.
    build.expect_after(
        tree / "src/plugin/any_syntax_main.cc",
        runs(TEXT | ECHO) | {"compile any_syntax_main", "link protoc-gen-qarn-rpc-any"},
    )
    installed = run(["cmake", "--install", build.folder, "--prefix", context.work / "installed"])
    assert not ("qarn-rpc" in installed)


def test_fetch_content(context):
    """FetchContent, from the local tree."""
    project = context.echo_project("fetch_content")
    tree = copy_of_source_tree(context, context.work / "tree")
    build = context.cmake(project, f"-DQARN_RPC_SOURCE_DIR={tree}")
    build.build()
    context.expect_conversation(build.folder / "echo")
    build.expect_nothing()


def test_own_protobuf(context):
    """protobuf built in the same project: no other one is looked for, and its
    .proto files are found."""
    trap = fresh_folder(context.work / "trap")
    (trap / "protobuf-config.cmake").write_text('message(FATAL_ERROR "protobuf was looked for")\n')
    project = context.echo_project("own_protobuf")
    build = context.cmake(project, f"-DProtobuf_DIR={trap}")
    build.build()
    context.expect_conversation(build.folder / "echo")
    build.expect_nothing()
    # The plugin's own build, as far as it runs protoc.
    project = context.echo_project("own_protobuf")
    build = context.cmake(
        project, f"-DProtobuf_DIR={trap}", f"-DQARN_RPC_SOURCE_DIR={context.source}"
    )
    run(["cmake", "--build", build.folder, "--target", "qarn_rpc_options"])


def skip_with_package_of_protobuf(build):
    """Skips where protobuf has a CMake package: what it finds then, CMake's own
    module does not put into the cache."""
    if not cached(build, "Protobuf_INCLUDE_DIR"):
        pytest.skip("protobuf was found through its CMake package")


def test_boost(context):
    """Boost's headers are found without its CMake package; with it, the other tests
    find them."""
    build = context.work / "build"
    without_package = "-DCMAKE_DISABLE_FIND_PACKAGE_Boost=ON"
    configure(context, build, without_package)
    found = cached(build, "Boost_INCLUDE_DIR")
    skip_with_package_of_protobuf(build)
    (protobuf,) = cached(build, "Protobuf_INCLUDE_DIR")
    output = configure(
        context,
        fresh_folder(build),
        without_package,
        f"-DProtobuf_INCLUDE_DIR={protobuf}",
        f"-DCMAKE_IGNORE_PATH={';'.join(found)}",
        status=None,
    )
    assert words(
        "Boost's headers were not found. On Debian or Ubuntu: apt-get install "
        "libboost-dev. Elsewhere, set CMAKE_PREFIX_PATH to where Boost is installed."
    ) in words(output)


def test_static_option(context):
    """Archives by default, and what the option says when it changes."""
    build = context.work / "build"
    for option, suffix in (
        ([], ".a"),
        (["-DQARN_RPC_STATIC=OFF"], ".so"),
        (["-DQARN_RPC_STATIC=ON"], ".a"),
    ):
        configure(context, build, *option)
        skip_with_package_of_protobuf(build)
        found = cached(build, "Protobuf_(?:PROTOC_)?LIBRARY_RELEASE")
        assert [os.path.splitext(path)[1] for path in found] == [suffix] * 2, option
    # By each name that CMake may find the folder under.
    folder = os.path.dirname(found[0])
    where = os.path.realpath(folder)
    ignored = ";".join((folder, where, where.replace("/usr/lib", "/lib")))
    # Shared libraries alone, as where only the packages without archives are.
    libraries = fresh_folder(context.work / "shared")
    for archive in found:
        shared = pathlib.Path(archive).with_suffix(".so")
        (libraries / shared.name).symlink_to(shared)
    options = [f"-DCMAKE_LIBRARY_PATH={libraries}", f"-DCMAKE_IGNORE_PATH={ignored}"]
    output = configure(context, fresh_folder(build), *options, status=None)
    assert words(
        "QARN_RPC_STATIC needs protobuf's archives (libprotobuf.a, libprotoc.a), but "
        "they were not found. On Debian or Ubuntu: apt-get install protobuf-compiler "
        "libprotobuf-dev libprotoc-dev. Elsewhere, set CMAKE_PREFIX_PATH to where protobuf "
        "is installed, or set QARN_RPC_STATIC to OFF to build with shared libraries."
    ) in words(output)
    options = ["-DCMAKE_SYSTEM_NAME=FreeBSD", "-DQARN_RPC_STATIC=ON"]
    output = configure(context, fresh_folder(build), *options, status=None)
    assert words(
        "QARN_RPC_STATIC is for Linux, and for Windows with MinGW. Set it to OFF to build "
        "with shared libraries."
    ) in words(output)


def test_old_protobuf(context):
    """Before 3.12 the plugin for any syntax is not built, and one line says so.

    A stand-in: the protobuf of this machine with the version of an old one.
    """
    work = context.work
    (work / "ProtobufConfig.cmake").write_text(
        'include("${CMAKE_ROOT}/Modules/FindProtobuf.cmake")\n'
        'set(Protobuf_VERSION "${stand_in_version}")\n'
    )
    for version, is_built in (("2.6.1", False), ("3.11.4", False), ("3.12.0", True)):
        build = work / version
        options = [f"-DProtobuf_DIR={work}", f"-Dstand_in_version={version}"]
        output = configure(context, build, *options, "-DQARN_RPC_STATIC=OFF")
        said = [line for line in output.splitlines() if "protoc-gen-qarn-rpc-any" in line]
        expected = (
            f"-- protobuf {version} has nothing for a plugin to declare, so "
            "protoc-gen-qarn-rpc-any and protoc-gen-qarn-rpc-lint are not built; "
            "they need 3.12"
        )
        assert said == ([] if is_built else [expected])
        rules = (build / "build.ninja").read_text()
        plugins = set(re.findall(r"^build (protoc-gen-[\w-]+): ", rules, re.MULTILINE))
        newer = {"protoc-gen-qarn-rpc-any", "protoc-gen-qarn-rpc-lint"}
        assert plugins == {"protoc-gen-qarn-rpc"} | (newer if is_built else set())
        package = (build / "package/qarn-rpc-gen.pc").read_text()
        named = re.findall(r"^plugin_any=(.*)$", package, re.MULTILINE)
        suffix = "-any" if is_built else ""
        assert named == ["${bindir}/protoc-gen-qarn-rpc" + suffix]
        assert ("plugin_lint=" in package) == is_built
