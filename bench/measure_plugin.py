#!/usr/bin/env python3
"""Measures the plugin beside other programs: measure_plugin.py BUILD WORK FILE RUNS

BUILD is a build folder with the benchmarks, WORK a folder for inputs and outputs,
which is emptied, FILE the JSON file to write. RUNS is the number of cold starts; a
tenth as many runs are made of everything that takes longer. A program that is not
installed is left out. See scripts/bench.sh.
"""

import json
import os
import re
import shutil
import statistics
import sys

from make_inputs import GROWTH, WIDE_METHODS
from turns import BENCH, Measured, goal, how, in_turn, main, run

SETS = 10  # of copies of the programs, which share the cold starts
REPETITIONS = 5  # of the benchmarks inside the process
IN_PROCESS_METHODS = 4096  # what they are given, and cut

OURS, FLOOR, NOTHING = "protoc-gen-qarn-rpc", "floor_plugin", "do_nothing"
# What a start is measured of, and how the table names it.
STARTS = {
    OURS: "protoc-gen-qarn-rpc, static",
    "protoc-gen-qarn-rpc-any": "protoc-gen-qarn-rpc-any, static",
    "ours_static_pie": "protoc-gen-qarn-rpc, position-independent",
    "empty_plugin_static": "empty plugin, static",
    "empty_plugin_shared": "empty plugin, shared libraries",
    "protoc-gen-c": "protoc-gen-c",
    NOTHING: "a static program that does nothing",
}
# Whole pipelines: name, program, arguments. No method streams here, as not every
# peer has that.
PIPELINES = [
    ("protoc with protoc-gen-qarn-rpc", "protoc", "--plugin={bin}/protoc-gen-qarn-rpc",
     "-I{proto}", "-I{wide}", "--qarn-rpc_out={out}", "plain.proto"),
    # The bound: what protoc takes by itself, with a plugin of no cost.
    ("protoc with the floor plugin", "protoc", "--plugin=protoc-gen-floor={bin}/floor_plugin",
     "-I{proto}", "-I{wide}", "--floor_out={out}", "plain.proto"),
    ("protoc --cpp_out, generic services", "protoc",
     "-I{wide}", "--cpp_out={out}", "generic.proto"),
    ("protobuf-c", "protoc", "--plugin={bin}/protoc-gen-c",
     "-I{wide}", "--c_out={out}", "plain.proto"),
    ("thrift", "thrift", "--gen", "cpp", "-out", "{out}", "{wide}/wide.thrift"),
    ("Cap'n Proto", "capnp", "compile", "--src-prefix={wide}", "-oc++:{out}", "{wide}/wide.capnp"),
    ("slice2cpp", "slice2cpp", "--output-dir", "{out}", "{wide}/wide.ice"),
]  # fmt: skip


def copy_programs(build, folder):
    """Copies what is measured, as an installation does: {name: path}.

    A file that a linker has just written lies scattered in the page cache, which
    makes its start slower by a tenth.
    """
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    path = os.pathsep.join((str(build), str(build / "bench"), os.environ["PATH"]))
    found = {name: shutil.which(name, path=path) for name in (*STARTS, FLOOR)}
    return {name: shutil.copy(file, folder) for name, file in found.items() if file}


def request(work, shape, pattern="*.proto"):
    """The file with the request that protoc makes of the files of a shape."""
    folder = work / "in" / shape
    path = work / f"{shape}.{pattern.strip('*')}.request"
    run(
        *("protoc", f"--plugin=protoc-gen-save={BENCH / 'save_request.sh'}"),
        *(f"-I{BENCH.parent / 'proto'}", f"-I{folder}", f"--save_out={work}"),
        *sorted(file.name for file in folder.glob(pattern)),
        env={**os.environ, "QARN_RPC_REQUEST": str(path)},
    )
    return path


def output_sizes(work, shape, pattern="*.proto"):
    """What the floor plugin writes in the place of ours for these files."""
    folder, out = work / "in" / shape, work / f"sizes_{shape}"
    out.mkdir()
    run(
        *("protoc", f"--plugin={work / 'bin' / OURS}", f"--qarn-rpc_out={out}"),
        *(f"-I{BENCH.parent / 'proto'}", f"-I{folder}"),
        *sorted(file.name for file in folder.glob(pattern)),
    )

    def mean_size(suffix):
        return str(int(statistics.mean(f.stat().st_size for f in out.glob(f"*{suffix}"))))

    return {
        "QARN_RPC_HEADER_BYTES": mean_size(".rpc.h"),
        "QARN_RPC_SOURCE_BYTES": mean_size(".rpc.cpp"),
    }


