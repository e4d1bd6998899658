"""What the measurements share: programs that take turns, and the file of results.

A file of results is JSON, by name: an object that says how they were measured, or a
table, which is a list of rows. fill_pages.py puts them into pages as they stand, so
a name in a row is the heading of a column and a figure has the digits to be shown.
"""

import collections
import datetime
import json
import os
import pathlib
import platform
import re
import shutil
import subprocess
import sys

BENCH = pathlib.Path(__file__).resolve().parent

# Medians of the times of a program, in microseconds, `kernel` the part of
# `processor` in the kernel; its largest peak of memory, in KiB.
Measured = collections.namedtuple("Measured", "wall processor kernel memory")


def run(*command, **options):
    """Runs a command and returns its output; a failure ends the script with what
    the command said."""
    command = [str(part) for part in command]
    result = subprocess.run(
        command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **options
    )
    if result.returncode != 0:
        sys.exit(f"failed: {' '.join(command)}\n{result.stdout}{result.stderr}")
    return result.stdout


def in_turn(build, runs, commands, seed=0, **environment):
    """Measures {name: (input file, program, argument...)}, each `runs` times and in
    turn: returns {name: Measured}. The order of each round follows from `seed`."""
    lines = ("\t".join(map(str, (name, *command))) for name, command in commands.items())
    output = run(
        *(build / "bench" / "run_in_turn", runs, seed, "/dev/stdin"),
        input="".join(f"{line}\n" for line in lines),
        env={**os.environ, **environment},
    )
    rows = (line.split("\t") for line in output.splitlines())
    return {name: Measured(*map(float, figures)) for name, *figures in rows}


def how(tools, **others):
    """When, on what and with which tools the script measures."""
    cpu = re.search(r"^model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text(), re.M)
    release = pathlib.Path("/etc/os-release")
    system = release.is_file() and re.search(r'^PRETTY_NAME="?([^"\n]+)', release.read_text(), re.M)
    machine = (
        cpu.group(1) if cpu else "unknown processor",
        f"{os.cpu_count()} processors",
        system.group(1) if system else "Linux",
        f"Linux {platform.release()}",
    )
    versions = [run(tool, "--version").splitlines()[0] for tool in tools]
    # ninja says nothing but its number.
    versions = [f"{t} {v}" if v[0].isdigit() else v for t, v in zip(tools, versions)]
    return {
        "Date": datetime.date.today().isoformat(),
        "Machine": ", ".join(machine),
        "Tools": "; ".join(versions),
        **others,
    }


def goal(measure, ratio, limit, at_least=False, **others):
    """A row of a table of goals: the limit is a maximum, or else a minimum. Whether
    it is reached is said of the ratio that is shown."""
    ratio = round(ratio, 2)
    reached = ratio >= limit if at_least else ratio <= limit
    return {
        "measure": measure,
        "ratio": ratio,
        "goal": f"{'at least' if at_least else 'at most'} {limit:.2f}",
        "reached": "yes" if reached else "no",
        **others,
    }


def text(results):
    """The results as JSON, a row of a table on each line."""

    def value(entry):
        if isinstance(entry, dict):
            return json.dumps(entry, ensure_ascii=False, indent=2)
        rows = (json.dumps(row, ensure_ascii=False) for row in entry)
        return "[\n  " + ",\n  ".join(rows) + "\n]"

    return "{\n" + ",\n".join(f'"{k}": {value(v)}' for k, v in results.items()) + "\n}\n"


def main(measure):
    """The script: what measure(BUILD, WORK, RUNS) returns is written to FILE."""
    if len(sys.argv) != 5 or not re.fullmatch("[1-9][0-9]*", sys.argv[4]):
        sys.exit(f"usage: {pathlib.Path(sys.argv[0]).name} BUILD WORK FILE RUNS, RUNS from 1")
    build, work, file = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    results = measure(build, work, int(sys.argv[4]))
    file.parent.mkdir(exist_ok=True)
    file.write_text(text(results), encoding="utf-8")
    print(f"written: {file}")
