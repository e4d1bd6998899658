"""CMake projects that use the installed package."""

import shutil

import pytest

from consumers.context import (
    ECHO,
    OPTIONS,
    SCHEMA,
    TEXT,
    append,
    cmake_version,
    copy_into,
    expect_deleted_files_back,
    expect_exact_rebuilds,
    fresh_folder,
    runs,
    write_program,
)
from consumers.watched_build import WatchedBuild
from support.commands import run


def counting_protoc(context):
    """A protoc far from protobuf's own .proto files, which writes its runs to the file
    `runs`. While there is a file `interrupt`, it writes all that it should, half of the
    text, and is killed."""
    copy = shutil.copy(shutil.which("protoc"), context.work / "protoc-copy")
    return write_program(
        context.work / "protoc",
        f"""
echo "$@" >> "{context.work}/runs"
case "$*" in *--version*) exec "{copy}" "$@" ;; esac
"{copy}" "$@" || exit
test -e "{context.work}/interrupt" || exit 0
for argument; do
  case "$argument" in
    --cpp_out=*) out=${{argument#--cpp_out=}} ;;
    *.proto) base=$(basename "$argument" .proto) ;;
  esac
done
# Its own files alone: another run may be at work.
truncate -s 100 "$out/$base".*
kill -9 $$
""",
    )


def expect_example(context, generator):
    """Builds the example, each RPC file by itself, and edits it; returns the build."""
    protoc = counting_protoc(context)
    project = context.echo_project("cmake")
    build = context.cmake(project, f"-DQARN_RPC_PROTOC_EXECUTABLE={protoc}", generator=generator)
    expect_exact_rebuilds(context, project, build, OPTIONS)
    build.expect_after(protoc, runs(TEXT | ECHO | OPTIONS))
    log = (context.work / "runs").read_text()
    # 3 for the first build, then 2, 1, 0, 2, 2, 2, 2, 1 and 3 for the edits.
    assert len([line for line in log.splitlines() if "_out=" in line]) == 18
    # Besides rebuilding, an edit must arrive.
    assert "set_number(" in (build.folder / "text.pb.h").read_text()
    expect_deleted_files_back(build.folder, build)
    expect_no_half_written_file(context, project, build)
    return build


def expect_no_half_written_file(context, project, build):
    """A run of protoc that is cut off leaves none to compile, and the next build
    finishes it."""
    files = [path for path in build.folder.iterdir() if path.name[:5] in ("echo.", "text.")]
    before = {path: path.read_text() for path in files}
    assert len(before) == 8
    mark = context.work / "interrupt"
    mark.touch()
    (project / "text.proto").touch()
    run(build.command, status=None)
    assert {path: path.read_text() for path in files} == before
    mark.unlink()
    build.expect_steps("the interruption", runs(TEXT | ECHO))


def test_cmake_ninja(context):
    """The example, with Ninja. With the word UNITY in the call, as the page says, its
    RPC files are compiled joined."""
    build = expect_example(context, "Ninja")
    assert "ninja: no work to do." in build.build()[1]
    lists = context.work / "project/CMakeLists.txt"
    build.expect_after_edit(
        lists,
        "SERVICES_NAMESPACE api)",
        "SERVICES_NAMESPACE api UNITY)",
        {"compile unity_1", "compile apart_1", "link echo"},
    )
    context.expect_conversation(build.folder / "echo")
    build.expect_after(lists.with_name("text.proto"), runs(TEXT | ECHO))


def test_cmake_makefiles(context):
    """The same with Makefiles."""
    expect_example(context, "Unix Makefiles")


def test_cmake_example(context):
    """The example that is installed with the documents: a server and a client, which
    talk over WebSocket, and a conversation that is not the right one is refused."""
    examples = fresh_folder(context.work / "examples")
    copy_into(examples, context.prefix / "share/doc/qarn-rpc-gen/examples")
    echo = examples / "echo"
    build = context.work / "build"
    # What its README says.
    run(["cmake", "-S", echo, "-B", build, f"-DCMAKE_PREFIX_PATH={context.prefix}"])
    run(["cmake", "--build", build, "--parallel", "2"])
    talk = [echo / "talk.sh"]
    talk += [build / name for name in ("echo_server", "echo_client")]
    output = run(talk)
    for line in ("server: you said: then good night", '(server: a call from "a guest")', "stopped"):
        assert line in output
    conversation = echo / "conversation.txt"
    append(conversation, "server: and good night to you\n")
    with pytest.raises(AssertionError):
        run(talk)