def cold_starts(build, work, runs):
    """{name: Measured}, each the medians of those of several sets of copies: where a
    copy lies in memory makes up to two per cent of its start."""
    given = request(work, "cold")
    sets = min(runs, SETS)
    results = []
    for number in range(sets):
        programs = copy_programs(build, work / "bin")
        commands = {name: (given, programs[name]) for name in STARTS if name in programs}
        some = runs // sets + (number < runs % sets)
        results.append(in_turn(build, some, commands, seed=number))

    def combined(measured):
        times = Measured(*map(statistics.median, zip(*measured)))
        return times._replace(memory=max(m.memory for m in measured))

    return {name: combined([result[name] for result in results]) for name in results[0]}


def pipelines(build, work, runs):
    """{name: Measured}, and the size of what each wrote: {name: bytes}."""
    commands, out = {}, {}
    for name, tool, *arguments in PIPELINES:
        if shutil.which(tool) and (name != "protobuf-c" or shutil.which("protoc-gen-c")):
            out[name] = work / f"out_{len(out)}"
            out[name].mkdir()
            places = {
                "bin": work / "bin",
                "wide": work / "in" / "wide",
                "proto": BENCH.parent / "proto",
                "out": out[name],
            }
            arguments = (argument.format(**places) for argument in arguments)
            commands[name] = ("/dev/null", shutil.which(tool), *arguments)
    results = in_turn(build, runs, commands, **output_sizes(work, "wide", "plain.proto"))
    return results, {
        name: sum(file.stat().st_size for file in out[name].rglob("*.*")) for name in out
    }


def natural(row):
    """Sorts BM_Generate/4 between BM_Generate/1 and BM_Generate/16."""
    parts = re.split(r"(\d+)", row["benchmark"])
    return [int(part) if part.isdigit() else part for part in parts]


def in_process(build, work):
    """The rows of the benchmarks inside the process."""
    given = request(work, "growth", f"growth{IN_PROCESS_METHODS}.proto")
    output = run(
        *(build / "bench" / "benchmarks", "--benchmark_format=json"),
        f"--benchmark_repetitions={REPETITIONS}",
        "--benchmark_enable_random_interleaving=true",
        env={**os.environ, "QARN_RPC_REQUEST": str(given)},
    )
    rows = []
    for entry in json.loads(output)["benchmarks"]:
        if entry.get("aggregate_name") == "median":
            rows.append({"benchmark": entry["run_name"], "processor ns": round(entry["cpu_time"])})
            if "bytes_per_second" in entry:
                rows[-1]["MB/s"] = round(entry["bytes_per_second"] / 1e6, 1)
    return sorted(rows, key=natural)


def instructions(build):
    """The instructions of the generator for a method, by version; empty where they
    are not counted. Ends the script when there are over 3 % more than recorded."""
    output = run("ctest", "--test-dir", build, "-L", "instructions", "-V")
    counted = re.search(r"instructions: (\d+) for (\d+) methods", output)
    if not counted:
        return {}
    count, methods = map(int, counted.groups())
    lines = (BENCH / "instructions.txt").read_text().splitlines()
    recorded = dict(line.split(": ", 1) for line in lines)
    return {
        "Now": count // methods,
        "First version": int(recorded.get("first version", 0)) // methods,
        "Toolchain": recorded["toolchain"],
    }


def ms(microseconds):
    return round(microseconds / 1000, 2)


def usual_row(name, m):
    return {
        "program": name,
        "wall ms": ms(m.wall),
        "processor ms": ms(m.processor),
        "peak memory KiB": round(m.memory),
    }


def growth_row(methods, m):
    return {
        "methods": methods,
        "processor ms": ms(m.processor),
        "of it in the kernel": ms(m.kernel),
        "µs a method": round(m.processor / methods, 1),
        "peak memory KiB": round(m.memory),
        "KiB a method": round(m.memory / methods, 1),
    }


