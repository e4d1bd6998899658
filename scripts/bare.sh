#!/usr/bin/env bash
# Runs the README's two commands, scripts/demo.sh and scripts/test.sh, in the smallest
# Debian there is: for each NAME of scripts/platforms.sh, debian13 if none is given,
# one after the other as a newcomer would, in a copy of that root and of this tree.
# (That the second does not lean on what the first installed, the test
# scripts.first_commands sees.) The root itself stays as it is, in
# build/platforms/bare-NAME; delete it to have a fresh one. The logs lie beside it.
#
# Prints how long each command took, and how many tests ran. Needs the user root,
# git and mmdebstrap.
#
#   scripts/bare.sh [NAME...]
#
# Exit status: 1 if a command failed, or a test was skipped that is not listed
# below; 2 for wrong usage.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/platforms/roots.sh
source scripts/platforms/roots.sh

# The test that may be skipped there: git is not needed to build.
may_be_skipped='^release\.refusals$'

names=("$@")
[[ $# -gt 0 ]] || names=(debian13)
for name in "${names[@]}"; do
  if [[ " ${platform_names[*]} " != *" $name "* ]]; then
    echo "bare.sh: there is no root '$name'" >&2
    echo "usage: scripts/bare.sh [NAME...]   names: ${platform_names[*]}" >&2
    exit 2
  fi
done
reason=$(reason_against_roots)
if [[ -n "$reason" ]]; then
  echo "bare.sh: $reason" >&2
  exit 1
fi
place=$PWD/build/platforms
mkdir -p "$place"

# Reads what ctest printed in the log $1. Status 1 if it ran nothing, or skipped
# what it may not.
check_tests() {
  local count skipped unexpected
  count=$(sed -n 's/^.*tests passed, .* tests failed out of \([0-9]*\)$/\1/p' "$1")
  if [[ -z "$count" ]]; then
    echo "bare.sh: the log does not say how many tests ran" >&2
    return 1
  fi
  # "	  12 - name (Skipped)", at the end of the log; also (Disabled) and (Not Run).
  skipped=$(sed -n 's/^\t *[0-9]* - \([^ ]*\) (.*)$/\1/p' "$1")
  echo "  $count tests, $(grep -c . <<<"$skipped") of them skipped"
  unexpected=$(grep -vE "$may_be_skipped|^$" <<<"$skipped") || return 0
  echo "bare.sh: these may not be skipped:"$'\n'"$unexpected" >&2
  return 1
}

status=0
for name in "${names[@]}"; do
  root=$place/bare-$name
  if ! scripts/platforms/make_root.sh --bare "$name" "$root" >"$root.log" 2>&1; then
    echo "$name: its root could not be made; build/platforms/bare-$name.log says why"
    status=1
    continue
  fi
  copy=$root-copy
  rm -rf "$copy"
  cp -a "$root" "$copy"
  copy_tree "$copy"
  for command in demo test; do
    log=$root-$command.log
    since=$SECONDS
    if scripts/platforms/in_root.sh "$copy" "/src/scripts/$command.sh" >"$log" 2>&1 </dev/null; then
      echo "$name: scripts/$command.sh passed after $((SECONDS - since)) seconds"
      [[ "$command" == demo ]] || check_tests "$log" || status=1
    else
      echo "$name: scripts/$command.sh FAILED; the end of build/platforms/$(basename "$log"):"
      tail -n 40 "$log"
      status=1
    fi
  done
  rm -rf "$copy"
done
exit "$status"
