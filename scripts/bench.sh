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
  exit 1
fi

# The command or file that shows that a package is there, and the package.
needed=(
  "protoc-gen-c protobuf-c-compiler"
  "thrift thrift-compiler"
  "capnp capnproto"
  "slice2cpp zeroc-ice-compilers"
  "valgrind valgrind"
  "/usr/include/benchmark/benchmark.h libbenchmark-dev"
)
missing=()
for entry in "${needed[@]}"; do
  read -r sign package <<<"$entry"
  if [[ ! -e "$sign" ]] && ! command -v "$sign" >/dev/null; then
    missing+=("$package")
  fi
done
if ((${#missing[@]} > 0)); then
  echo "missing: ${missing[*]}"
  as_root=()
  if [[ $EUID -ne 0 ]]; then
    as_root=(sudo)
  fi
  if ! command -v apt-get >/dev/null ||
    ! "${as_root[@]}" apt-get install -y --no-install-recommends "${missing[@]}"; then
    echo "They could not be installed; what needs them is not measured." >&2
  fi
fi

cmake --preset release -B build/bench -DQARN_RPC_BUILD_BENCH=ON >/dev/null
cmake --build build/bench
# Fails when the generator has become slower than the figure in the repository.
ctest --test-dir build/bench -L instructions --output-on-failure
python3 bench/measure.py build/bench build/bench/work docs "$runs"
