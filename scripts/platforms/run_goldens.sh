#!/usr/bin/env bash
# Generates every golden case with protoc and the program PLUGIN, and compares
# with the expected files, byte for byte. For systems that run the program but
# not the tests. The last line printed is the number of runs. Exit status 1 if
# a file differs.
#
#   scripts/platforms/run_goldens.sh PLUGIN
set -euo pipefail
plugin=$(readlink -f "$1")
cd "$(dirname "$0")/../.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
count=0
failed=0
for run in tests/golden/*/*/; do
  run=${run%/}
  protos=$(dirname "$run")/proto
  parameter=${run##*/}
  case "$parameter" in
    proto) continue ;;
    plain) parameter= ;;
  esac
  count=$((count + 1))
  mkdir "$work/$count"
  mapfile -t files < <(cd "$protos" && find . -type f -printf '%P\n' | sort)
  if ! protoc --plugin="protoc-gen-qarn-rpc=$plugin" -I "$protos" -I proto \
    --qarn-rpc_out="$work/$count" ${parameter:+--qarn-rpc_opt="$parameter"} "${files[@]}" ||
    ! diff -ru "$run" "$work/$count"; then
    echo "run_goldens.sh: $run differs" >&2
    failed=$((failed + 1))
  fi
done
if [[ "$failed" -gt 0 ]]; then
  echo "$count runs, $failed failed"
  exit 1
fi
# Without a case there is nothing that could be right.
[[ "$count" -gt 0 ]]
echo "$count runs"