def test_cmake_other_generator(context):
    """A generator that compares times alone: all that protoc writes is compiled,
    and one line says so."""
    project = context.echo_project("cmake")
    # Ninja, under the name of a generator that is not here.
    (context.work / "name.cmake").write_text('set(CMAKE_GENERATOR "Xcode")\n')
    build = context.cmake(project, f"-DCMAKE_PROJECT_INCLUDE={context.work}/name.cmake")
    output = run(["cmake", build.folder])
    line = (
        "-- qarn-rpc-gen: the generator Xcode compiles all that protoc writes, changed or not; "
        "Ninja and Makefiles compile what changed\n"
    )
    assert output.count(line) == 1
    build.expect_all(TEXT | ECHO | OPTIONS)
    build.expect_after(project / "echo.proto", ECHO)


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
    """Folders, BATCH, OUT_VAR, NO_MESSAGES, two libraries with options. What one folder
    finds of protobuf serves the others."""
    log = context.work / "log"
    package = fresh_folder(context.work / "package")
    (package / "protobuf-config.cmake").write_text(
        f'file(APPEND "{log}" "looked\\n")\nset(Protobuf_FOUND FALSE)\n'
    )
    project = context.project("layers")
    build = context.cmake(project, f"-DProtobuf_DIR={package}", generator="Unix Makefiles")
    # CMake learnt in 3.24 to make what a package finds known everywhere.
    assert cmake_version() < (3, 24) or log.read_text() == "looked\n"
    libraries = shop_libraries("a")
    everything = SHOP_COUNT | SHOP_STOCK | SHOP_ITEM | SHOP_ORDER | SHOP_MAIN | libraries
    build.expect_all(everything | OPTIONS)
    assert run([build.folder / "shop"]) == SHOP_OUTPUT
    protos = project / "proto/shop"
    # The batch is run as one; item.proto is not part of it, and orders do not see
    # the rest of the stock.
    count = protos / "stock/v1/count.proto"
    build.expect_after(count, runs(SHOP_COUNT | SHOP_STOCK))
    append(count, "message Shelf { int32 number = 1; }\n")
    build.expect_steps("a new message", SHOP_COUNT | SHOP_STOCK | SHOP_MAIN | {"link libstock.a"})
    build.expect_after(protos / "order/v1/order.proto", runs(SHOP_ORDER))
    (build.folder / "stock/generated/shop/stock/v1/count.rpc.h").unlink()
    steps = build.build()[0]
    assert steps - runs(SHOP_COUNT | SHOP_STOCK) == {
        "compile count.rpc",
        "link libstock.a",
        "link shop",
    }
    build.expect_nothing()


def test_cmake_multi_config(context):
    """The same as shared libraries, in two configurations of one folder."""
    project = context.project("layers")
    options = [f"-DCMAKE_CXX_FLAGS_{config}=" for config in ("DEBUG", "RELEASE")]
    build = context.cmake(
        project,
        "-DBUILD_SHARED_LIBS=ON",
        *options,
        generator="Ninja Multi-Config",
    )
    generated = SHOP_COUNT | SHOP_STOCK | SHOP_ITEM | SHOP_ORDER | SCHEMA
    libraries = shop_libraries("so") | {"link libqarn_rpc_service_options.so"}
    build.expect_all(generated | SHOP_MAIN | libraries)
    assert run([build.folder / "Debug/shop"]) == SHOP_OUTPUT
    release = WatchedBuild([*build.command, "--config", "Release"], build.folder)
    compiled = {step for step in generated if step.startswith("compile")}
    release.expect_all(compiled | SHOP_MAIN | libraries)
    assert run([build.folder / "Release/shop"]) == SHOP_OUTPUT


def test_cmake_odd_paths(context):
    """Where paths cannot stand in a depfile, all files count as imports."""
    for generator in ("Ninja", "Unix Makefiles"):
        project = context.echo_project(
            "cmake", folder=context.work / "blank and $ sign" / generator
        )
        build = context.cmake(project, generator=generator)
        build.expect_all(TEXT | ECHO | OPTIONS)
        context.expect_conversation(build.folder / "echo")
        build.expect_after(project / "echo.proto", runs(TEXT | ECHO))
        build.expect_after(context.schema, runs(TEXT | ECHO | OPTIONS))


def test_cmake_bring_your_own(context):
    """A library for the options, a .proto written by the build, plain linking."""
    project = context.echo_project("bring_your_own")
    (project / "text.proto").rename(project / "text.proto.in")
    build = context.cmake(project)
    own_options = SCHEMA | {"link libmy_options.a"}
    build.expect_all(TEXT | ECHO | own_options)
    context.expect_conversation(build.folder / "echo")
    build.expect_after(project / "text.proto.in", runs(TEXT | ECHO))
