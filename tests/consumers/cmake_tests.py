"""CMake projects that use the installed package."""

import os
import shutil

from consumers import errors
from consumers.context import ECHO, OPTIONS, SCHEMA, TEXT, write_program
from consumers.watched_build import WatchedBuild
from support.testkit import expect, expect_in, fresh_folder, run


def expect_exact_rebuilds(context, project, build):
    """Each edit reruns what depends on it, in a project with depfiles."""
    build.expect_after(os.path.join(project, "text.proto"), TEXT | ECHO)
    build.expect_after(os.path.join(project, "echo.proto"), ECHO)
    build.expect_after(os.path.join(project, "main.cc"), {"compile main", "link echo"})
    build.expect_after(context.schema, OPTIONS | ECHO)
    build.expect_after(context.plugin, TEXT | ECHO)


def test_cmake_ninja(context):
    """The project of the quick start, with Ninja."""
    project = context.echo_project("cmake")
    build = context.cmake(project)
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(os.path.join(build.folder, "echo"))
    expect_in("Ninja after no edit", build.build()[1], "ninja: no work to do.")
    expect_exact_rebuilds(context, project, build)
    # Besides rebuilding, an edit must arrive.
    with open(os.path.join(project, "text.proto"), "a", encoding="utf-8") as file:
        file.write("message Page { repeated Line line = 1; }\n")
    expect("steps after a new message", build.build()[0], TEXT | ECHO)
    with open(os.path.join(build.folder, "text.pb.h"), encoding="utf-8") as file:
        expect_in("text.pb.h", file.read(), "class Page ")


def test_cmake_makefiles(context):
    """The same with Makefiles, and a protoc that counts its runs and stands far
    from protobuf's own .proto files."""
    log = os.path.join(fresh_folder(context.work), "runs")
    copy = shutil.copy(shutil.which("protoc"), os.path.join(context.work, "protoc-copy"))
    protoc = write_program(
        os.path.join(context.work, "protoc"), f'echo "$@" >> "{log}"\nexec "{copy}" "$@"\n'
    )
    project = context.echo_project("cmake")
    build = context.cmake(
        project, f"-DQARN_RPC_PROTOC_EXECUTABLE={protoc}", generator="Unix Makefiles"
    )
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(os.path.join(build.folder, "echo"))
    expect_exact_rebuilds(context, project, build)
    build.expect_after(protoc, TEXT | ECHO | OPTIONS)
    with open(log, encoding="utf-8") as file:
        runs = [line for line in file if "_out=" in line]
    # 3 for the first build, then 2, 1, 0, 2, 2 and 3 for the edits.
    expect("runs of protoc", len(runs), 13)


SHOP_COUNT = {"generate count", "compile count.pb", "compile count.rpc"}
SHOP_STOCK = {"generate stock", "compile stock.pb", "compile stock.rpc"}
SHOP_ITEM = {"generate item", "compile item.pb"}
SHOP_ORDER = {"generate order", "compile order.pb", "compile order.rpc"}
SHOP_MAIN = {"compile main", "link shop"}
SHOP_OUTPUT = """shop.stock.v1.Stock
  Look
  Watch, the server streams
shop.order.v1.Orders
  Place, the client streams
"""


def shop_libraries(suffix):
    """The steps that link the project's libraries."""
    return {f"link lib{name}.{suffix}" for name in ("stock", "order", "order_messages")}


def test_cmake_layers(context):
    """Folders, BATCH, OUT_VAR, NO_MESSAGES, two libraries with options."""
    project = context.project("layers")
    build = context.cmake(project, generator="Unix Makefiles")
    libraries = shop_libraries("a")
    everything = SHOP_COUNT | SHOP_STOCK | SHOP_ITEM | SHOP_ORDER | SHOP_MAIN | libraries
    build.expect_all(everything | OPTIONS)
    expect("output", run([os.path.join(build.folder, "shop")]), SHOP_OUTPUT)
    protos = os.path.join(project, "proto", "shop")
    # The batch is written as one; item.proto is not part of it, and orders do
    # not see the rest of the stock.
    build.expect_after(
        os.path.join(protos, "stock", "v1", "count.proto"),
        SHOP_COUNT | SHOP_STOCK | SHOP_MAIN | {"link libstock.a"},
    )
    build.expect_after(
        os.path.join(protos, "order", "v1", "order.proto"),
        SHOP_ORDER | SHOP_MAIN | {"link liborder.a", "link liborder_messages.a"},
    )


