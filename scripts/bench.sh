#!/usr/bin/env bash
# Measures the plugin against the programs it is held against, prints the table
# of goals and writes docs/performance.md and docs/growth.svg.
#
#   scripts/bench.sh [RUNS]
#
# RUNS is the number of cold starts of each program, 200 if it is not given; a
# tenth as many runs are made of everything longer. Installs what is missing
# with apt-get where that can be done; a peer that is missing all the same is
# reported as not measured. Run it on a machine that does nothing else.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

runs=${1:-200}
if [[ $# -gt 1 || ! "$runs" =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: scripts/bench.sh [RUNS], RUNS a number from 1" >&2
  exit 2
fi

if ! scripts/setup.sh build bench; then
  echo "bench.sh: not all could be installed; what needs the rest is not measured." >&2
fi

cmake --preset release -B build/bench -DQARN_RPC_BUILD_BENCH=ON >/dev/null
cmake --build build/bench
# Fails when the generator has become slower than the figure in the repository.
ctest --test-dir build/bench -L instructions --output-on-failure
python3 bench/measure.py build/bench build/bench/work docs "$runs"
