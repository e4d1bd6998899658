"""The source tree by itself, and CMake projects that take it in."""

import os
import re
import shutil

from consumers.context import ECHO, TEXT, runs
from support.testkit import Skip, expect, expect_in, fresh_folder, run


def copy_of_source_tree(context, folder):
    """Copies what the project is built from, so that it can be edited."""
    os.makedirs(folder)
    for name in ("CMakeLists.txt", "cmake", "docs", "packaging", "proto", "src"):
        source = os.path.join(context.source, name)
        target = os.path.join(folder, name)
        (shutil.copytree if os.path.isdir(source) else shutil.copy)(source, target)
    return folder


def cached(build, name):
    """The values in the cache of `build` whose names match `name`."""
    with open(os.path.join(build, "CMakeCache.txt"), encoding="utf-8") as file:
        return re.findall(rf"^{name}:\w+=(.*)$", file.read(), re.MULTILINE)


def test_add_subdirectory(context):
    """The source tree as a folder of the project; the plugin is built with it."""
    project = context.echo_project("add_subdirectory")
    tree = copy_of_source_tree(context, os.path.join(project, "third_party", "qarn-rpc-gen"))
    build = context.cmake(project)
    build.build()
    context.expect_conversation(os.path.join(build.folder, "echo"))
    build.expect_nothing()
    # A new plugin runs, and writes the same code.
    build.expect_after(
        os.path.join(tree, "src", "plugin", "any_syntax_main.cc"),
        runs(TEXT | ECHO) | {"compile any_syntax_main", "link protoc-gen-qarn-rpc-any"},
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


def test_own_protobuf(context):
    """protobuf built in the same project: no other one is looked for, and its
    .proto files are found."""
    trap = fresh_folder(os.path.join(context.work, "trap"))
    with open(os.path.join(trap, "protobuf-config.cmake"), "w", encoding="utf-8") as file:
        file.write('message(FATAL_ERROR "protobuf was looked for")\n')
    project = context.echo_project("own_protobuf")
    build = context.cmake(project, f"-DProtobuf_DIR={trap}")
    build.build()
    context.expect_conversation(os.path.join(build.folder, "echo"))
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
        raise Skip("protobuf was found through its CMake package")


def test_boost(context):
    """Boost's headers are found with and without its CMake package."""
    for option in ("OFF", "ON"):
        build = fresh_folder(os.path.join(context.work, "build"))
        run(
            [
                "cmake",
                "-S",
                context.source,
                "-B",
                build,
                "-DQARN_RPC_BUILD_TESTS=OFF",
                f"-DCMAKE_DISABLE_FIND_PACKAGE_Boost={option}",
            ]
        )
    found = cached(build, "Boost_INCLUDE_DIR")
    skip_with_package_of_protobuf(build)
    (protobuf,) = cached(build, "Protobuf_INCLUDE_DIR")
    output = run(
        [
            "cmake",
            "-S",
            context.source,
            "-B",
            fresh_folder(build),
            "-DQARN_RPC_BUILD_TESTS=OFF",
            "-DCMAKE_DISABLE_FIND_PACKAGE_Boost=ON",
            f"-DProtobuf_INCLUDE_DIR={protobuf}",
            f"-DCMAKE_IGNORE_PATH={';'.join(found)}",
        ],
        status=None,
    )
    expect_in(
        "without Boost",
        output,
        "Boost's headers were not found. On Debian or Ubuntu: apt-get install "
        "libboost-dev. Elsewhere, set CMAKE_PREFIX_PATH to where Boost is installed.",
    )


def test_static_option(context):
    """Archives by default, and what the option says when it changes."""
    build = os.path.join(fresh_folder(context.work), "build")
    for option, suffix in (
        ([], ".a"),
        (["-DQARN_RPC_STATIC=OFF"], ".so"),
        (["-DQARN_RPC_STATIC=ON"], ".a"),
    ):
        run(["cmake", "-S", context.source, "-B", build, "-DQARN_RPC_BUILD_TESTS=OFF", *option])
        skip_with_package_of_protobuf(build)
        found = cached(build, "Protobuf_(?:PROTOC_)?LIBRARY_RELEASE")
        expect(
            f"libraries with {option}",
            [os.path.splitext(path)[1] for path in found],
            [suffix, suffix],
        )
    # By each name that CMake may find the folder under.
    where = os.path.realpath(os.path.dirname(found[0]))
    ignored = ";".join((os.path.dirname(found[0]), where, where.replace("/usr/lib", "/lib")))
    # Shared libraries alone, as where only the packages without archives are.
    libraries = fresh_folder(os.path.join(context.work, "shared"))
    for archive in found:
        shared = archive[: -len(".a")] + ".so"
        os.symlink(shared, os.path.join(libraries, os.path.basename(shared)))
    output = run(
        [
            "cmake",
            "-S",
            context.source,
            "-B",
            fresh_folder(build),
            "-DQARN_RPC_BUILD_TESTS=OFF",
            f"-DCMAKE_LIBRARY_PATH={libraries}",
            f"-DCMAKE_IGNORE_PATH={ignored}",
        ],
        status=None,
    )
    expect_in(
        "without archives",
        output,
        "QARN_RPC_STATIC needs protobuf's archives (libprotobuf.a, libprotoc.a), but "
        "they were not found. On Debian or Ubuntu: apt-get install protobuf-compiler "
        "libprotobuf-dev libprotoc-dev. Elsewhere, set CMAKE_PREFIX_PATH to where protobuf "
        "is installed, or set QARN_RPC_STATIC to OFF to build with shared libraries.",
    )
    output = run(
        ["cmake", "-S", context.source, "-B", fresh_folder(build)]
        + ["-DQARN_RPC_BUILD_TESTS=OFF", "-DCMAKE_SYSTEM_NAME=FreeBSD", "-DQARN_RPC_STATIC=ON"],
        status=None,
    )
    expect_in(
        "for another system",
        output,
        "QARN_RPC_STATIC is for Linux, and for Windows with MinGW. Set it to OFF to build "
        "with shared libraries.",
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
