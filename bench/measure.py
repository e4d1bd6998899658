#!/usr/bin/env python3
"""Runs all measurements and writes the report: measure.py BUILD WORK DOCS RUNS

BUILD is a build folder with the benchmarks, WORK a folder for inputs and
outputs, DOCS where performance.md and growth.svg go. RUNS is the number of cold
runs; a tenth as many runs are made of everything that takes longer. A peer that
is not installed is reported as not measured. See scripts/bench.sh.
"""

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

BENCH = pathlib.Path(__file__).resolve().parent
GROWTH = [2000, 20000, 200000]
WIDE_METHODS = 1000
COPIES = 10  # of the programs, that share the cold runs
PEERS = [
    "protoc --cpp_out, generic services",
    "protobuf-c",
    "thrift",
    "Cap'n Proto",
    "slice2cpp",
]
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


class Measurement:
    def __init__(self, wall, processor, kernel, memory):
        # Medians of the runs, in microseconds.
        self.wall = wall
        self.processor = processor
        self.kernel = kernel  # the part of the processor time in the kernel
        self.memory = memory  # the largest peak, KiB


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
        shutil.copy(self.build / "protoc-gen-qarn-rpc", self.programs)
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
                "\t".join(map(str, (name, *command))) + "\n"
                for name, command in commands.items()
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

    def bulk(self):
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
        return json.loads(output)["benchmarks"]

    def instructions(self):
        """The instructions of Generate, or None where they are not counted.

        Ends the script when they are over 3 % more than the recorded ones.
        """
        output = run("ctest", "--test-dir", self.build, "-L", "instructions", "-V")
        counted = re.search(r"instructions: (\d+) for (\d+) methods", output)
        return tuple(map(int, counted.groups())) if counted else None

    def pipeline(self):
        """Whole runs over 1,000 methods: {name: (measurement, bytes)}."""
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
            command(
                "protobuf-c", "protoc", f"-I{folder}", "--c_out=@OUT@", "plain.proto"
            )
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
        return {
            name: (result, sum(f.stat().st_size for f in out[name].rglob("*.*")))
            for name, result in results.items()
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


# The report.


def environment():
    """What the figures depend on, for the head of the report."""
    yield f"- Date: {datetime.date.today().isoformat()}"
    yield f"- Machine: {machine()}"
    yield f"- Tools: {tool_version('g++', '--version')}; {tool_version('protoc', '--version')}"


def machine():
    model = "unknown processor"
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            model = line.split(":", 1)[1].strip()
            break
    system = platform.freedesktop_os_release().get("PRETTY_NAME", "Linux")
    return f"{model}, {os.cpu_count()} processors, {system}, Linux {platform.release()}"


def tool_version(*command):
    return run(*command).splitlines()[0].strip()


def table(header, rows):
    yield "| " + " | ".join(header) + " |"
    yield "|" + "---|" * len(header)
    for row in rows:
        yield "| " + " | ".join(row) + " |"
    yield ""


def against(rows):
    """Rows of (what, ratio or None, goal, True if a goal is a minimum)."""
    for what, ratio, goal, at_least in rows:
        sign = "at least" if at_least else "at most"
        if ratio is None:
            yield what, "not measured", f"{sign} {goal:.2f}", ""
            continue
        # As the table shows it.
        ratio = round(ratio, 2)
        reached = ratio >= goal if at_least else ratio <= goal
        yield what, f"{ratio:.2f}", f"{sign} {goal:.2f}", "yes" if reached else "no"


def recorded_instructions():
    """The figures of bench/instructions.txt, by name."""
    lines = (BENCH / "instructions.txt").read_text().splitlines()
    return dict(line.split(": ", 1) for line in lines)


def growth_svg(results):
    """Time and memory for each method, over the number of methods (log)."""
    width, height, left, bottom = 560, 300, 60, 50
    time = [results[str(n)].processor / n for n in GROWTH]
    memory = [results[str(n)].memory / n for n in GROWTH]
    top = max(time + memory) * 1.15
    step = (width - left - 40) / (len(GROWTH) - 1)

    def x(index):
        return left + 10 + index * step

    def y(value):
        return height - bottom - value / top * (height - bottom - 20)

    lines = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
        'font-family="sans-serif" font-size="12">',
        f'<rect width="{width}" height="{height}" fill="white"/>',
        f'<path d="M{left} 20V{height - bottom}H{width - 20}" fill="none" stroke="black"/>',
    ]
    for part in range(5):
        value = top * part / 4
        lines.append(
            f'<text x="{left - 6}" y="{y(value) + 4:.1f}" text-anchor="end">'
            f"{value:.1f}</text>"
        )
    for index, methods in enumerate(GROWTH):
        lines.append(
            f'<text x="{x(index):.1f}" y="{height - bottom + 18}" '
            f'text-anchor="middle">{methods:,}</text>'
        )
    lines.append(
        f'<text x="{width / 2}" y="{height - 10}" text-anchor="middle">methods of the service</text>'
    )
    for name, values, colour in (
        ("processor time a method, µs", time, "#1f5fbf"),
        ("peak memory a method, KiB", memory, "#bf5f1f"),
    ):
        points = " ".join(f"{x(i):.1f},{y(v):.1f}" for i, v in enumerate(values))
        lines.append(
            f'<polyline points="{points}" fill="none" stroke="{colour}" stroke-width="2"/>'
        )
        lines.append(
            f'<text x="{x(0):.1f}" y="{y(values[0]) - 8:.1f}" fill="{colour}">{name}</text>'
        )
    return "\n".join(lines + ["</svg>", ""])


