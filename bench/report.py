#!/usr/bin/env python3
"""Makes the page of what measure.py has measured: report.py FILE DOCS

FILE is the JSON file that measure.py wrote, DOCS the folder where
performance.md and growth.svg go. Prints the table of goals. A peer that was not
measured is reported as such. See scripts/bench.sh.
"""

import json
import pathlib
import re
import sys
import types

from make_inputs import WIDE_METHODS

PEERS = [
    "protoc --cpp_out, generic services",
    "protobuf-c",
    "thrift",
    "Cap'n Proto",
    "slice2cpp",
]
OURS = "protoc with protoc-gen-qarn-rpc"
FLOOR = "protoc with the floor plugin"
PROGRAMS = {
    "protoc-gen-qarn-rpc": "protoc-gen-qarn-rpc, static",
    "protoc-gen-qarn-rpc-any": "protoc-gen-qarn-rpc-any, static",
    "ours_static_pie": "the first, position-independent",
    "empty_plugin_static": "empty plugin, static",
    "empty_plugin_shared": "empty plugin, shared libraries",
    "protoc-gen-c": "protoc-gen-c",
    "do_nothing": "a static program that does nothing",
}


class Measured:
    """What measure.py wrote, and the figures that several sections need."""

    def __init__(self, saved):
        def measurements(name):
            return {key: types.SimpleNamespace(**value) for key, value in saved[name].items()}

        self.saved = saved
        self.cold = measurements("cold")
        self.many = measurements("many")
        self.pipelines = measurements("pipelines")
        self.growth = {int(methods): m for methods, m in measurements("growth").items()}
        self.ours = self.cold["protoc-gen-qarn-rpc"]
        self.benchmarks = sorted(
            (b for b in saved["benchmarks"] if b["aggregate_name"] == "median"),
            key=lambda b: natural(b["run_name"]),
        )
        self.speed = {b["run_name"]: b.get("bytes_per_second", 0.0) for b in self.benchmarks}
        self.pipeline_bytes = saved["pipeline_bytes"]
        self.per_byte = {
            name: m.wall / self.pipeline_bytes[name] for name, m in self.pipelines.items()
        }
        self.small, self.large = min(self.growth), max(self.growth)
        recorded = saved["recorded_instructions"]
        self.first_version = int(recorded.get("first version", 0))
        self.toolchain = recorded["toolchain"]

    def start(self, name):
        """How long our cold start is against that of the program, or None."""
        return self.ours.wall / self.cold[name].wall if name in self.cold else None

    def output_byte(self, peer):
        """How long we take for an output byte against the peer, or None."""
        return self.per_byte[OURS] / self.per_byte[peer] if peer in self.per_byte else None

    def in_process(self):
        """Our bytes a second against those of libprotoc's C++ generator."""
        return self.speed[f"BM_Generate/{WIDE_METHODS}"] / self.speed["BM_LibprotocGenerate"]

    def growth_ratio(self, get):
        """What a method takes in the largest service against the smallest."""
        small, large = self.growth[self.small], self.growth[self.large]
        return (get(large) / self.large) / (get(small) / self.small)


