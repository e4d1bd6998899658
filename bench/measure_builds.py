#!/usr/bin/env python3
"""Measures what users' builds take: measure_builds.py BUILD WORK FILE RUNS

BUILD is a build folder with the plugin and the benchmarks, WORK a folder for
projects and their builds, which is emptied, FILE the JSON file to write. RUNS is how
often each build and each configure step is measured. All projects are built by CMake
with Ninja; the peer is protobuf_generate(), of CMake's own module. See
scripts/bench.sh.
"""

import json
import os
import shlex
import shutil

from make_inputs import KINDS, write
from turns import BENCH, goal, how, in_turn, main, run

JOBS = 2
RPC_FILES = 20
METHODS = 10
FOLDERS = 200
FILES = 1000

HEAD = "cmake_minimum_required(VERSION 3.20)\nproject(bench LANGUAGES CXX)\n"
FIND = "find_package(qarn-rpc-gen REQUIRED)\n"
# What a project looks for, once, and what it says for a target NAME.
OURS = (
    FIND,
    """
target_include_directories(NAME PRIVATE "${RPC_RUNTIME_DIR}")
qarn_rpc_generate(TARGET NAME PROTOS ${protos})
""",
)
PEER_MESSAGES = (
    "find_package(Protobuf MODULE REQUIRED)\n",
    """
target_link_libraries(NAME PRIVATE protobuf::libprotobuf)
target_include_directories(NAME PRIVATE "${CMAKE_CURRENT_BINARY_DIR}" "${RPC_RUNTIME_DIR}")
protobuf_generate(TARGET NAME PROTOS ${protos})
""",
)
PEER = (
    PEER_MESSAGES[0]
    + FIND
    + "get_target_property(plugin qarn-rpc-gen::protoc-gen-qarn-rpc-any LOCATION)\n",
    PEER_MESSAGES[1]
    + """
protobuf_generate(TARGET NAME PROTOS ${protos} LANGUAGE qarn-rpc
  PLUGIN "protoc-gen-qarn-rpc=${plugin}" GENERATE_EXTENSIONS .rpc.h .rpc.cpp)
""",
)

TEXT_PROTO = """syntax = "proto3";
package bench.text;
message Line { string text = 1; }
service Lines { rpc Keep(Line) returns (Line); }
"""
ECHO_PROTO = """syntax = "proto3";
package bench.echo;
import "text.proto";
service Echo { rpc Ping(bench.text.Line) returns (bench.text.Line); }
"""
MAIN = """#include "echo.rpc.h"
int main() { return bench::echo::Echo::full_name() == nullptr; }
"""


# What a row of a table is called, and its project is made of.
WAYS = {"qarn_rpc_generate": OURS, "protobuf_generate": PEER}
CONFIGURED = {**WAYS, "protobuf_generate, messages alone": PEER_MESSAGES}
TYPES = {
    "imported": "messages of one file, which all import",
    "own": "messages of its own in each file",
}


def rpc_proto(index, types):
    """A file of METHODS methods, with messages of its own or, if `types` is
    "imported", with those of one file that all import."""
    package = "bench.shared." if types == "imported" else ""
    yield f'syntax = "proto3";\npackage bench.file{index};\n'
    yield 'import "morvane/qarn/rpc/service_options.proto";\n'
    if package:
        yield 'import "shared.proto";\n'
    else:
        yield from messages()
    yield f"service Archive{index} {{\n"
    for method in range(METHODS):
        yield (
            f"  rpc Fetch{method}({package}Request{method}) returns ({package}Reply{method})"
            f"{KINDS[method % len(KINDS)] or ';'}\n"
        )
    yield "}\n"


def messages():
    for method in range(METHODS):
        for name in ("Request", "Reply"):
            yield f"message {name}{method} {{ string title = 1; int64 number = 2; }}\n"


