#!/usr/bin/env bash
# Measures the plugin beside other programs, and users' builds; puts the results into
# bench/results and the tables and the figure made of them into the pages.
#
#   scripts/bench.sh [RUNS]
#   scripts/bench.sh --builds [BUILDS]
#   scripts/bench.sh --pages
#
# RUNS is the number of starts of each program, 200 if it is not given; a tenth as
# many runs are made of all longer ones. Installs what is missing with apt-get where
# that can be done; a program that is still missing is left out. Run it on a
# machine that does nothing else.
#
# --builds measures users' builds alone, each of them BUILDS times, 3 if it is not
# given. --pages measures nothing.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

what=all
runs=200
builds=3
case "${1:-}" in
  --builds) what=builds builds=${2:-3} ;;
  --pages) what=pages ;;
  *) runs=${1:-200} ;;
esac
limit=1
[[ $what != builds ]] || limit=2
if [[ $# -gt $limit || ! "$runs $builds" =~ ^[1-9][0-9]*\ [1-9][0-9]*$ ]]; then
  echo "usage: scripts/bench.sh [RUNS | --builds [BUILDS] | --pages]," \
    "RUNS and BUILDS numbers from 1" >&2
  exit 2
fi

scripts/setup.sh build bench
if [[ $what != pages ]]; then
  cmake --preset release -B build/bench -DQARN_RPC_BUILD_BENCH=ON >/dev/null
  cmake --build build/bench
fi
if [[ $what == all ]]; then
  for peer in capnproto ice protobuf-c thrift; do
    scripts/setup.sh "$peer" ||
      echo "bench.sh: the peer $peer could not be installed; it is not measured." >&2
  done
  python3 -B bench/measure_plugin.py build/bench build/bench/work bench/results/plugin.json "$runs"
fi
if [[ $what != pages ]]; then
  python3 -B bench/measure_builds.py build/bench build/bench/builds bench/results/builds.json "$builds"
fi
python3 -B bench/fill_pages.py bench/results docs/performance.md docs/build-times.md bench/README.md
python3 -B bench/draw_starts.py bench/results/plugin.json docs/starts.svg
