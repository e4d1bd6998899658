#!/usr/bin/env python3
"""Runs all measurements: measure.py BUILD WORK FILE RUNS

BUILD is a build folder with the benchmarks, WORK a folder for inputs and
outputs, FILE the JSON file to write, which report.py makes the page of. RUNS is
the number of cold runs; a tenth as many runs are made of everything that takes
longer. A peer that is not installed is left out. See scripts/bench.sh.
"""

import dataclasses
import datetime
import json
import os
import pathlib
import platform
import re
import shutil
import statistics
import subprocess
import sys

from make_inputs import GROWTH

BENCH = pathlib.Path(__file__).resolve().parent
COPIES = 10  # of the programs, that share the cold runs
REPETITIONS = 5  # of the benchmarks inside the process


def run(*command, **options):
    """Runs a command; a failure ends the script with the command's output."""
    result = subprocess.run(
        [str(part) for part in command],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
        **options,
    )
    if result.returncode != 0:
        sys.exit(f"failed: {' '.join(map(str, command))}\n{result.stderr}")
    return result.stdout


@dataclasses.dataclass
class Measurement:
    # Medians of the runs, in microseconds.
    wall: float
    processor: float
    kernel: float  # the part of the processor time in the kernel
    memory: float  # the largest peak, KiB


