#!/usr/bin/env bash
# Builds the tests of src/ with coverage: each file by itself, whole files, the
# executables. Runs them and prints how many lines and branches of src/ they reach.
# Fails if a line is not reached. Branches that only an exception takes do not
# count. With --corpora it does the same for the kept inputs of each fuzzer instead,
# without the linter, and refuses nothing.
#
#   scripts/coverage.sh [--corpora]
set -euo pipefail
cd "$(dirname "$0")/.."

# shellcheck source=scripts/option.sh
source scripts/option.sh
read_option --corpora "$@"
scripts/setup.sh build test lint
cmake --preset coverage

# count OPTION... : prints what the runs since the last call have reached. Of the
# line that opens a lambda in a call, g++ counts nothing but the clean-up after an
# exception; the lines inside the lambda tell whether it ran.
count() {
  gcovr --root . --filter 'src/' \
    --exclude-throw-branches --exclude-unreachable-branches \
    --exclude-lines-by-pattern '.*\(.*\[&\]\(.*\) \{' \
    --print-summary "$@" build/coverage/src
}

if $given; then
  cmake --build --preset coverage --target replays
  for replay in build/coverage/replays/*_replay; do
    name=$(basename "${replay%_replay}")
    find build/coverage -name '*.gcda' -delete
    ctest --preset coverage --tests-regex "^fuzz_corpus_$name\$" --quiet
    echo "coverage.sh: the corpus of $name"
    count --exclude 'src/lint/'
  done
  exit
fi
cmake --build --preset coverage \
  --target unit_test golden_test protoc_test protoc-gen-qarn-rpc-lint print_rules
# Counts of an earlier run would hide a line that is no longer reached.
find build/coverage -name '*.gcda' -delete
for program in build/coverage/tests/{unit/unit_test,golden/golden_test,unit/protoc_test}; do
  "$program" --gtest_brief
done
ctest --preset coverage --tests-regex '^lint\.(cases|details|goldens|rules|run)$'
count --fail-under-line 100
