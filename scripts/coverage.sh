#!/usr/bin/env bash
# Builds with coverage, runs the core suite and prints how many lines and
# branches of src/ it reaches. Fails if a line is not reached. Branches that
# only an exception takes do not count.
#
#   scripts/coverage.sh
set -euo pipefail
cd "$(dirname "$0")/.."

if [[ $# -gt 0 ]]; then
  echo "usage: scripts/coverage.sh" >&2
  exit 2
fi
scripts/setup.sh build test lint
cmake --preset coverage
cmake --build --preset coverage
# Counts of an earlier run would hide a line that is no longer reached.
find build/coverage -name '*.gcda' -delete
ctest --preset coverage --parallel "$(nproc)" --label-regex '^core$'
# Of the line that opens a section's lambda, g++ counts nothing but the clean-up
# after an exception; the lines inside the lambda tell whether it ran.
gcovr --root . --filter 'src/' \
  --exclude-throw-branches --exclude-unreachable-branches \
  --exclude-lines-by-pattern '.*return RenderSection\(\[&\]\(Printer\* printer\) \{' \
  --print-summary --fail-under-line 100 build/coverage/src
