#!/usr/bin/env bash
# Renews the golden files: builds what is needed, writes, and shows the
# difference from what is staged. Read it line by line, and stage what is right
# (git add).
#
# Exit status: 0 if nothing differs from the index and the golden tests pass, 1
# otherwise.
set -euo pipefail
cd "$(dirname "$0")/.."

if [[ $# -gt 0 ]]; then
  echo "usage: scripts/golden.sh" >&2
  exit 2
fi
scripts/setup.sh build test
cmake --preset dev >/dev/null
cmake --build --preset dev --target golden_test

golden_test=build/dev/tests/golden/golden_test
# Whether all is well is asked below, of files that are written.
QARN_RPC_UPDATE_GOLDENS=1 "$golden_test" --gtest_filter='*AnySyntaxPlugin*' >/dev/null || true

status=0
git --no-pager diff --exit-code -- tests/golden || status=1
mapfile -t new < <(git ls-files --others --exclude-standard -- tests/golden)
if [[ ${#new[@]} -gt 0 ]]; then
  printf 'new: %s\n' "${new[@]}"
  status=1
fi
if [[ $status -ne 0 ]]; then
  echo "golden.sh: read each line above, and stage what is right with git add" >&2
fi

# The second writer must agree, and no file may be left that nobody writes.
if ! "$golden_test" --gtest_brief=1; then
  echo "golden.sh: the tests above fail. Where the independent writer differs," \
    "tests/support/independent is changed by hand, before src/" >&2
  status=1
fi
exit $status
