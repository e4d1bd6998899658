#!/usr/bin/env python3
"""Measures the runtime of the examples: measure_network.py PROGRAM FILE SECONDS ROUNDS

PROGRAM is the built network_bench, FILE the JSON file to write. See
scripts/bench.sh.
"""

import datetime
import json
import pathlib
import subprocess
import sys

from measure import machine


def main():
    if len(sys.argv) != 5:
        sys.exit("usage: measure_network.py PROGRAM FILE SECONDS ROUNDS")
    program, file, seconds, rounds = sys.argv[1:]
    result = subprocess.run(
        [program, seconds, rounds], stdout=subprocess.PIPE, check=False, encoding="utf-8"
    )
    if result.returncode != 0:
        sys.exit(f"measure_network.py: {program} ended with status {result.returncode}")
    measured = json.loads(result.stdout)
    measured["date"] = datetime.date.today().isoformat()
    measured["machine"] = machine()
    pathlib.Path(file).write_text(json.dumps(measured, indent=1) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
