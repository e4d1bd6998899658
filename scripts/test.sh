#!/usr/bin/env bash
# Installs what is missing, builds, and runs the tests through ctest: the core
# suite, or with --all every slower one besides. The exit status is the suite's.
#
#   scripts/test.sh [--all]
set -euo pipefail
cd "$(dirname "$0")/.."

groups=(build test)
selection=(--label-regex '^core$')
case "$*" in
  "") ;;
  --all)
    groups+=(lint)
    selection=()
    ;;
  *)
    echo "usage: scripts/test.sh [--all]" >&2
    exit 2
    ;;
esac

scripts/setup.sh "${groups[@]}"
cmake --preset dev
cmake --build --preset dev
ctest --preset dev --parallel "$(nproc)" "${selection[@]}"
