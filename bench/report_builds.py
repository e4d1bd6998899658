#!/usr/bin/env python3
"""Makes the page of what builds.py has measured: report_builds.py FILE DOCS

FILE is the JSON file that builds.py wrote, DOCS the folder where build-times.md
goes. Prints the table of goals. See scripts/bench.sh.
"""

import json
import pathlib
import sys

from report import against, paragraph, table

TYPES = {
    "imported": "messages of one file, which all import",
    "own": "messages of its own in each file",
}
OURS, PEER = "qarn_rpc_generate", "protobuf_generate"
MESSAGES_ALONE = "protobuf_generate, messages alone"


def seconds(value):
    return f"{value:.2f}"


def summary(saved):
    ours, peer = saved["edits"][OURS], saved["edits"][PEER]
    yield from paragraph("# What builds take")
    yield from paragraph(
        "Written by `scripts/bench.sh` and `scripts/bench.sh --builds`; run one of them again "
        "rather than edit this file. [performance.md](performance.md) has the plugin alone, "
        "[qarn_rpc_generate.md](qarn_rpc_generate.md#compile-faster) how to compile faster."
    )
    yield (
        f"- **A comment in an imported `.proto` file compiles {ours['compilations']:.0f} files**; "
        f"with `protobuf_generate` it is {peer['compilations']:.0f} and a link, in a program of "
        "two `.proto` files."
    )
    for types, title in TYPES.items():
        ratios = {way: ratio(saved, types, way, "processor") for way in ("UNITY", "PRECOMPILE")}
        yield (
            f"- **{saved['files']} RPC files, {title}**: `UNITY` takes {ratios['UNITY']:.2f} of "
            f"the compiler's time, `PRECOMPILE` {ratios['PRECOMPILE']:.2f}."
        )
    yield ""
    yield from paragraph(
        f"Measured on {saved['date']} on {saved['machine']}, with {'; '.join(saved['tools'])}. "
        f"Runs of each: {saved['runs']}; the figures are medians. "
        f"When it began, {saved['load_before']} other processes "
        "were running or waiting on average, which makes wall times longer, and the ratios of "
        "processor times hardly."
    )


def ratio(saved, types, way, figure):
    """What compiling takes in this way against plainly."""
    return saved[types][way][figure] / saved[types]["plain"][figure]


def edits(saved):
    yield from paragraph("## After a comment")
    yield from paragraph(
        "A program of `text.proto` and `echo.proto`, which imports it, both with a service, and "
        "a `main.cc`. A comment is added to `text.proto`, and the program is built again. "
        "`protobuf_generate`, here and below, is that of CMake's own module, called once for "
        "messages and once for RPC code. It knows nothing of imports."
    )
    yield from table(
        ["function", "compilations", "links", "wall s", "processor s"],
        [
            (
                f"`{name}`",
                f"{m['compilations']:.0f}",
                f"{m['links']:.0f}",
                seconds(m["wall"]),
                seconds(m["processor"]),
            )
            for name, m in saved["edits"].items()
        ],
    )


def compilations(saved):
    yield from paragraph("## Compiling RPC files")
    yield from paragraph(
        f"{saved['files']} files of one service with {saved['methods']} methods, the four kinds "
        f"in turn, without optimisation and with debugging information, {saved['jobs']} jobs. "
        "The RPC files alone: their code is generated already, and the messages, which cost the "
        "same in each way, are compiled elsewhere. With `PRECOMPILE`, one of the compilations "
        "is the header's. With `UNITY` it is one for ten files, and an empty one, for those "
        "that cannot be joined. The RPC runtime is the small one of the tests."
    )
    for types, title in TYPES.items():
        yield from paragraph(f"With {title}:")
        yield from table(
            ["way", "compilations", "wall s", "processor s", "wall ratio", "processor ratio"],
            [
                (
                    f"`{way}`" if way.isupper() else way,
                    f"{m['compilations']:.0f}",
                    seconds(m["wall"]),
                    seconds(m["processor"]),
                    seconds(ratio(saved, types, way, "wall")),
                    seconds(ratio(saved, types, way, "processor")),
                )
                for way, m in saved[types].items()
            ],
        )
    yield from paragraph(
        "What is read once for all is won: Boost, the runtime, protobuf, and the messages that "
        "files share. What is left are each file's own messages, and what the compiler makes of "
        "the runtime's templates for each pair of request and response: files that share their "
        "messages share that too when they are joined. So the more files share messages, the "
        "more `UNITY` wins, and the heavier a runtime's templates, the less."
    )


def configurations(saved):
    yield from paragraph("## Configuring")
    yield from paragraph(
        "`cmake` in a folder that is configured already, as after an edit of a `CMakeLists.txt`: "
        "a library with one `.proto` file in each of the folders, or all files in one call."
    )
    yield from table(
        ["project", "function", "wall s", "processor s"],
        [
            (shape, name, seconds(m["wall"]), seconds(m["processor"]))
            for shape, ways in saved["configurations"].items()
            for name, m in ways.items()
        ],
    )


def goals(saved):
    """Rows of (what, ratio, goal, False: each goal is a maximum)."""
    yield "compilations after a comment", saved["edits"][OURS]["compilations"], 0, False
    for types, title in TYPES.items():
        for way, figure, goal in (
            ("UNITY", "processor", 0.25),
            ("UNITY", "wall", 0.5),
            ("PRECOMPILE", "processor", 0.5),
        ):
            yield (
                f"`{way}` against plain, {title}: {figure} time",
                ratio(saved, types, way, figure),
                goal,
                False,
            )
    for shape, ways in saved["configurations"].items():
        for peer in (PEER, MESSAGES_ALONE):
            yield (
                f"configuring {shape} against {peer}: processor time",
                ways[OURS]["processor"] / ways[peer]["processor"],
                1.5,
                False,
            )


def goals_table(saved):
    yield from table(["measure", "figure", "goal", "reached"], against(goals(saved)))


def against_goals(saved):
    yield from paragraph("## Against the goals")
    yield from goals_table(saved)
    yield from paragraph(
        "`protobuf_generate` for messages alone writes half of the files, in half of the runs of "
        "`protoc`."
    )


SECTIONS = [summary, edits, compilations, configurations, against_goals]


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: report_builds.py FILE DOCS")
    file, docs = map(pathlib.Path, sys.argv[1:])
    if not file.is_file():
        sys.exit(
            f"report_builds.py: there is no {file}; run scripts/bench.sh --builds, "
            "which writes it"
        )
    try:
        saved = json.loads(file.read_text())
        lines = [line for section in SECTIONS for line in section(saved)]
    except (json.JSONDecodeError, KeyError, TypeError) as error:
        sys.exit(
            f"report_builds.py: {file} is not what builds.py writes now ({error!r}); "
            "run scripts/bench.sh --builds, which writes it anew"
        )
    (docs / "build-times.md").write_text("\n".join(lines).rstrip() + "\n", encoding="utf-8")
    print("\n".join(goals_table(saved)))
    print(f"written: {docs / 'build-times.md'}")


if __name__ == "__main__":
    main()
