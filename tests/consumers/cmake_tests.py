"""CMake projects that use the installed package."""

import json
import os
import re
import shutil

from consumers import errors
from consumers.context import (
    ECHO,
    OPTIONS,
    SCHEMA,
    TEXT,
    copy_into,
    expect_deleted_files_back,
    add_spare_service,
    expect_only_what_changed,
    read,
    runs,
    write_program,
)
from consumers.watched_build import WatchedBuild
from support.testkit import Failure, Skip, expect, expect_in, fresh_folder, run


def fails(command):
    """Whether the command ends with a status other than 0."""
    try:
        run(command)
    except Failure:
        return True
    return False


def expect_exact_rebuilds(context, project, build):
    """Each touched file reruns what depends on it, in a project with depfiles, and
    nothing is compiled, since no generated file changes."""
    build.expect_after(os.path.join(project, "text.proto"), runs(TEXT | ECHO))
    build.expect_after(os.path.join(project, "echo.proto"), runs(ECHO))
    build.expect_after(os.path.join(project, "main.cc"), {"compile main", "link echo"})
    build.expect_after(context.schema, runs(OPTIONS | ECHO))
    build.expect_after(context.plugin_any, runs(TEXT | ECHO))


def test_cmake_quick_start(context):
    """The project of the quick start, whose RPC files are compiled joined."""
    project = context.echo_project("quick_start")
    build = context.cmake(project)
    joined = {"compile unity_1", "compile apart_1"}
    build.expect_all((TEXT | ECHO | OPTIONS) - {"compile text.rpc", "compile echo.rpc"} | joined)
    context.expect_conversation(os.path.join(build.folder, "echo"))
    build.expect_after(os.path.join(project, "text.proto"), runs(TEXT | ECHO))


def test_cmake_ninja(context):
    """The example, with Ninja, each RPC file by itself."""
    project = context.echo_project("cmake")
    add_spare_service(project)
    build = context.cmake(project)
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(os.path.join(build.folder, "echo"))
    expect_in("Ninja after no edit", build.build()[1], "ninja: no work to do.")
    expect_exact_rebuilds(context, project, build)
    expect_only_what_changed(project, build)
    # Besides rebuilding, an edit must arrive.
    with open(os.path.join(build.folder, "text.pb.h"), encoding="utf-8") as file:
        expect_in("text.pb.h", file.read(), "set_number(")
    expect_deleted_files_back(build.folder, build)


def test_cmake_example(context):
    """The example that is installed with the documents: a server and a client, which
    talk over WebSocket, and a conversation that is not the right one is refused."""
    examples = fresh_folder(os.path.join(context.work, "examples"))
    copy_into(examples, os.path.join(context.prefix, "share", "doc", "qarn-rpc-gen", "examples"))
    echo = os.path.join(examples, "echo")
    build = os.path.join(context.work, "build")
    # What its README says.
    run(["cmake", "-S", echo, "-B", build, f"-DCMAKE_PREFIX_PATH={context.prefix}"])
    run(["cmake", "--build", build, "--parallel", "2"])
    talk = [os.path.join(echo, "talk.sh")]
    talk += [os.path.join(build, name) for name in ("echo_server", "echo_client")]
    output = run(talk)
    for line in ("server: you said: then good night", '(server: a call from "a guest")', "stopped"):
        expect_in("output of talk.sh", output, line)
    conversation = os.path.join(echo, "conversation.txt")
    with open(conversation, "a", encoding="utf-8") as file:
        file.write("server: and good night to you\n")
    expect("whether another conversation is refused", fails(talk), True)


