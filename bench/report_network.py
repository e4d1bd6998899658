#!/usr/bin/env python3
"""Writes what network.cc has measured: report_network.py FILE DOCS

FILE is the JSON file that `scripts/bench.sh --network` made, DOCS the folder of
performance.md, of which the last section is written anew. Prints the goals.
"""

import json
import pathlib
import sys

from report import NETWORK_HEADING, against, paragraph, parts, table

MODES = {
    "rpc": "the runtime: calls",
    "messages": "plain echo, a message at a time",
    "chunks": "plain echo, whatever has arrived",
}
LOADS = [(1, 1), (1, 64), (8, 1), (8, 64)]
# Loads with a goal: at least half of the plain echo.
GOALS = [(1, 1), (8, 64)]


def section(measured):
    rows = {(r["mode"], r["connections"], r["in_flight"]): r for r in measured["rows"]}

    def ratio(load, peer):
        return rows[("rpc", *load)]["rate"] / rows[(peer, *load)]["rate"]

    yield NETWORK_HEADING
    yield ""
    yield from paragraph(
        "The [runtime of the examples](../examples/runtime/README.md) is a place to start from, "
        "not a product; these figures say what generated code can do over a socket. A call sends "
        f"a text of {measured['text']} bytes and gets it back, in {measured['bytes']} bytes of "
        "frames to the server. The plain echoes are Boost.Asio alone and send as many bytes each "
        "way: one reads a message, sends it back, and reads the next; the other sends back "
        "whatever has arrived, many messages in one piece, and never looks at them."
    )
    yield from table(
        ("connections", "in flight on each", "program", "a second", "p50 µs", "p99 µs"),
        [
            (
                str(connections),
                str(in_flight),
                title,
                f"{rows[(mode, connections, in_flight)]['rate']:,.0f}",
                f"{rows[(mode, connections, in_flight)]['p50']:,.0f}",
                f"{rows[(mode, connections, in_flight)]['p99']:,.0f}",
            )
            for connections, in_flight in LOADS
            for mode, title in MODES.items()
        ],
    )
    yield from paragraph(
        "The goal is half of the rate of a plain echo, with one call in flight and with 64 on "
        "each of eight connections:"
    )
    yield from goals(ratio)
    yield from paragraph(
        f"Of a stream arrive {measured['stream_to_client']:,.0f} messages a second at the client, "
        f"and {measured['stream_to_server']:,.0f} at the server, of the same text."
    )
    yield (
        f"Measured on {measured['date']} on {measured['machine']}, by `scripts/bench.sh "
        f"--network`. Rounds: {measured['rounds']}, in which the programs take turns, with "
        f"{measured['seconds']:g} s for each row. Client and server are two processes with "
        f"{measured['threads']} threads each, on the loopback. The rates are of all rounds, those "
        "of the streams medians."
    )


def goals(ratio):
    return table(
        ("connections", "in flight on each", "against", "ratio", "goal", "reached"),
        [
            (str(load[0]), str(load[1]), *row)
            for load in GOALS
            for row in against(
                (MODES[peer], ratio(load, peer), 0.5, True) for peer in ("messages", "chunks")
            )
        ],
    )


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: report_network.py FILE DOCS")
    file, docs = map(pathlib.Path, sys.argv[1:])
    if not file.is_file():
        sys.exit(f"report_network.py: there is no {file}; run scripts/bench.sh --network")
    measured = json.loads(file.read_text())
    page = docs / "performance.md"
    before, _ = parts(page)
    text = "\n".join(section(measured)).rstrip() + "\n"
    page.write_text(before.rstrip() + "\n\n" + text, encoding="utf-8")
    print(text)
    print(f"written: {page}")


if __name__ == "__main__":
    main()
