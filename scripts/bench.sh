#!/usr/bin/env bash
# Measures the plugin against the programs it is held against, and users' builds,
# prints the tables of goals and writes docs/performance.md, docs/growth.svg and
# docs/build-times.md.
#
#   scripts/bench.sh [RUNS]
#   scripts/bench.sh --builds [BUILDS]
#   scripts/bench.sh --report
#
# RUNS is the number of cold starts of each program, 200 if it is not given; a
# tenth as many runs are made of all longer ones. Installs what is missing with
# apt-get where that can be done; a peer that is missing all the same is reported
# as not measured. Run it on a machine that does nothing else.
#
# --builds measures users' builds alone, each of them BUILDS times, 3 if it is not
# given, and writes docs/build-times.md.
#
# What was measured is kept in build/bench/measurements.json and builds.json.
# --report measures nothing and writes the pages from those that are there, for a
# change of their wording.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

measurements=build/bench/measurements.json
builds=build/bench/builds.json
usage() {
  echo "usage: scripts/bench.sh [RUNS | --builds [BUILDS] | --report]," \
    "RUNS and BUILDS numbers from 1" >&2
  exit 2
}

# What the page of a user's build time is made of: the plugin is measured as it is
# installed.
measure_builds() {
  cmake --install build/bench --prefix "$PWD/build/bench/prefix" >/dev/null
  python3 -B bench/builds.py build/bench/prefix build/bench/builds "$builds" "$1"
  python3 -B bench/report_builds.py "$builds" docs
}

if [[ $# -eq 1 && "$1" == --report ]]; then
  if [[ -f "$builds" ]]; then
    python3 -B bench/report_builds.py "$builds" docs
  fi
  if [[ -f "$measurements" || ! -f "$builds" ]]; then
    python3 -B bench/report.py "$measurements" docs
  fi
  exit
fi
only=
default=200
if [[ "${1:-}" == --builds ]]; then
  only=builds
  default=3
  shift
fi
runs=${1:-$default}
if [[ $# -gt 1 || ! "$runs" =~ ^[1-9][0-9]*$ ]]; then
  usage
fi

if [[ "$only" == builds ]]; then
  scripts/setup.sh build
  cmake --preset release -B build/bench >/dev/null
  cmake --build build/bench
  measure_builds "$runs"
  exit
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
measure_builds 3