def pipeline_row(name, m, size):
    return {
        "pipeline": name,
        "wall ms": ms(m.wall),
        "processor ms": ms(m.processor),
        "output bytes": size,
        "wall ns a byte": round(m.wall / size * 1000, 2),
        "processor ns a byte": round(m.processor / size * 1000, 2),
    }


def goals(cold, many, growth, ns_a_byte, speed, counted):
    """The rows of the goals, of those that could be measured."""
    for name, limit in (
        ("empty_plugin_static", 1.0),
        ("empty_plugin_shared", 0.28),
        ("protoc-gen-c", 0.25),
        (NOTHING, 1.75),
    ):
        if name in cold:
            bound = {"at best": round(cold[NOTHING].wall / cold[name].wall, 2)}
            ratio = cold[OURS].wall / cold[name].wall
            yield goal(f"a start, against {STARTS[name]}", ratio, limit, **bound)
    for what, get, limit in (
        ("processor time", lambda m: m.processor, 1.5),
        ("peak memory", lambda m: m.memory, 1.05),
    ):
        ratio = get(many[OURS]) / get(many[FLOOR])
        yield goal(f"1,000 files, against the floor plugin: {what}", ratio, limit)
    if "BM_LibprotocGenerate" in speed:
        ratio = speed[f"BM_Generate/{WIDE_METHODS}"] / speed["BM_LibprotocGenerate"]
        yield goal("MB/s in process, against libprotoc's C++ generator", ratio, 1.5, at_least=True)
    if counted.get("First version"):
        ratio = counted["Now"] / counted["First version"]
        yield goal("instructions, against the first version", ratio, 0.6)
    small, large = min(growth), max(growth)
    for what, get in (("time", lambda m: m.processor), ("memory", lambda m: m.memory)):
        ratio = get(growth[large]) / large / (get(growth[small]) / small)
        yield goal(f"{what} a method at {large:,} methods, against {small:,}", ratio, 1.2)
    (_, ours), (_, floor), *peers = ns_a_byte.items()
    for name, peer in peers:
        bound = {"at best": round(floor / peer, 2)}
        yield goal(f"time for an output byte, against {name}", ours / peer, 1.0, **bound)


def measure(build, work, runs):
    run(sys.executable, BENCH / "make_inputs.py", work / "in", *GROWTH, IN_PROCESS_METHODS)
    long_runs = max(1, runs // 10)
    print("instructions ...", flush=True)
    counted = instructions(build)
    print("cold starts ...", flush=True)
    cold = cold_starts(build, work, runs)
    print("many files ...", flush=True)
    given = request(work, "many")
    commands = {name: (given, work / "bin" / name) for name in (OURS, FLOOR)}
    many = in_turn(build, long_runs, commands, **output_sizes(work, "many"))
    print("whole pipelines ...", flush=True)
    whole, sizes = pipelines(build, work, long_runs)
    print("growth ...", flush=True)
    requests = {n: request(work, "growth", f"growth{n}.proto") for n in GROWTH}
    commands = {str(n): (given, work / "bin" / OURS) for n, given in requests.items()}
    growth = {int(n): m for n, m in in_turn(build, long_runs, commands).items()}
    print("inside the process ...", flush=True)
    benchmarks = in_process(build, work)

    speed = {row["benchmark"]: row.get("MB/s") for row in benchmarks}
    ns_a_byte = {name: m.wall / sizes[name] for name, m in whole.items()}
    return {
        "how": how(
            ["g++", "protoc"],
            Runs=f"{runs} starts of each program, over {min(runs, SETS)} sets of copies of the "
            f"programs; {long_runs} of what takes longer; in the process the medians of "
            f"{REPETITIONS} repetitions",
            Program=f"{(build / OURS).stat().st_size / 1e6:.1f} MB, with its symbols",
        ),
        "start": [usual_row(STARTS[name], m) for name, m in cold.items()],
        "growth": [growth_row(methods, m) for methods, m in growth.items()],
        "many files": [usual_row(name, m) for name, m in many.items()],
        "pipelines": [pipeline_row(name, m, sizes[name]) for name, m in whole.items()],
        "in process": benchmarks,
        "instructions": counted,
        "goals": list(goals(cold, many, growth, ns_a_byte, speed, counted)),
    }


if __name__ == "__main__":
    main(measure)