def configure(project, prefix):
    """Configures `project` in its folder `build`, and returns that."""
    build = project / "build"
    run(
        *("cmake", "-G", "Ninja", "-S", project, "-B", build),
        f"-DCMAKE_PREFIX_PATH={prefix}",
        f"-DRPC_RUNTIME_DIR={BENCH.parent / 'examples' / 'runtime'}",
        "-DCMAKE_BUILD_TYPE=Debug",
        "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON",
        # No cache answers in the compiler's place.
        "-DCMAKE_CXX_COMPILER_LAUNCHER=",
    )
    return build


def shell(*commands):
    """A command of in_turn: a shell takes about a millisecond, a build far more."""
    return "/dev/null", "/bin/sh", "-c", " && ".join(commands)


def times(m):
    """The columns of what in_turn measured, in seconds."""
    return {"wall s": round(m.wall / 1e6, 2), "processor s": round(m.processor / 1e6, 2)}


def edits(programs, work, prefix, runs):
    """Rows: a program of two .proto files with services, built again after a comment
    was added to the file that the other one imports."""
    counts, commands = {}, {}
    for name, (top, code) in WAYS.items():
        project = work / "edits" / name
        write(project / "text.proto", TEXT_PROTO)
        write(project / "echo.proto", ECHO_PROTO)
        write(project / "main.cc", MAIN)
        lists = "set(protos text.proto echo.proto)\nadd_executable(echo main.cc)"
        write(project / "CMakeLists.txt", HEAD + top + lists + code.replace("NAME", "echo"))
        build = ("cmake", "--build", configure(project, prefix), "--parallel", JOBS)
        run(*build)
        again = f"echo '// Again.' >>{shlex.quote(str(project / 'text.proto'))}"
        commands[name] = shell(again, "exec " + shlex.join(map(str, build)))
        output = run(*commands[name][1:])
        counts[name] = {
            "compilations": output.count("Building CXX object"),
            "links": output.count("Linking CXX"),
        }
    measured = in_turn(programs, runs, commands)
    return [{"function": f"`{name}`", **counts[name], **times(measured[name])} for name in WAYS]


def compilations(programs, work, prefix, runs, types):
    """Rows: RPC_FILES files, their RPC code compiled in each way: nothing else, as the
    messages are compiled by another target and the code is there already."""
    counts, commands = {}, {}
    names = [f"file{index}.proto" for index in range(RPC_FILES)]
    shared = ["shared.proto"] if types == "imported" else []
    for way in ("plain", "PRECOMPILE", "UNITY"):
        project = work / "compilations" / types / way
        for index, name in enumerate(names):
            write(project / name, rpc_proto(index, types))
        for name in shared:
            write(project / name, ['syntax = "proto3";\npackage bench.shared;\n', *messages()])
        write(
            project / "CMakeLists.txt",
            HEAD
            + FIND
            + f"set(protos {' '.join(names)})\n"
            + "add_library(messages STATIC)\n"
            + "qarn_rpc_generate(TARGET messages "
            + f"MESSAGES_ONLY_PROTOS ${{protos}} {' '.join(shared)})\n"
            + "add_library(rpc STATIC)\n"
            + 'target_include_directories(rpc PRIVATE "${RPC_RUNTIME_DIR}")\n'
            + "target_link_libraries(rpc PRIVATE messages)\n"
            + "qarn_rpc_generate(TARGET rpc PROTOS ${protos} PROTOC_OUT_DIR rpc NO_MESSAGES "
            + f"{'' if way == 'plain' else way})\n",
        )
        build = configure(project, prefix)
        helper = (build / "CMakeFiles" / "rpc_qarn_rpc.dir").is_dir()
        folder = "rpc_qarn_rpc" if helper else "rpc"
        # All that the compilations wait for.
        run("ninja", "-C", build, f"cmake_object_order_depends_target_{folder}")
        entries = json.loads((build / "compile_commands.json").read_text())
        objects = [shlex.split(entry["command"]) for entry in entries]
        objects = [command[command.index("-o") + 1] for command in objects]
        objects = [name for name in objects if name.startswith(f"CMakeFiles/{folder}.dir/")]
        counts[way] = len(objects)
        commands[way] = shell(
            f"cd {shlex.quote(str(build))}",
            shlex.join(["rm", "-f", *objects]),
            shlex.join(["exec", "ninja", f"-j{JOBS}", *objects]),
        )
    measured = in_turn(programs, runs, commands)
    plain = measured["plain"]
    return [
        {
            "way": f"`{way}`" if way.isupper() else way,
            "compilations": counts[way],
            **times(m),
            "wall ratio": round(m.wall / plain.wall, 2),
            "processor ratio": round(m.processor / plain.processor, 2),
        }
        for way, m in measured.items()
    ]