def natural(name):
    """Sorts BM_Generate/4 between BM_Generate/1 and BM_Generate/16."""
    return [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", name)]


def milliseconds(microseconds):
    return f"{microseconds / 1000:.2f}"


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


def growth_svg(results):
    """Time and memory for each method, over the number of methods (log)."""
    sizes = list(results)
    width, height, left, bottom = 560, 300, 60, 50
    time = [results[n].processor / n for n in sizes]
    memory = [results[n].memory / n for n in sizes]
    top = max(time + memory) * 1.15
    step = (width - left - 40) / (len(sizes) - 1)

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
            f'<text x="{left - 6}" y="{y(value) + 4:.1f}" text-anchor="end">' f"{value:.1f}</text>"
        )
    for index, methods in enumerate(sizes):
        lines.append(
            f'<text x="{x(index):.1f}" y="{height - bottom + 18}" '
            f'text-anchor="middle">{methods:,}</text>'
        )
    lines.append(
        f'<text x="{width / 2}" y="{height - 10}" text-anchor="middle">'
        "methods of the service</text>"
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


def paragraph(text):
    yield text
    yield ""


def summary(measured):
    """What a user wants to know; the sections that follow say it at length."""
    saved = measured.saved
    small, large = measured.growth[measured.small], measured.growth[measured.large]
    yield from paragraph("# Performance")
    yield from paragraph(
        "Written by `scripts/bench.sh`; run it again rather than edit this file. What users' "
        "builds take stands on [a page of its own](build-times.md)."
    )
    yield (
        f"- **A file takes about {measured.ours.wall / 1000:.1f} ms**, from the start of the "
        f"plugin to its end; a program that does nothing takes "
        f"{measured.cold['do_nothing'].wall / 1000:.1f} ms here. That is a file with one "
        "method, by the plugin alone."
    )
    yield (
        f"- **Time and memory grow with the number of methods**: "
        f"{small.processor / measured.small:.0f} µs and {small.memory / measured.small:.0f} KiB "
        f"a method in a service of {measured.small:,}, {large.processor / measured.large:.0f} µs "
        f"and {large.memory / measured.large:.0f} KiB in one of {measured.large:,}."
    )
    compared = [f"it generates {measured.in_process():.1f} times as many bytes a second as "
                "protobuf's own C++ generator"]  # fmt: skip
    if "protoc-gen-c" in measured.cold:
        compared.append(
            f"a start takes {measured.start('protoc-gen-c'):.2f} of the time of `protoc-gen-c`, "
            "which is linked with shared libraries"
        )
    peers = [peer for peer in PEERS if peer in measured.per_byte]
    if peers:
        quicker = sum(measured.output_byte(peer) > 1 for peer in peers)
        compared.append(
            f"with all that protoc does, {quicker} of {len(peers)} other pipelines take less "
            "time for a byte of output"
        )
    yield f"- **Compared**: {'; '.join(compared)}."
    yield ""
    yield from paragraph(
        f"Measured on {saved['date']} on {saved['machine']}; "
        "[how](#how-it-was-measured) stands at the end."
    )


def cold_start(measured):
    yield from paragraph("## A cold start")
    yield from paragraph(
        "One file, one service, one method. Each program gets the same request as "
        "its standard input; there is no shell in between."
    )
    yield from table(
        ["program", "wall ms", "processor ms", "peak memory KiB"],
        [
            times(title, measured.cold[name])
            if name in measured.cold
            else (title, "not measured", "", "")
            for name, title in PROGRAMS.items()
        ],
    )
    yield from paragraph(
        f"The program has {measured.saved['program_bytes'] / 1e6:.1f} MB, with its symbols. No "
        "peak below that of the measuring program can be seen, which is about what the last "
        "row shows."
    )


def times(title, measurement):
    """A row: wall and processor time, and memory."""
    return (
        title,
        milliseconds(measurement.wall),
        milliseconds(measurement.processor),
        f"{measurement.memory:.0f}",
    )


def growth(measured):
    yield from paragraph("## Growth")
    yield from paragraph("![Time and memory for each method](growth.svg)")
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
                f"{methods:,}",
                milliseconds(m.processor),
                milliseconds(m.kernel),
                f"{m.processor / methods:.1f}",
                f"{m.memory:.0f}",
                f"{m.memory / methods:.1f}",
            )
            for methods, m in measured.growth.items()
        ],
    )


def many_files(measured):
    yield from paragraph("## Many files")
    yield from paragraph(
        "1,000 files of 12 methods and 40 messages, one request. The floor plugin "
        "writes files of the same number and size from a constant buffer."
    )
    yield from table(
        ["program", "wall ms", "processor ms", "peak memory KiB"],
        [times(name, m) for name, m in measured.many.items()],
    )


def pipelines(measured):
    yield from paragraph("## Whole pipelines")
    yield from paragraph(
        "1,000 methods in one service, from the source file to the files on disk. "
        "No method streams here, as not every peer has that. What protoc takes with "
        "the floor plugin is there whatever a plugin writes."
    )
    yield from table(
        [
            "pipeline",
            "wall ms",
            "processor ms",
            "output bytes",
            "wall ns a byte",
            "processor ns a byte",
        ],  # fmt: skip
        [
            (
                name,
                milliseconds(m.wall),
                milliseconds(m.processor),
                f"{measured.pipeline_bytes[name]:,}",
                f"{measured.per_byte[name] * 1000:.2f}",
                f"{m.processor / measured.pipeline_bytes[name] * 1000:.2f}",
            )
            for name, m in measured.pipelines.items()
        ]
        + [
            (name, "not measured", "", "", "", "")
            for name in PEERS
            if name not in measured.pipelines
        ],
    )


def goals(measured):
    """Rows of (what, ratio or None, goal, True if a goal is a minimum)."""
    plugin, floor = measured.many["protoc-gen-qarn-rpc"], measured.many["floor_plugin"]
    counted = measured.saved["instructions"]
    first_version = measured.first_version
    sizes = f"at {measured.large:,} methods against {measured.small:,}"
    yield from [
        ("cold start against the empty plugin, static: wall time",
         measured.start("empty_plugin_static"), 1.00, False),
        ("cold start against the empty plugin, shared libraries",
         measured.start("empty_plugin_shared"), 0.28, False),
        ("cold start against protoc-gen-c", measured.start("protoc-gen-c"), 0.25, False),
        ("cold start against a static program that does nothing",
         measured.start("do_nothing"), 1.75, False),
        ("1,000 files against the floor plugin: processor time",
         plugin.processor / floor.processor, 1.5, False),
        ("1,000 files against the floor plugin: peak memory",
         plugin.memory / floor.memory, 1.05, False),
        ("bytes a second in process against libprotoc's C++ generator",
         measured.in_process(), 1.5, True),
        ("instructions against the first version",
         counted[0] / first_version if counted and first_version else None, 0.6, False),
        (f"time a method {sizes}", measured.growth_ratio(lambda m: m.processor), 1.2, False),
        (f"memory a method {sizes}", measured.growth_ratio(lambda m: m.memory), 1.2, False),
    ]  # fmt: skip
    for name in PEERS:
        yield f"time for an output byte against {name}", measured.output_byte(name), 1.0, False