def test_cmake_makefiles(context):
    """The same with Makefiles, and a protoc that counts its runs and stands far
    from protobuf's own .proto files."""
    log = os.path.join(fresh_folder(context.work), "runs")
    copy = shutil.copy(shutil.which("protoc"), os.path.join(context.work, "protoc-copy"))
    protoc = write_program(
        os.path.join(context.work, "protoc"), f'echo "$@" >> "{log}"\nexec "{copy}" "$@"\n'
    )
    project = context.echo_project("cmake")
    add_spare_service(project)
    build = context.cmake(
        project, f"-DQARN_RPC_PROTOC_EXECUTABLE={protoc}", generator="Unix Makefiles"
    )
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(os.path.join(build.folder, "echo"))
    expect_exact_rebuilds(context, project, build)
    build.expect_after(protoc, runs(TEXT | ECHO | OPTIONS))
    with open(log, encoding="utf-8") as file:
        counted = [line for line in file if "_out=" in line]
    # 3 for the first build, then 2, 1, 0, 2, 2 and 3 for the edits.
    expect("runs of protoc", len(counted), 13)
    expect_only_what_changed(project, build)
    expect_deleted_files_back(build.folder, build)


def test_cmake_interrupted(context):
    """A run of protoc that is cut off leaves no half-written file to compile, and
    the next build finishes it."""
    fresh_folder(context.work)
    mark = os.path.join(context.work, "interrupt")
    # Writes all that it should, half of the text, and is killed.
    protoc = write_program(
        os.path.join(context.work, "protoc"),
        f"""
case "$*" in *--version*) exec "{shutil.which("protoc")}" "$@" ;; esac
"{shutil.which("protoc")}" "$@" || exit
test -e "{mark}" || exit 0
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
    for generator in ("Ninja", "Unix Makefiles"):
        project = context.echo_project("cmake")
        build = context.cmake(
            project, f"-DQARN_RPC_PROTOC_EXECUTABLE={protoc}", generator=generator
        )
        build.build()
        names = [
            f"{base}.{extension}"
            for base in ("echo", "text")
            for extension in ("pb.cc", "pb.h", "rpc.cpp", "rpc.h")
        ]
        before = {name: read(os.path.join(build.folder, name)) for name in names}
        with open(mark, "w", encoding="utf-8"):
            os.utime(os.path.join(project, "text.proto"))
        run(build.command, status=None)
        expect(
            "generated files after the interruption",
            {name: read(os.path.join(build.folder, name)) for name in names},
            before,
        )
        os.remove(mark)
        build.expect_steps("the interruption", runs(TEXT | ECHO))


def test_cmake_other_generator(context):
    """A generator that compares times alone: all that protoc writes is compiled,
    and one line says so."""
    project = context.echo_project("cmake")
    # Ninja, under the name of a generator that is not here.
    with open(os.path.join(context.work, "name.cmake"), "w", encoding="utf-8") as file:
        file.write('set(CMAKE_GENERATOR "Xcode")\n')
    build = context.cmake(project, f"-DCMAKE_PROJECT_INCLUDE={context.work}/name.cmake")
    output = run(["cmake", build.folder])
    expect(
        "lines",
        output.count(
            "-- qarn-rpc-gen: the generator Xcode compiles all that protoc writes, changed or not; "
            "Ninja and Makefiles compile what changed\n"
        ),
        1,
    )
    build.expect_all(TEXT | ECHO | OPTIONS)
    build.expect_after(os.path.join(project, "echo.proto"), ECHO)


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
    # The batch is run as one; item.proto is not part of it, and orders do not see
    # the rest of the stock.
    count = os.path.join(protos, "stock", "v1", "count.proto")
    build.expect_after(count, runs(SHOP_COUNT | SHOP_STOCK))
    with open(count, "a", encoding="utf-8") as file:
        file.write("message Shelf { int32 number = 1; }\n")
    build.expect_steps("a new message", SHOP_COUNT | SHOP_STOCK | SHOP_MAIN | {"link libstock.a"})
    build.expect_after(os.path.join(protos, "order", "v1", "order.proto"), runs(SHOP_ORDER))
    os.remove(
        os.path.join(build.folder, "stock", "generated", "shop", "stock", "v1", "count.rpc.h")
    )
    steps = build.build()[0]
    expect(
        "steps after a file of the batch was deleted",
        steps - runs(SHOP_COUNT | SHOP_STOCK),
        {"compile count.rpc", "link libstock.a", "link shop"},
    )
    build.expect_nothing()


def test_cmake_finds_once(context):
    """What one folder finds of protobuf serves the others."""
    log = os.path.join(context.work, "log")
    package = fresh_folder(os.path.join(context.work, "package"))
    with open(os.path.join(package, "protobuf-config.cmake"), "w", encoding="utf-8") as file:
        file.write(f'file(APPEND "{log}" "looked\\n")\nset(Protobuf_FOUND FALSE)\n')
    context.cmake(context.project("layers"), f"-DProtobuf_DIR={package}")
    # CMake learnt in 3.24 to make what a package finds known everywhere.
    version = re.search(r"version (\d+)\.(\d+)", run(["cmake", "--version"]))
    if tuple(map(int, version.groups())) < (3, 24):
        raise Skip("CMake before 3.24 looks for protobuf in each folder")
    expect("looks for protobuf", read(log), "looked\n")


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


UNITY_RUNS = {"generate stock", "generate odd", "generate alone"}
UNITY_CODE = UNITY_RUNS | {"compile stock.pb", "compile odd.pb", "compile alone.pb"}
UNITY_JOINED = {"compile unity_1", "compile apart_1", "compile alone.rpc"}
UNITY_OWN = {"compile main", "compile other", "compile cmake_pch", "link shop"}


def commands_of(build):
    """The compiler's command for each source, by the source's name."""
    with open(os.path.join(build.folder, "compile_commands.json"), encoding="utf-8") as file:
        return {os.path.basename(entry["file"]): entry["command"] for entry in json.load(file)}


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
    steps = UNITY_CODE | UNITY_JOINED | OPTIONS
    build.expect_all(steps | UNITY_OWN)
    expect("output", run([os.path.join(build.folder, "shop")]), "shop.v1.Stock\n")
    v2 = os.path.join(project, "v2", "stock.proto")
    # Both files of that name are counted under it, so the first one is touched too.
    os.utime(os.path.join(project, "v1", "stock.proto"))
    build.expect_after(v2, {"generate stock"})
    os.utime(os.path.join(project, "v1", "stock.proto"))
    build.expect_after_edit(
        v2,
        "service Stock {",
        "service Stock {\n  rpc More(Item) returns (Item);",
        {"generate stock", "compile stock.pb", "compile unity_1", "compile apart_1", "link shop"},
    )
    project, build = unity_build(context, "", "-DCMAKE_UNITY_BUILD=ON")
    joined_own = UNITY_OWN - {"compile main", "compile other"} | {"compile unity_0_cxx.cxx"}
    build.expect_all(steps | joined_own)


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
        project = fresh_folder(os.path.join(context.work, "project"))
        protos = []
        for name, (package, code) in files.items():
            protos.append(name.rstrip("!") + ".proto")
            with open(os.path.join(project, protos[-1]), "w", encoding="utf-8") as file:
                message = f"Item_{name.rstrip('!')}"
                file.write(f'syntax = "proto3";\npackage {package};\nmessage {message} {{}}\n')
                file.write(code.replace("Item", message))
        call = f"qarn_rpc_generate(TARGET shop PROTOS {' '.join(protos)} UNITY"
        call += f" SERVICES_NAMESPACE {namespace})" if namespace else ")"
        top = os.path.join(project, "CMakeLists.txt")
        with open(top, "w", encoding="utf-8") as file:
            file.write(
                "cmake_minimum_required(VERSION 3.20)\nproject(shop LANGUAGES CXX)\n"
                "find_package(qarn-rpc-gen REQUIRED)\nadd_library(shop STATIC)\n"
                f'target_include_directories(shop PUBLIC "${{RPC_RUNTIME_DIR}}")\n{call}\n'
            )
        build = context.cmake(project)
        build.build()
        folder = os.path.join(build.folder, "CMakeFiles", "qarn_rpc_unity.dir")
        included = {
            kind: re.findall(r'"\S+/(\w+)\.rpc\.cpp"', read(os.path.join(folder, name)))
            for name in os.listdir(folder)
            for kind in ("unity", "apart")
            if name.endswith(f"_{kind}_1.cpp")
        }
        expect(
            f"RPC files in each source, with the namespace {namespace}",
            included,
            {
                "unity": [name for name in files if "!" not in name],
                "apart": [name[:-1] for name in files if "!" in name],
            },
        )
    with open(os.path.join(project, "third.proto"), "w", encoding="utf-8") as file:
        file.write(
            'syntax = "proto3";\npackage shop.api;\nmessage M {}\n'
            "service A { rpc N(M) returns (M); }\n"
        )
    with open(top, encoding="utf-8") as file:
        text = file.read()
    with open(top, "w", encoding="utf-8") as file:
        file.write(text.replace("inner.proto", "inner.proto third.proto"))
    expect_in(
        "output with a third file",
        run(build.command, status=None),
        f"qarn-rpc-gen: '{build.folder}/third.rpc.cpp' can be joined neither with the RPC files",
    )


def test_cmake_precompile(context):
    """PRECOMPILE gives RPC files a precompiled header, and what the target has;
    the target's own sources keep theirs. With UNITY it does so for the units."""
    _, build = unity_build(context, "PRECOMPILE")
    rpc = {"compile stock.rpc", "compile odd.rpc", "compile alone.rpc"}
    build.expect_all(UNITY_CODE | rpc | OPTIONS | UNITY_OWN)
    expect("output", run([os.path.join(build.folder, "shop")]), "shop.v1.Stock\n")
    commands = commands_of(build)
    for source in ("stock.rpc.cpp", "odd.rpc.cpp"):
        for part in ("shop_qarn_rpc.dir/cmake_pch.hxx", "-DSHOP=1", "-std=gnu++20"):
            expect_in(f"the command for {source}", commands[source], part)
    for source in ("main.cc", "other.cc", "stock.pb.cc"):
        expect_in(f"the command for {source}", commands[source], "shop.dir/cmake_pch.hxx")
    text = read(os.path.join(build.folder, "CMakeFiles", "qarn_rpc_probe.dir", "includes.h"))
    # Of its own headers protobuf writes <...> or "...", depending on its release.
    includes = re.sub("[<>]", '"', text).splitlines()
    for line in ('#include "google/protobuf/message.h"', '#include "qarn/rpc.h"'):
        expect(f"times that the precompiled header has {line}", includes.count(line), 1)
    expect("lines that are no includes", [x for x in includes if x[:9] != "#include "], [])
    build.expect_after(context.plugin_any, UNITY_RUNS)


def test_cmake_unity_precompile(context):
    """Both ways together, with Makefiles."""
    _, build = unity_build(context, "UNITY;PRECOMPILE", generator="Unix Makefiles")
    build.expect_all(UNITY_CODE | UNITY_JOINED | OPTIONS | UNITY_OWN)
    for source, command in commands_of(build).items():
        if "unity_1" in source:
            expect_in("the command of the unit", command, "shop_qarn_rpc.dir/cmake_pch.hxx")
    build.expect_after(context.plugin_any, UNITY_RUNS)


def test_cmake_modules(context):
    """Where a project has all sources scanned for modules, generated ones are not."""
    version = re.search(r"version (\d+)\.(\d+)", run(["cmake", "--version"]))
    if tuple(map(int, version.groups())) < (3, 28):
        raise Skip("CMake before 3.28 scans no sources")
    for ways in ("", "UNITY", "PRECOMPILE"):
        _, build = unity_build(
            context, ways, "-DCMAKE_CXX_STANDARD=20", "-DCMAKE_CXX_SCAN_FOR_MODULES=ON"
        )
        rules = read(os.path.join(build.folder, "build.ninja"))
        scanned = {os.path.basename(path) for path in re.findall(r"(\S+)\.o\.ddi", rules)}
        expect(f"scanned sources with {ways or 'neither way'}", scanned, {"main.cc", "other.cc"})


def test_cmake_automoc(context):
    """Where a project has its sources searched for Qt's macros, generated ones are
    not."""
    moc = write_program(os.path.join(fresh_folder(context.work), "moc"), "exit 1\n")
    qt = os.path.join(context.work, "qt.cmake")
    with open(qt, "w", encoding="utf-8") as file:
        # All that CMake wants to know of Qt.
        file.write(
            "set(Qt5Core_VERSION_MAJOR 5)\nset(Qt5Core_VERSION_MINOR 15)\n"
            f'set(CMAKE_AUTOMOC ON)\nset(CMAKE_AUTOMOC_EXECUTABLE "{moc}")\n'
            "add_executable(Qt5::moc IMPORTED)\n"
            f'set_target_properties(Qt5::moc PROPERTIES IMPORTED_LOCATION "{moc}")\n'
        )
    for ways in ("", "UNITY", "PRECOMPILE"):
        _, build = unity_build(context, ways, f"-DCMAKE_PROJECT_INCLUDE={qt}")
        searched = {
            (os.path.basename(folder), os.path.basename(entry[0]))
            for folder, _, names in os.walk(build.folder)
            if "AutogenInfo.json" in names
            for kind in ("HEADERS", "SOURCES")
            for entry in json.loads(read(os.path.join(folder, "AutogenInfo.json")))[kind]
            if "cmake_pch" not in entry[0]
        }
        expect(
            f"targets and files that are searched with {ways or 'neither way'}",
            searched,
            {("shop_autogen.dir", "main.cc"), ("shop_autogen.dir", "other.cc")},
        )


def test_cmake_odd_paths(context):
    """Where paths cannot stand in a depfile, all files count as imports."""
    for generator in ("Ninja", "Unix Makefiles"):
        project = context.echo_project(
            "cmake", folder=os.path.join(context.work, "blank and $ sign", generator)
        )
        build = context.cmake(project, generator=generator)
        build.expect_all(TEXT | ECHO | OPTIONS)
        context.expect_conversation(os.path.join(build.folder, "echo"))
        build.expect_after(os.path.join(project, "echo.proto"), runs(TEXT | ECHO))
        build.expect_after(context.schema, runs(TEXT | ECHO | OPTIONS))


def stand_in_protoc(folder, version, refused="--no-such-option"):
    """Writes a protoc that says it is `version` and does not know `refused`."""
    return write_program(
        os.path.join(folder, f"protoc-{version}"),
        f"""
case "$*" in
  --version) echo "libprotoc {version}" ;;
  *{refused}*) echo "Unknown flag: {refused}" >&2; exit 1 ;;
  *) exec "{shutil.which("protoc")}" "$@" ;;
esac
""",
    )


def stand_in_library(folder, number):
    """Writes lines of CMake that make protobuf's library say that it is of the
    release `number`, which is written as 3021012 for 3.21.12."""
    include_dir = os.path.join(folder, f"include-{number}")
    header = os.path.join(include_dir, "google", "protobuf", "stubs", "common.h")
    os.makedirs(os.path.dirname(header), exist_ok=True)
    with open(header, "w", encoding="utf-8") as file:
        # For CMake alone: the compiler reads the machine's header.
        file.write(
            f"#if 0\n#define GOOGLE_PROTOBUF_VERSION {number}\n#endif\n"
            "#include_next <google/protobuf/stubs/common.h>\n"
        )
    if number >= 7036000:
        with open(
            os.path.join(include_dir, "google", "protobuf", "runtime_version.h"),
            "w",
            encoding="utf-8",
        ):
            pass
    return f"""
find_library(protobuf_file protobuf REQUIRED)
find_path(protobuf_dir google/protobuf/descriptor.proto REQUIRED)
add_library(protobuf::libprotobuf UNKNOWN IMPORTED)
set_target_properties(protobuf::libprotobuf PROPERTIES
  IMPORTED_LOCATION "${{protobuf_file}}"
  INTERFACE_INCLUDE_DIRECTORIES "{include_dir};${{protobuf_dir}}")
"""


def test_cmake_old_protoc(context):
    """The same with a protoc that has no --dependency_out."""
    fresh_folder(context.work)
    protoc = stand_in_protoc(context.work, "2.6.1", refused="--dependency_out")
    library = os.path.join(context.work, "library.cmake")
    with open(library, "w", encoding="utf-8") as file:
        file.write(stand_in_library(context.work, 2006001))
    project = context.echo_project("cmake")
    build = context.cmake(
        project, f"-DQARN_RPC_PROTOC_EXECUTABLE={protoc}", f"-DCMAKE_PROJECT_INCLUDE={library}"
    )
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(os.path.join(build.folder, "echo"))
    build.expect_after(os.path.join(project, "text.proto"), runs(TEXT | ECHO))


class CaseProject:
    """A project that is configured again and again, each time with other lines
    of CMake in it."""

    def __init__(self, context):
        self.folder = context.echo_project("errors")
        self.build = os.path.join(self.folder, "build")
        self.command = ["cmake", "-S", self.folder, "-B", self.build, "-G", "Ninja"]
        run([*self.command, f"-DCMAKE_PREFIX_PATH={context.prefix}", "-DCASE="])

    def configure(self, snippet, env=None, status=0):
        """Configures with `snippet` in the project, and returns what CMake said."""
        with open(os.path.join(self.folder, "case.cmake"), "w", encoding="utf-8") as file:
            file.write(snippet)
        return run(
            [shutil.which("cmake"), *self.command[1:], "-DCASE=case.cmake"], env=env, status=status
        )

    def rules(self):
        """The text of the rules that the last configuration wrote."""
        with open(os.path.join(self.build, "build.ninja"), encoding="utf-8") as file:
            return file.read()


FIND = "find_package(qarn-rpc-gen REQUIRED)\n"
CALL = "qarn_rpc_generate(TARGET echo PROTOS echo.proto)\n"


def test_cmake_skew(context):
    """protoc and library of different releases: nothing, a warning, an error."""
    case = CaseProject(context)
    for version, number, release, outcome in (
        ("3.21.12", 3021012, "3.21.12", "fits"),
        ("3.21.9", 3021012, "3.21.12", "warning"),
        ("3.20.3", 3021012, "3.21.12", "error"),
        ("22.0", 3021012, "3.21.12", "error"),
        ("3.12.4", 3012004, "3.12.4", "fits"),
        ("22.5", 4022005, "22.5", "fits"),
        ("22.1", 4022005, "22.5", "warning"),
        ("36.2", 7036002, "36.2", "fits"),
        ("36.1", 7036002, "36.2", "error"),
        ("3.21.12", 7036002, "36.2", "error"),
    ):
        protoc = stand_in_protoc(context.work, version)
        snippet = (
            FIND
            + stand_in_library(context.work, number)
            + f'set(QARN_RPC_PROTOC_EXECUTABLE "{protoc}")\n'
            + CALL
            + CALL.replace("echo.proto", "text.proto")
        )
        output = case.configure(snippet, status=None if outcome == "error" else 0)
        name = f"protoc {version} with library {release}"
        expect(f"{name}: warnings", output.count("CMake Warning"), int(outcome == "warning"))
        expect(f"{name}: errors", output.count("CMake Error"), int(outcome == "error"))
        if outcome == "fits":
            continue
        header = f"{context.work}/include-{number}/google/protobuf/stubs/common.h"
        refuses = (
            "The library refuses to compile what this protoc writes. " if outcome == "error" else ""
        )
        expect_in(
            name,
            output,
            f"qarn-rpc-gen: protoc is of release {version} ('{protoc}', from "
            "QARN_RPC_PROTOC_EXECUTABLE), but protobuf's library of release "
            f"{release} ('{header}'). {refuses}Install both of one release, or set "
            "QARN_RPC_PROTOC_EXECUTABLE to the full path of a protoc "
            f"{release} that runs on this machine.",
        )


def test_cmake_optional_flag(context):
    """protoc 3.12 to 3.14 is told to take proto3's optional, others are not."""
    case = CaseProject(context)
    for version, number, expected in (
        ("3.11.4", 3011004, False),
        ("3.12.4", 3012004, True),
        ("3.14.0", 3014000, True),
        ("3.15.0", 3015000, False),
    ):
        protoc = stand_in_protoc(context.work, version)
        case.configure(
            FIND
            + stand_in_library(context.work, number)
            + f'set(QARN_RPC_PROTOC_EXECUTABLE "{protoc}")\n'
            + CALL
        )
        expect(
            f"protoc {version} gets the flag",
            "--experimental_allow_proto3_optional" in case.rules(),
            expected,
        )


def test_cmake_plugins(context):
    """The program for any syntax comes first, then the plain one, with one line;
    QARN_RPC_PLUGIN_EXECUTABLE wins; a cross build looks on the PATH."""
    case = CaseProject(context)
    folder = fresh_folder(os.path.join(context.work, "bin"))
    plain = write_program(os.path.join(folder, "protoc-gen-qarn-rpc"), "exit 1\n")
    any_syntax = plain + "-any"
    line = (
        "-- qarn-rpc-gen: there is no protoc-gen-qarn-rpc-any, so protoc-gen-qarn-rpc is used, "
        "to which protoc hands no file with proto3 optional or an edition\n"
    )
    package = f"{context.prefix}/share/cmake/qarn-rpc-gen"
    function = (
        f'set(QARN_RPC_PROTO_DIR "{context.prefix}/include")\n'
        f'include("{package}/QarnRpcGenerate.cmake")\n'
    )
    calls = CALL + CALL.replace("echo.proto", "text.proto")

    def target(program):
        name = f"qarn-rpc-gen::{os.path.basename(program)}"
        return (
            f"add_executable({name} IMPORTED)\n"
            f"set_target_properties({name} PROPERTIES IMPORTED_LOCATION {program})\n"
        )

    def expect_plugin(name, snippet, plugin, lines, env=None):
        output = case.configure(function + snippet + calls, env=env)
        expect(
            f"{name}: plugins",
            set(re.findall(r"--plugin=protoc-gen-qarn-rpc=(\S+)", case.rules())),
            {plugin},
        )
        expect(f"{name}: lines", output.count(line), lines)

    both = target(plain) + target(any_syntax)
    expect_plugin("both targets", both, any_syntax, 0)
    expect_plugin("the plain target", target(plain), plain, 1)
    expect_plugin("the variable", both + f'set(QARN_RPC_PLUGIN_EXECUTABLE "{plain}")\n', plain, 0)
    cross = both + "unset(QARN_RPC_PLUGIN_ON_PATH CACHE)\nset(CMAKE_CROSSCOMPILING TRUE)\n"
    path = {"PATH": folder + os.pathsep + os.environ["PATH"]}
    expect_plugin("plain on the PATH", cross, plain, 1, path)
    write_program(any_syntax, "exit 1\n")
    expect_plugin("both on the PATH", cross, any_syntax, 0, path)


def test_cmake_bring_your_own(context):
    """A library for the options, a .proto written by the build, plain linking."""
    project = context.echo_project("bring_your_own")
    os.rename(os.path.join(project, "text.proto"), os.path.join(project, "text.proto.in"))
    build = context.cmake(project)
    own_options = SCHEMA | {"link libmy_options.a"}
    build.expect_all(TEXT | ECHO | own_options)
    context.expect_conversation(os.path.join(build.folder, "echo"))
    build.expect_after(os.path.join(project, "text.proto.in"), runs(TEXT | ECHO))


def test_cmake_cross(context):
    """A cross build runs the host's tools, not those of its target system."""
    sysroot = os.path.join(fresh_folder(context.work), "sysroot")
    shutil.copytree(context.prefix, os.path.join(sysroot, "usr"))
    for tool in ("protoc", "protoc-gen-qarn-rpc", "protoc-gen-qarn-rpc-any"):
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
    case = CaseProject(context)
    for name, snippet, environment, expected in errors.cases(context):
        print(f"case: {name}")
        output = case.configure(snippet, env=environment, status=None)
        expect_in(name, output, expected)
        # One error alone: the function stops at the first one.
        expect(f"errors of {name}", output.count("CMake Error"), 1)
