#!/usr/bin/env bash
# Measures the plugin against the programs it is held against, prints the table
# of goals and writes docs/performance.md and docs/growth.svg.
#
#   scripts/bench.sh [RUNS]
#   scripts/bench.sh --report
#
# RUNS is the number of cold starts of each program, 200 if it is not given; a
# tenth as many runs are made of all longer ones. Installs what is missing with
# apt-get where that can be done; a peer that is missing all the same is reported
# as not measured. Run it on a machine that does nothing else.
#
# What was measured is kept in build/bench/measurements.json. --report measures
# nothing and writes the page from that file, for a change of its wording.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

measurements=build/bench/measurements.json
if [[ $# -eq 1 && "$1" == --report ]]; then
  python3 -B bench/report.py "$measurements" docs
  exit
fi
runs=${1:-200}
if [[ $# -gt 1 || ! "$runs" =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: scripts/bench.sh [RUNS | --report], RUNS a number from 1" >&2
  exit 2
fi

scripts/setup.sh build bench
for peer in capnproto ice protobuf-c thrift; do
  scripts/setup.sh "$peer" ||
    echo "bench.sh: the peer $peer could not be installed; it is not measured." >&2
done

cmake --preset release -B build/bench -DQARN_RPC_BUILD_BENCH=ON >/dev/null
cmake --build build/bench
python3 -B bench/measure.py build/bench build/bench/work "$measurements" "$runs"
python3 -B bench/report.py "$measurements" docs