def milliseconds(microseconds):
    return f"{microseconds / 1000:.2f}"


def report(bench, head, cold, bulk, benchmarks, counted, pipeline, growth):
    ours = cold["protoc-gen-qarn-rpc"]

    def start(name):
        return ours.wall / cold[name].wall if name in cold else None

    speed = {
        b["run_name"]: b.get("bytes_per_second", 0.0)
        for b in benchmarks
        if b.get("aggregate_name") == "median"
    }
    per_byte = {name: r.wall / size for name, (r, size) in pipeline.items()}
    first = next(iter(per_byte))
    recorded = recorded_instructions()
    first_version = int(recorded.get("first version", 0))
    small, large = GROWTH[0], GROWTH[-1]

    def growth_ratio(get):
        return (get(growth[str(large)]) / large) / (get(growth[str(small)]) / small)

    plugin, floor = bulk["protoc-gen-qarn-rpc"], bulk["floor_plugin"]
    yield "# Performance"
    yield ""
    yield "Written by `scripts/bench.sh`; run it again rather than edit this file."
    yield ""
    yield from head
    yield (
        f"- Runs: {bench.runs} cold, over {min(bench.runs, COPIES)} sets of copies of the "
        f"programs; {bench.long_runs} of the longer ones. The programs compared take turns, "
        "in an order of its own for each round. Times are medians, of the cold starts the "
        "median of each set's; memory is the largest peak. In the process: the medians of "
        f"{REPETITIONS} repetitions of Google Benchmark"
    )
    yield ""
    yield "## Against the goals"
    yield ""
    goals = [
        ("cold start against the empty plugin, static: wall time",
         start("empty_plugin_static"), 1.00, False),
        ("cold start against the empty plugin, shared libraries",
         start("empty_plugin_shared"), 0.28, False),
        ("cold start against protoc-gen-c", start("protoc-gen-c"), 0.25, False),
        ("cold start against a static program that does nothing",
         start("do_nothing"), 1.75, False),
        ("1,000 files against the floor plugin: processor time",
         plugin.processor / floor.processor, 1.5, False),
        ("1,000 files against the floor plugin: peak memory",
         plugin.memory / floor.memory, 1.05, False),
        ("bytes a second in process against libprotoc's C++ generator",
         speed[f"BM_Generate/{WIDE_METHODS}"] / speed["BM_LibprotocGenerate"], 1.5, True),
        ("instructions against the first version",
         counted[0] / first_version if counted and first_version else None, 0.6, False),
        (f"time a method at {large:,} methods against {small:,}",
         growth_ratio(lambda m: m.processor), 1.2, False),
        (f"memory a method at {large:,} methods against {small:,}",
         growth_ratio(lambda m: m.memory), 1.2, False),
    ]  # fmt: skip
    for name in PEERS:
        ratio = per_byte[first] / per_byte[name] if name in per_byte else None
        goals.append((f"time for an output byte against {name}", ratio, 1.0, False))
    yield from table(["measure", "ratio", "goal", "reached"], against(goals))
    yield (
        "The empty plugin is protobuf's plugin framework with a generator that "
        "writes nothing; the floor plugin writes as many bytes as ours without "
        "making them up. The first version is the one before any of it was tuned."
    )
    yield ""
    yield "What the ratios have to be seen against, on this machine:"
    yield ""
    for name in ("empty_plugin_shared", "protoc-gen-c"):
        if name in cold:
            share = cold["do_nothing"].wall / cold[name].wall
            yield (
                f"- A static program that does nothing takes {share:.2f} of the start of "
                f"`{name}`: all that a plugin does comes on top of that."
            )
    floor_per_byte = per_byte["protoc with the floor plugin"]
    for name in ("protoc --cpp_out, generic services", "thrift", "Cap'n Proto"):
        if name in per_byte:
            share = floor_per_byte / per_byte[name]
            yield (
                f"- protoc with the floor plugin, which writes our bytes without making "
                f"them up, takes {share:.2f} of the time of {name} for a byte."
            )
    yield (
        f"- Outside the kernel a method at {large:,} methods takes "
        f"{growth_ratio(lambda m: m.processor - m.kernel):.1f} times what it takes at "
        f"{small:,}, by the kernel's coarse count of its own time; memory peaks at "
        f"{growth[str(large)].memory * 1024 / 1e9:.1f} GB."
    )
    yield ""

    yield "## A cold start"
    yield ""
    yield (
        "One file, one service, one method. Each program gets the same request as "
        "its standard input; there is no shell in between."
    )
    yield ""
    titles = {
        "protoc-gen-qarn-rpc": "protoc-gen-qarn-rpc, static",
        "ours_static_pie": "the same, position-independent",
        "empty_plugin_static": "empty plugin, static",
        "empty_plugin_shared": "empty plugin, shared libraries",
        "protoc-gen-c": "protoc-gen-c",
        "do_nothing": "a static program that does nothing",
    }
    yield from table(
        ["program", "wall ms", "processor ms", "peak memory KiB"],
        [
            (
                title,
                milliseconds(cold[name].wall),
                milliseconds(cold[name].processor),
                f"{cold[name].memory:.0f}",
            )
            if name in cold
            else (title, "not measured", "", "")
            for name, title in titles.items()
        ],
    )
    size = bench.program("protoc-gen-qarn-rpc").stat().st_size
    yield (
        f"The program has {size / 1e6:.1f} MB, with its symbols. No peak below that of the "
        "measuring program can be seen, which is about what the last row shows."
    )
    yield ""
    yield "## Many files"
    yield ""
    yield (
        "1,000 files of 12 methods and 40 messages, one request. The floor plugin "
        "writes files of the same number and size from a constant buffer."
    )
    yield ""
    yield from table(
        ["program", "wall ms", "processor ms", "peak memory KiB"],
        [
            (name, milliseconds(m.wall), milliseconds(m.processor), f"{m.memory:.0f}")
            for name, m in bulk.items()
        ],
    )
    yield "## Whole pipelines"
    yield ""
    yield (
        "1,000 methods in one service, from the source file to the files on disk. "
        "No method streams here, as not every peer has that. What protoc takes with "
        "the floor plugin is there whatever a plugin writes."
    )
    yield ""
    yield from table(
        ["pipeline", "wall ms", "processor ms", "output bytes", "wall ns a byte",
         "processor ns a byte"],  # fmt: skip
        [
            (
                name,
                milliseconds(m.wall),
                milliseconds(m.processor),
                f"{size:,}",
                f"{per_byte[name] * 1000:.2f}",
                f"{m.processor / size * 1000:.2f}",
            )
            for name, (m, size) in pipeline.items()
        ]
        + [(name, "not measured", "", "", "", "") for name in PEERS if name not in pipeline],
    )
    yield "## Inside the process"
    yield ""
    rate = speed[f"BM_Generate/{WIDE_METHODS}"]
    yield (
        f"Nearly all text goes through protobuf's printer. Alone, it prints "
        f"{speed['BM_PrinterAlone'] / 1e6:.0f} MB/s: that is "
        f"at least {rate / speed['BM_PrinterAlone'] * 100:.0f} % of the generator's time."
    )
    yield ""
    yield from table(
        ["benchmark", "processor time", "MB/s"],
        [
            (
                f"`{b['run_name']}`",
                f"{b['cpu_time']:,.0f} {b['time_unit']}",
                f"{b['bytes_per_second'] / 1e6:.0f}" if "bytes_per_second" in b else "",
            )
            for b in sorted(benchmarks, key=lambda b: b["run_name"])
            if b.get("aggregate_name") == "median"
        ],
    )
    fit = next(b for b in benchmarks if b.get("aggregate_name") == "BigO")
    error = next(b for b in benchmarks if b.get("aggregate_name") == "RMS")
    yield (
        f"`BM_Generate` fits {fit['cpu_coefficient'] / 1000:.2f} µs x {fit['big_o']}, with N "
        f"methods; the fit is off by {error['rms'] * 100:.0f} % (root mean square)."
    )
    yield ""
    if counted:
        count, methods = counted
        yield (
            f"Instructions of the generator for a method: {count // methods:,} "
            f"(first version: {first_version // methods:,}), with {recorded['toolchain']}."
        )
    else:
        yield "Instructions: not measured; the recorded figure is for another toolchain."
    yield ""
    yield "## Growth"
    yield ""
    yield "![Time and memory for each method](growth.svg)"
    yield ""
    yield from table(
        [
            "methods",
            "processor ms",
            "of it in the kernel",
            "µs a method",
            "peak memory KiB",
            "KiB a method",
        ],
        [
            (
                f"{n:,}",
                milliseconds(growth[str(n)].processor),
                milliseconds(growth[str(n)].kernel),
                f"{growth[str(n)].processor / n:.1f}",
                f"{growth[str(n)].memory:.0f}",
                f"{growth[str(n)].memory / n:.1f}",
            )
            for n in GROWTH
        ],
    )


