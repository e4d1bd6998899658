#!/usr/bin/env python3
"""Measures what users' builds take: builds.py PREFIX WORK FILE RUNS

PREFIX is where the plugin is installed, WORK a folder for projects and their
builds, FILE the JSON file to write, which report_builds.py makes the page of.
RUNS is how often each build and each configure step is measured. All projects are
built by CMake with Ninja; the peer is protobuf_generate(), of CMake's own module.
See scripts/bench.sh.
"""

import datetime
import json
import os
import pathlib
import resource
import shlex
import shutil
import statistics
import sys
import time

from make_inputs import KINDS
from measure import BENCH, machine, run, tool_version

ROOT = BENCH.parent
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


def write(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text, encoding="utf-8")


def timed(*command):
    """Runs a command; returns its output, and its wall and processor time in
    seconds, with those of all that it started."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.monotonic()
    output = run(*command)
    wall = time.monotonic() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    processor = after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime
    return output, {"wall": wall, "processor": processor}


def median(measured):
    """The median of each figure of several measurements."""
    return {name: statistics.median(m[name] for m in measured) for name in measured[0]}


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


class Builds:
    def __init__(self, prefix, work, runs):
        self.prefix, self.work, self.runs = prefix, work, runs
        shutil.rmtree(work, ignore_errors=True)

    def configure(self, project, *arguments):
        """The command that configures `project` in its folder `build`."""
        return (
            *("cmake", "-G", "Ninja", "-S", project, "-B", project / "build"),
            f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DRPC_RUNTIME_DIR={ROOT / 'examples' / 'runtime'}",
            "-DCMAKE_BUILD_TYPE=Debug",
            "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON",
            # No cache answers in the compiler's place.
            "-DCMAKE_CXX_COMPILER_LAUNCHER=",
            *arguments,
        )

    # What is measured.

    def edits(self):
        """A program of two .proto files with services, built again after a comment
        was added to the file that the other one imports."""
        result = {}
        for name, (top, code) in {"qarn_rpc_generate": OURS, "protobuf_generate": PEER}.items():
            project = self.work / "edits" / name
            write(project / "text.proto", TEXT_PROTO)
            write(project / "echo.proto", ECHO_PROTO)
            write(project / "main.cc", MAIN)
            write(
                project / "CMakeLists.txt",
                HEAD
                + top
                + "set(protos text.proto echo.proto)\nadd_executable(echo main.cc)"
                + code.replace("NAME", "echo"),
            )
            run(*self.configure(project))
            build = ("cmake", "--build", project / "build", "--parallel", JOBS)
            run(*build)
            measured = []
            for index in range(self.runs):
                with open(project / "text.proto", "a", encoding="utf-8") as file:
                    file.write(f"// Comment {index}.\n")
                output, times = timed(*build)
                times["compilations"] = output.count("Building CXX object")
                times["links"] = output.count("Linking CXX")
                measured.append(times)
            result[name] = median(measured)
        return result

    def compilations(self, types):
        """RPC_FILES files, their RPC code compiled in each way: nothing else, as the
        messages are compiled by another target and the code is there already."""
        result = {}
        projects = {}
        for way in ("plain", "PRECOMPILE", "UNITY"):
            project = projects[way] = self.work / "compilations" / types / way
            names = [f"file{index}.proto" for index in range(RPC_FILES)]
            for index, name in enumerate(names):
                write(project / name, "".join(rpc_proto(index, types)))
            shared = ["shared.proto"] if types == "imported" else []
            for name in shared:
                write(
                    project / name,
                    'syntax = "proto3";\npackage bench.shared;\n' + "".join(messages()),
                )
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
            run(*self.configure(project))
            result[way] = []
        for _ in range(self.runs):
            for way, project in projects.items():
                result[way].append(self.compile_rpc_files(project / "build"))
        return {way: median(measured) for way, measured in result.items()}

    def compile_rpc_files(self, build):
        """Compiles the RPC files of the target `rpc` from nothing."""
        run("cmake", "--build", build, "--target", "clean")
        helper = (build / "CMakeFiles" / "rpc_qarn_rpc.dir").is_dir()
        folder = "rpc_qarn_rpc" if helper else "rpc"
        # All that the compilations wait for.
        run("ninja", "-C", build, f"cmake_object_order_depends_target_{folder}")
        commands = json.loads((build / "compile_commands.json").read_text())
        objects = [shlex.split(entry["command"]) for entry in commands]
        objects = [command[command.index("-o") + 1] for command in objects]
        objects = [name for name in objects if name.startswith(f"CMakeFiles/{folder}.dir/")]
        output, times = timed("ninja", "-C", build, f"-j{JOBS}", *objects)
        times["compilations"] = output.count("Building CXX object")
        return times

    def configurations(self):
        """What configuring again takes, as after an edit of a CMakeLists.txt."""
        ways = {
            "qarn_rpc_generate": OURS,
            "protobuf_generate": PEER,
            "protobuf_generate, messages alone": PEER_MESSAGES,
        }
        result = {}
        for shape, write_project in (
            (f"{FOLDERS} folders", self.write_folders),
            (f"{FILES:,} files", self.write_files),
        ):
            result[shape] = {name: [] for name in ways}
            projects = {}
            for number, (name, (top, code)) in enumerate(ways.items()):
                projects[name] = self.work / "configurations" / shape.split()[1] / str(number)
                write_project(projects[name], HEAD + top, code)
                run(*self.configure(projects[name]))
            for _ in range(self.runs):
                for name, project in projects.items():
                    result[shape][name].append(timed("cmake", project / "build")[1])
            result[shape] = {name: median(m) for name, m in result[shape].items()}
        return result

    def write_folders(self, project, top, code):
        """FOLDERS folders, each with a library of one file."""
        text = top
        for index in range(FOLDERS):
            folder = project / f"folder{index}"
            write(folder / f"file{index}.proto", TEXT_PROTO)
            write(
                folder / "CMakeLists.txt",
                f"set(protos file{index}.proto)\nadd_library(library{index} STATIC)"
                + code.replace("NAME", f"library{index}"),
            )
            text += f"add_subdirectory(folder{index})\n"
        write(project / "CMakeLists.txt", text)

    def write_files(self, project, top, code):
        """One library of FILES files."""
        names = [f"file{index}.proto" for index in range(FILES)]
        for name in names:
            write(project / name, TEXT_PROTO)
        text = f"set(protos {' '.join(names)})\nadd_library(library STATIC)"
        write(project / "CMakeLists.txt", top + text + code.replace("NAME", "library"))


def measure(builds):
    """All that report_builds.py needs, ready to be written as JSON."""
    measured = {
        "date": datetime.date.today().isoformat(),
        "machine": machine(),
        "tools": [tool_version(tool, "--version") for tool in ("g++", "protoc", "cmake")]
        + ["ninja " + tool_version("ninja", "--version")],
        "runs": builds.runs,
        "jobs": JOBS,
        "files": RPC_FILES,
        "methods": METHODS,
        "load_before": round(os.getloadavg()[0], 1),
    }
    print("configuring ...", flush=True)
    measured["configurations"] = builds.configurations()
    print("a neutral edit ...", flush=True)
    measured["edits"] = builds.edits()
    for types in ("imported", "own"):
        print(f"compiling, messages {types} ...", flush=True)
        measured[types] = builds.compilations(types)
    return measured


def main():
    if len(sys.argv) != 5 or not sys.argv[4].isdigit() or int(sys.argv[4]) < 1:
        sys.exit("usage: builds.py PREFIX WORK FILE RUNS, with at least one run")
    prefix, work, file = (pathlib.Path(a).resolve() for a in sys.argv[1:4])
    measured = measure(Builds(prefix, work, int(sys.argv[4])))
    file.write_text(json.dumps(measured, indent=1) + "\n")


if __name__ == "__main__":
    main()