def goals_table(measured):
    yield from table(["measure", "ratio", "goal", "reached"], against(goals(measured)))


def against_goals(measured):
    yield from paragraph("## Against the goals")
    yield from goals_table(measured)
    yield from paragraph(
        "The empty plugin is protobuf's plugin framework with a generator that "
        "writes nothing; the floor plugin writes as many bytes as ours without "
        "making them up. The first version is the one before any of it was tuned."
    )
    yield from paragraph("What the ratios have to be seen against, on this machine:")
    for name in ("empty_plugin_shared", "protoc-gen-c"):
        if name in measured.cold:
            share = measured.cold["do_nothing"].wall / measured.cold[name].wall
            yield (
                f"- A static program that does nothing takes {share:.2f} of the start of "
                f"`{name}`: all that a plugin does comes on top of that."
            )
    for name in ("protoc --cpp_out, generic services", "thrift", "Cap'n Proto"):
        if name in measured.per_byte:
            share = measured.per_byte[FLOOR] / measured.per_byte[name]
            yield (
                f"- protoc with the floor plugin, which writes our bytes without making "
                f"them up, takes {share:.2f} of the time of {name} for a byte."
            )
    outside_kernel = measured.growth_ratio(lambda m: m.processor - m.kernel)
    memory = measured.growth[measured.large].memory * 1024 / 1e9
    yield from paragraph(
        f"- Outside the kernel a method at {measured.large:,} methods takes "
        f"{outside_kernel:.1f} times what it takes at {measured.small:,}, by the kernel's "
        f"coarse count of its own time; memory peaks at {memory:.1f} GB."
    )


def in_process(measured):
    yield from paragraph("## Inside the process")
    printer = measured.speed["BM_PrinterAlone"]
    share = measured.speed[f"BM_Generate/{WIDE_METHODS}"] / printer
    yield from paragraph(
        f"Nearly all text goes through protobuf's printer. Alone, it prints "
        f"{printer / 1e6:.0f} MB/s: that is at least {share * 100:.0f} % of the generator's time."
    )
    yield from table(
        ["benchmark", "processor time", "MB/s"],
        [
            (
                f"`{b['run_name']}`",
                f"{b['cpu_time']:,.0f} {b['time_unit']}",
                f"{b['bytes_per_second'] / 1e6:.0f}" if "bytes_per_second" in b else "",
            )
            for b in measured.benchmarks
        ],
    )
    fit, error = (
        next(b for b in measured.saved["benchmarks"] if b["aggregate_name"] == name)
        for name in ("BigO", "RMS")
    )
    yield from paragraph(
        f"`BM_Generate` fits {fit['cpu_coefficient'] / 1000:.2f} µs x {fit['big_o']}, with N "
        f"methods; the fit is off by {error['rms'] * 100:.0f} % (root mean square)."
    )
    if measured.saved["instructions"]:
        count, methods = measured.saved["instructions"]
        yield from paragraph(
            f"Instructions of the generator for a method: {count // methods:,} "
            f"(first version: {measured.first_version // methods:,}), with {measured.toolchain}."
        )
    else:
        yield from paragraph(
            "Instructions: not measured; the recorded figure is for another toolchain."
        )


def how_measured(measured):
    saved = measured.saved
    yield from paragraph("## How it was measured")
    yield f"- Date: {saved['date']}"
    yield f"- Machine: {saved['machine']}"
    yield f"- Tools: {'; '.join(saved['tools'])}"
    yield (
        f"- Runs: {saved['runs']} cold, over {saved['copies']} sets of copies of the "
        f"programs; {saved['long_runs']} of the longer ones. The programs compared take turns, "
        "in an order of its own for each round. Times are medians, of the cold starts the "
        "median of each set's; memory is the largest peak. In the process: the medians of "
        f"{saved['repetitions']} repetitions of Google Benchmark"
    )


SECTIONS = [
    summary,
    cold_start,
    growth,
    many_files,
    pipelines,
    against_goals,
    in_process,
    how_measured,
]


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: report.py FILE DOCS")
    file, docs = map(pathlib.Path, sys.argv[1:])
    if not file.is_file():
        sys.exit(f"report.py: there is no {file}; run scripts/bench.sh, which writes it")
    try:
        measured = Measured(json.loads(file.read_text()))
        lines = [line for section in SECTIONS for line in section(measured)]
        figure = growth_svg(measured.growth)
    except (json.JSONDecodeError, KeyError, TypeError) as error:
        sys.exit(
            f"report.py: {file} is not what measure.py writes now ({error!r}); "
            "run scripts/bench.sh, which writes it anew"
        )
    docs.mkdir(exist_ok=True)
    (docs / "growth.svg").write_text(figure, encoding="utf-8")
    page = docs / "performance.md"
    page.write_text("\n".join(lines).rstrip() + "\n", encoding="utf-8")
    print("\n".join(goals_table(measured)))
    print(f"written: {docs / 'performance.md'}")


if __name__ == "__main__":
    main()
