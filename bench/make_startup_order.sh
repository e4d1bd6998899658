#!/usr/bin/env bash
# Renews cmake/startup_order.txt, the functions that a cold start runs, which
# the static link puts side by side:
#
#   bench/make_startup_order.sh build/release/protoc-gen-qarn-rpc
#
# The names are protobuf's and the C++ library's too, so they fit one release of
# those; a name that a linker does not find does no harm.

set -euo pipefail

if [[ $# -ne 1 || ! -x "$1" ]]; then
  echo "usage: make_startup_order.sh PLUGIN, a plugin with its symbols" >&2
  exit 1
fi
bench=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

/usr/bin/env python3 "$bench/make_inputs.py" "$work" 1
QARN_RPC_REQUEST="$work/request" protoc \
  --plugin=protoc-gen-save="$bench/save_request.sh" \
  --save_out="$work" -I"$work/cold" cold.proto
valgrind --tool=callgrind --demangle=no --callgrind-out-file="$work/profile" \
  "$1" <"$work/request" >/dev/null 2>"$work/log" || {
  cat "$work/log" >&2
  exit 1
}
# A profile names a function once, "fn=(12) name"; 'N marks a recursion.
sed -nE "s/^c?fn=\([0-9]+\) ([A-Za-z_][A-Za-z0-9_.\$]*)('[0-9]+)?\$/\1/p" "$work/profile" |
  LC_ALL=C sort -u >"$work/order"
if [[ ! -s "$work/order" ]]; then
  echo "no function has a name: is the plugin stripped of its symbols?" >&2
  exit 1
fi
mv "$work/order" "$bench/../cmake/startup_order.txt"