class Bench:
    def __init__(self, build, work, runs):
        self.work = work
        self.programs = work / "bin"
        self.long_runs = max(1, runs // 10)
        self.runs = runs
        shutil.rmtree(work, ignore_errors=True)
        self.build = build
        self.copy_programs()
        run(sys.executable, BENCH / "make_inputs.py", work / "in", *GROWTH)

    def copy_programs(self):
        """Copies what is measured, as an installation does.

        A file that a linker has just written lies scattered in the page cache,
        which makes its start slower by a tenth.
        """
        shutil.rmtree(self.programs, ignore_errors=True)
        self.programs.mkdir(parents=True)
        for name in ("protoc-gen-qarn-rpc", "protoc-gen-qarn-rpc-any"):
            shutil.copy(self.build / name, self.programs)
        for name in (
            "empty_plugin_static",
            "empty_plugin_shared",
            "floor_plugin",
            "do_nothing",
            "run_in_turn",
            "benchmarks",
            "ours_static_pie",
        ):
            path = self.build / "bench" / name
            # The last one is built with QARN_RPC_STATIC only.
            if path.exists():
                shutil.copy(path, self.programs)
        peer = shutil.which("protoc-gen-c")
        if peer:
            shutil.copy(peer, self.programs)

    def program(self, name):
        return self.programs / name

    def request(self, shape, pattern="*.proto"):
        """The request that protoc makes of the files of a shape."""
        folder = self.work / "in" / shape
        path = self.work / f"{shape}.{pattern.strip('*')}.request"
        files = sorted(file.name for file in folder.glob(pattern))
        run(
            "protoc",
            f"--plugin=protoc-gen-save={BENCH / 'save_request.sh'}",
            f"-I{BENCH.parent / 'proto'}",
            f"-I{folder}",
            f"--save_out={self.work}",
            *files,
            env={**os.environ, "QARN_RPC_REQUEST": str(path)},
        )
        return path

    def in_turn(self, runs, commands, seed=0, **environment):
        """Measures {name: (input file, command...)}; commands take turns.

        The order of each round follows from `seed`.
        """
        path = self.work / "commands"
        path.write_text(
            "".join(
                "\t".join(map(str, (name, *command))) + "\n" for name, command in commands.items()
            )
        )
        output = run(
            self.program("run_in_turn"),
            runs,
            seed,
            path,
            env={**os.environ, **environment},
        )
        results = {}
        for line in output.splitlines():
            name, *figures = line.split("\t")
            results[name] = Measurement(*map(float, figures))
        return results

    def output_sizes(self, files):
        """What the floor plugin writes in the place of ours for these files."""
        files = sorted(files)
        out = self.work / "sizes"
        shutil.rmtree(out, ignore_errors=True)
        out.mkdir()
        run(
            "protoc",
            f"--plugin=protoc-gen-qarn-rpc={self.program('protoc-gen-qarn-rpc')}",
            f"-I{BENCH.parent / 'proto'}",
            f"-I{files[0].parent}",
            f"--qarn-rpc_out={out}",
            *(file.name for file in files),
        )

        def mean_size(suffix):
            sizes = [file.stat().st_size for file in out.glob(f"*.{suffix}")]
            return str(sum(sizes) // len(sizes))

        return {
            "QARN_RPC_HEADER_BYTES": mean_size("rpc.h"),
            "QARN_RPC_SOURCE_BYTES": mean_size("rpc.cpp"),
        }

    # What is measured.

    def cold(self):
        request = self.request("cold")
        names = [
            "protoc-gen-qarn-rpc",
            "protoc-gen-qarn-rpc-any",
            "ours_static_pie",
            "empty_plugin_static",
            "empty_plugin_shared",
            "protoc-gen-c",
            "do_nothing",
        ]
        # Where a copy lies in memory makes up to two per cent of its start.
        copies = min(self.runs, COPIES)
        results = []
        for copy in range(copies):
            self.copy_programs()
            results.append(
                self.in_turn(
                    self.runs // copies + (copy < self.runs % copies),
                    {
                        name: (request, self.program(name))
                        for name in names
                        if self.program(name).exists()
                    },
                    seed=copy,
                )
            )

        def combined(name, field, combine):
            return combine(getattr(result[name], field) for result in results)

        return {
            name: Measurement(
                combined(name, "wall", statistics.median),
                combined(name, "processor", statistics.median),
                combined(name, "kernel", statistics.median),
                combined(name, "memory", max),
            )
            for name in results[0]
        }

    def many(self):
        request = self.request("many")
        sizes = self.output_sizes((self.work / "in" / "many").glob("*.proto"))
        return self.in_turn(
            self.long_runs,
            {
                name: (request, self.program(name))
                for name in ("protoc-gen-qarn-rpc", "floor_plugin")
            },
            **sizes,
        )

    def in_process(self):
        output = run(
            self.program("benchmarks"),
            "--benchmark_format=json",
            f"--benchmark_repetitions={REPETITIONS}",
            "--benchmark_enable_random_interleaving=true",
        )
        return [
            entry
            for entry in json.loads(output)["benchmarks"]
            if entry.get("aggregate_name") in ("median", "BigO", "RMS")
        ]

    def instructions(self):
        """The instructions of Generate and the methods that they are for, or None
        where they are not counted.

        Ends the script when they are over 3 % more than the recorded ones.
        """
        output = run("ctest", "--test-dir", self.build, "-L", "instructions", "-V")
        counted = re.search(r"instructions: (\d+) for (\d+) methods", output)
        return tuple(map(int, counted.groups())) if counted else None

    def pipelines(self):
        """Whole runs over 1,000 methods: {name: measurement}, and the size of what
        each wrote: {name: bytes}."""
        # All get the same methods, so ours do without streaming kinds here.
        folder = self.work / "in" / "wide"
        plugin = self.program("protoc-gen-qarn-rpc")
        out = {}

        def command(name, tool, *arguments):
            if shutil.which(tool):
                out[name] = self.work / f"out_{len(out)}"
                out[name].mkdir()
                commands[name] = ("/dev/null", shutil.which(tool)) + tuple(
                    str(a).replace("@OUT@", str(out[name])) for a in arguments
                )

        commands = {}
        command(
            "protoc with protoc-gen-qarn-rpc",
            "protoc",
            f"--plugin=protoc-gen-qarn-rpc={plugin}",
            f"-I{BENCH.parent / 'proto'}",
            f"-I{folder}",
            "--qarn-rpc_out=@OUT@",
            "plain.proto",
        )
        # The bound: what protoc takes by itself, with a plugin of no cost.
        sizes = self.output_sizes([folder / "plain.proto"])
        command(
            "protoc with the floor plugin",
            "protoc",
            f"--plugin=protoc-gen-floor={self.program('floor_plugin')}",
            f"-I{BENCH.parent / 'proto'}",
            f"-I{folder}",
            "--floor_out=@OUT@",
            "plain.proto",
        )
        command(
            "protoc --cpp_out, generic services",
            "protoc",
            f"-I{folder}",
            "--cpp_out=@OUT@",
            "generic.proto",
        )
        if shutil.which("protoc-gen-c"):
            command("protobuf-c", "protoc", f"-I{folder}", "--c_out=@OUT@", "plain.proto")
        command("thrift", "thrift", "--gen", "cpp", "-out", "@OUT@", folder / "wide.thrift")
        command(
            "Cap'n Proto",
            "capnp",
            "compile",
            f"--src-prefix={folder}",
            "-oc++:@OUT@",
            folder / "wide.capnp",
        )
        command("slice2cpp", "slice2cpp", "--output-dir", "@OUT@", folder / "wide.ice")
        results = self.in_turn(self.long_runs, commands, **sizes)
        return results, {
            name: sum(f.stat().st_size for f in out[name].rglob("*.*")) for name in results
        }

    def growth(self):
        return self.in_turn(
            self.long_runs,
            {
                str(methods): (
                    self.request("growth", f"growth{methods}.proto"),
                    self.program("protoc-gen-qarn-rpc"),
                )
                for methods in GROWTH
            },
        )


def machine():
    model = "unknown processor"
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            model = line.split(":", 1)[1].strip()
            break
    release = pathlib.Path("/etc/os-release")
    named = release.is_file() and re.search(r'^PRETTY_NAME="?([^"\n]+)', release.read_text(), re.M)
    system = named.group(1) if named else "Linux"
    return f"{model}, {os.cpu_count()} processors, {system}, Linux {platform.release()}"


def tool_version(*command):
    return run(*command).splitlines()[0].strip()


def recorded_instructions():
    """The figures of bench/instructions.txt, by name."""
    lines = (BENCH / "instructions.txt").read_text().splitlines()
    return dict(line.split(": ", 1) for line in lines)


def measure(bench):
    """All that report.py needs, ready to be written as JSON."""
    measured = {
        "date": datetime.date.today().isoformat(),
        "machine": machine(),
        "tools": [tool_version("g++", "--version"), tool_version("protoc", "--version")],
        "runs": bench.runs,
        "long_runs": bench.long_runs,
        "copies": min(bench.runs, COPIES),
        "repetitions": REPETITIONS,
        "recorded_instructions": recorded_instructions(),
        "program_bytes": bench.program("protoc-gen-qarn-rpc").stat().st_size,
    }
    print("instructions ...", flush=True)
    measured["instructions"] = bench.instructions()
    print("cold starts ...", flush=True)
    measured["cold"] = bench.cold()
    print("many files ...", flush=True)
    measured["many"] = bench.many()
    print("whole pipelines ...", flush=True)
    measured["pipelines"], measured["pipeline_bytes"] = bench.pipelines()
    print("growth ...", flush=True)
    measured["growth"] = bench.growth()
    print("inside the process ...", flush=True)
    measured["benchmarks"] = bench.in_process()
    return measured


def main():
    if len(sys.argv) != 5 or not sys.argv[4].isdigit() or int(sys.argv[4]) < 1:
        sys.exit("usage: measure.py BUILD WORK FILE RUNS, with at least one run")
    build, work, file = (pathlib.Path(a).resolve() for a in sys.argv[1:4])
    measured = measure(Bench(build, work, int(sys.argv[4])))
    file.write_text(json.dumps(measured, default=dataclasses.asdict, indent=1) + "\n")


if __name__ == "__main__":
    main()