def main():
    if len(sys.argv) != 5 or not sys.argv[4].isdigit() or int(sys.argv[4]) < 1:
        sys.exit("usage: measure.py BUILD WORK DOCS RUNS, with at least one run")
    build, work, docs = (pathlib.Path(a).resolve() for a in sys.argv[1:4])
    bench = Bench(build, work, int(sys.argv[4]))
    head = list(environment())
    print("instructions ...", flush=True)
    counted = bench.instructions()
    print("cold starts ...", flush=True)
    cold = bench.cold()
    print("many files ...", flush=True)
    bulk = bench.bulk()
    print("whole pipelines ...", flush=True)
    pipeline = bench.pipeline()
    print("growth ...", flush=True)
    growth = bench.growth()
    print("inside the process ...", flush=True)
    benchmarks = bench.in_process()
    lines = list(report(bench, head, cold, bulk, benchmarks, counted, pipeline, growth))
    docs.mkdir(exist_ok=True)
    (docs / "growth.svg").write_text(growth_svg(growth), encoding="utf-8")
    (docs / "performance.md").write_text("\n".join(lines).rstrip() + "\n", encoding="utf-8")
    start = lines.index("## Against the goals")
    print("\n".join(lines[start : lines.index("## A cold start")]))
    print(f"written: {docs / 'performance.md'}")


if __name__ == "__main__":
    main()
