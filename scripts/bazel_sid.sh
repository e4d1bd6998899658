#!/usr/bin/env bash
# Tries the Bazel rule with what Debian's sid has: Bazel 7 and modules, a cache
# over the network, and a server of the Remote Execution API. Makes a root of sid
# in build/platforms/sid-bazel, once; delete the folder to have a fresh one. Needs
# the user root, git and mmdebstrap. It is run by hand, since sid changes daily:
# docs/using/bazel.md says when that was, and with which versions.
#
#   scripts/bazel_sid.sh [TEST...]
#
#   bazel       builds the workspace of tests/consumers/bazel
#   rule        tries what the rule takes and refuses
#   remote      runs the generator's actions on the server
#   validation  lints, as a validation action
#
# Without a TEST all are run. Exit status: 1 if something failed, 2 for wrong
# usage.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/platforms/roots.sh
source scripts/platforms/roots.sh

tests=("$@")
[[ $# -gt 0 ]] || tests=(bazel rule remote validation)
for test in "${tests[@]}"; do
  if [[ ! -f "tests/consumers/bazel/${test}_test.py" ]]; then
    echo "bazel_sid.sh: there is no test '$test'" >&2
    echo "usage: scripts/bazel_sid.sh [TEST...]   tests: bazel rule remote validation" >&2
    exit 2
  fi
done

root=$PWD/build/platforms/sid-bazel
reason=$(reason_against_roots)
if [[ -n "$reason" ]]; then
  echo "bazel_sid.sh: $reason" >&2
  exit 1
fi
scripts/platforms/make_root.sh sid-bazel "$root"
copy_tree "$root"
# shellcheck disable=SC2016 # dpkg-query's own variables
scripts/platforms/in_root.sh "$root" dpkg-query --show --showformat '${Package} ${Version}\n' \
  bazel-bootstrap buildbox g++ nginx protobuf-compiler siso
# In one run, in which they share a workspace.
scripts/platforms/in_root.sh "$root" bash -c 'cd /src/tests/consumers/bazel && exec "$@"' bash \
  python3 -B -m pytest --sid --exitfirst --basetemp=/var/tmp/bazel_sid --durations=0 \
  "${tests[@]/%/_test.py}"