def configurations(programs, work, prefix, runs):
    """Rows: what configuring again takes, as after an edit of a CMakeLists.txt."""
    rows = []
    cmake = shutil.which("cmake")
    for shape, write_project in (
        (f"{FOLDERS} folders", write_folders),
        (f"{FILES:,} files", write_files),
    ):
        commands = {}
        for number, (name, (top, code)) in enumerate(CONFIGURED.items()):
            project = work / "configurations" / shape.split()[1] / str(number)
            write_project(project, HEAD + top, code)
            commands[name] = ("/dev/null", cmake, configure(project, prefix))
        measured = in_turn(programs, runs, commands)
        rows += [{"project": shape, "function": n, **times(m)} for n, m in measured.items()]
    return rows


def write_folders(project, top, code):
    """FOLDERS folders, each with a library of one file."""
    text = top
    for index in range(FOLDERS):
        folder = project / f"folder{index}"
        write(folder / f"file{index}.proto", TEXT_PROTO)
        lists = f"set(protos file{index}.proto)\nadd_library(library{index} STATIC)"
        write(folder / "CMakeLists.txt", lists + code.replace("NAME", f"library{index}"))
        text += f"add_subdirectory(folder{index})\n"
    write(project / "CMakeLists.txt", text)


def write_files(project, top, code):
    """One library of FILES files."""
    names = [f"file{index}.proto" for index in range(FILES)]
    for name in names:
        write(project / name, TEXT_PROTO)
    lists = f"set(protos {' '.join(names)})\nadd_library(library STATIC)"
    write(project / "CMakeLists.txt", top + lists + code.replace("NAME", "library"))


def goals(edited, compiled, configured):
    """The rows of the goals."""
    yield goal("compilations after a comment", edited[0]["compilations"], 0)
    for types, title in TYPES.items():
        ratios = {row["way"]: row for row in compiled[types]}
        for way, figure, limit in (
            ("`UNITY`", "processor", 0.25),
            ("`UNITY`", "wall", 0.5),
            ("`PRECOMPILE`", "processor", 0.5),
        ):
            ratio = ratios[way][f"{figure} ratio"]
            yield goal(f"{way} against plain, {title}: {figure} time", ratio, limit)
    seconds = {(row["project"], row["function"]): row["processor s"] for row in configured}
    ours, *peers = CONFIGURED
    for shape in dict.fromkeys(row["project"] for row in configured):
        for peer in peers:
            ratio = seconds[shape, ours] / seconds[shape, peer]
            yield goal(f"configuring {shape} against {peer}: processor time", ratio, 1.5)


def measure(build, work, runs):
    prefix = work / "prefix"
    run("cmake", "--install", build, "--prefix", prefix)
    load = os.getloadavg()[0]
    print("configuring ...", flush=True)
    configured = configurations(build, work, prefix, runs)
    print("a comment ...", flush=True)
    edited = edits(build, work, prefix, runs)
    compiled = {}
    for types, title in TYPES.items():
        print(f"compiling, {title} ...", flush=True)
        compiled[types] = compilations(build, work, prefix, runs, types)
    return {
        "how": how(
            ["g++", "protoc", "cmake", "ninja"],
            Runs=f"{runs} of each, with {JOBS} jobs; the figures are medians",
            Load=f"{load:.1f} other processes were running or waiting when it began",
        ),
        "comment": edited,
        "compiling, messages imported": compiled["imported"],
        "compiling, messages of its own": compiled["own"],
        "configuring": configured,
        "goals": list(goals(edited, compiled, configured)),
    }


if __name__ == "__main__":
    main(measure)
