#!/usr/bin/env bash
# Builds both fuzzers with clang, AddressSanitizer and UndefinedBehaviorSanitizer
# and runs each for so many seconds: first the one whose input drives a builder
# of requests, then the one whose input is the request itself. What they learn
# is kept in build/fuzz/corpus, for the next run. Findings go to
# build/fuzz/findings; the exit status is 1 if there are any.
#
#   scripts/fuzz.sh SECONDS
set -euo pipefail
cd "$(dirname "$0")/.."

if [[ $# -ne 1 || ! "$1" =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: scripts/fuzz.sh SECONDS   (for each of two fuzzers)" >&2
  exit 2
fi
scripts/setup.sh build test lint
cmake --preset fuzz
cmake --build --preset fuzz --target structured_fuzzer raw_fuzzer

folder=build/fuzz
status=0
for mode in structured raw; do
  corpus=$folder/corpus/$mode
  findings=$folder/findings/$mode
  mkdir -p "$corpus" "$findings"
  options=(-max_len=4096)
  if [[ $mode == structured ]]; then
    # Few bytes make a large request, and each costs some thirty runs.
    options=(-max_len=1024 -len_control=0)
  fi
  echo "fuzz.sh: $mode, $1 seconds"
  # Short stacks of allocations and a small quarantine: twice as many inputs.
  ASAN_OPTIONS=malloc_context_size=4:quarantine_size_mb=32 \
    "$folder/tests/robustness/fuzz/${mode}_fuzzer" "${options[@]}" \
    -max_total_time="$1" -timeout=25 -print_final_stats=1 \
    -dict=tests/robustness/fuzz/request.dict -artifact_prefix="$findings/" \
    "$corpus" "tests/robustness/fuzz/corpus/$mode" || status=1
  if [[ -n "$(ls -A "$findings")" ]]; then
    status=1
    echo "fuzz.sh: findings of the $mode fuzzer, also of earlier runs:" >&2
    ls "$findings"/* >&2
    echo "fuzz.sh: to see one again: $folder/tests/robustness/fuzz/${mode}_fuzzer FILE" >&2
  fi
done
exit "$status"