def test_cmake_multi_config(context):
    """The same as shared libraries, in two configurations of one folder."""
    project = context.project("layers")
    build = context.cmake(
        project,
        "-DBUILD_SHARED_LIBS=ON",
        "-DCMAKE_CXX_FLAGS_DEBUG=",
        "-DCMAKE_CXX_FLAGS_RELEASE=",
        generator="Ninja Multi-Config",
        config="Debug",
    )
    generated = SHOP_COUNT | SHOP_STOCK | SHOP_ITEM | SHOP_ORDER | SCHEMA
    libraries = shop_libraries("so") | {"link libqarn_rpc_service_options.so"}
    build.expect_all(generated | SHOP_MAIN | libraries)
    expect("output", run([os.path.join(build.folder, "Debug", "shop")]), SHOP_OUTPUT)
    release = WatchedBuild(build.command[:-1] + ["Release"], build.folder)
    compiled = {step for step in generated if step.startswith("compile")}
    release.expect_all(compiled | SHOP_MAIN | libraries)
    expect("output", run([os.path.join(build.folder, "Release", "shop")]), SHOP_OUTPUT)


def test_cmake_odd_paths(context):
    """Where paths cannot stand in a depfile, all files count as imports."""
    for generator in ("Ninja", "Unix Makefiles"):
        project = context.echo_project(
            "cmake", folder=os.path.join(context.work, "blank and $ sign", generator)
        )
        build = context.cmake(project, generator=generator)
        build.expect_all(TEXT | ECHO | OPTIONS)
        context.expect_conversation(os.path.join(build.folder, "echo"))
        build.expect_after(os.path.join(project, "echo.proto"), TEXT | ECHO)
        build.expect_after(context.schema, TEXT | ECHO | OPTIONS)


def test_cmake_old_protoc(context):
    """The same with a protoc that has no --dependency_out."""
    fresh_folder(context.work)
    protoc = write_program(
        os.path.join(context.work, "protoc"),
        f"""
case "$*" in
  --version) echo "libprotoc 2.6.1" ;;
  *--dependency_out*) echo "Unknown flag: --dependency_out" >&2; exit 1 ;;
  *) exec "{shutil.which("protoc")}" "$@" ;;
esac
""",
    )
    project = context.echo_project("cmake")
    build = context.cmake(project, f"-DQARN_RPC_PROTOC_EXECUTABLE={protoc}")
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(os.path.join(build.folder, "echo"))
    build.expect_after(os.path.join(project, "text.proto"), TEXT | ECHO)


def test_cmake_bring_your_own(context):
    """A library for the options, a .proto written by the build, plain linking."""
    project = context.echo_project("bring_your_own")
    os.rename(os.path.join(project, "text.proto"), os.path.join(project, "text.proto.in"))
    build = context.cmake(project)
    own_options = SCHEMA | {"link libmy_options.a"}
    build.expect_all(TEXT | ECHO | own_options)
    context.expect_conversation(os.path.join(build.folder, "echo"))
    build.expect_after(os.path.join(project, "text.proto.in"), TEXT | ECHO)


def test_cmake_cross(context):
    """A cross build runs the host's tools, not those of its target system."""
    sysroot = os.path.join(fresh_folder(context.work), "sysroot")
    shutil.copytree(context.prefix, os.path.join(sysroot, "usr"))
    for tool in ("protoc", "protoc-gen-qarn-rpc"):
        write_program(
            os.path.join(sysroot, "usr", "bin", tool),
            "echo this runs on the target only >&2\nexit 1\n",
        )
    toolchain = os.path.join(context.work, "toolchain.cmake")
    with open(toolchain, "w", encoding="utf-8") as file:
        file.write(
            f"set(CMAKE_SYSTEM_NAME Linux)\n"
            f'list(APPEND CMAKE_FIND_ROOT_PATH "{sysroot}")\n'
            "set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)\n"
        )
    project = context.echo_project("cmake")
    path = os.path.dirname(context.plugin) + os.pathsep + os.environ["PATH"]
    build = context.cmake(
        project,
        f"-DCMAKE_TOOLCHAIN_FILE={toolchain}",
        f"-DCMAKE_PREFIX_PATH={sysroot}/usr",
        env={"PATH": path},
    )
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(os.path.join(build.folder, "echo"))


def test_cmake_errors(context):
    """Each refusal of the function and of the package, as whole texts."""
    project = context.project("errors", context.example)
    common = ["cmake", "-S", project, "-B", os.path.join(project, "build"), "-G", "Ninja"]
    run([*common, f"-DCMAKE_PREFIX_PATH={context.prefix}", "-DCASE="])
    for name, snippet, environment, expected in errors.cases(context):
        with open(os.path.join(project, "case.cmake"), "w", encoding="utf-8") as file:
            file.write(snippet)
        print(f"case: {name}")
        output = run(
            [shutil.which("cmake"), *common[1:], "-DCASE=case.cmake"], env=environment, status=None
        )
        expect_in(name, output, expected)
        # One error alone: the function stops at the first one.
        expect(f"errors of {name}", output.count("CMake Error"), 1)
