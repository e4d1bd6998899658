#!/usr/bin/env bash
# Renews bench/startup_order.txt, the functions that a cold start runs, which
# the static link puts side by side, or checks that it still fits:
#
#   cmake --preset release -B build/order \
#     -DCMAKE_EXE_LINKER_FLAGS='-Wl,-Map=plugin.map -Wl,--no-demangle'
#   cmake --build build/order --target protoc-gen-qarn-rpc-any
#   bench/make_startup_order.sh build/order/protoc-gen-qarn-rpc-any build/order/plugin.map
#
#   bench/make_startup_order.sh --check build/release/protoc-gen-qarn-rpc-any
#
# That one runs all that the plain plugin runs, and what it declares. The linker
# moves whole sections, and the libraries have many functions in one, so the list
# names one function of each section; the map tells which those are.
#
# The names are protobuf's and the C++ library's too, so they fit one release of
# those, and one compiler; a name that the linker does not find does no harm and
# makes no noise. So the check compares the names of ours with the symbols of
# the plugin: one that is missing was renamed, and its function has lost its
# place. A plugin that another compiler made is not checked (status 77).

set -euo pipefail

map=${2:-}
check=false
if [[ "${1:-}" == --check ]]; then
  check=true
  shift
fi
if [[ ! -x "${1:-}" ]] || ! { $check || [[ -f "$map" ]]; }; then
  echo "usage: make_startup_order.sh [--check] PLUGIN [MAP], a plugin with its symbols and," >&2
  echo "  to renew the list, the linker's map of it; the comment of this script makes both" >&2
  exit 2
fi
plugin=$1
bench=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
list="$bench/startup_order.txt"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# "GCC 12": compilers of one major version inline alike.
compiler=$(readelf --string-dump=.comment "$plugin" |
  sed -nE 's/.*(GCC|clang)(: \([^)]*\)| version) ([0-9]+)\..*/\1 \3/p' | LC_ALL=C sort -u |
  paste -sd ,)

if $check; then
  recorded=$(sed -n 's/^# compiler: //p' "$list")
  if [[ "$compiler" != "$recorded" ]]; then
    echo "skipped: the list is for $recorded, the plugin was made by ${compiler:-an unknown compiler}"
    exit 77
  fi
  nm "$plugin" | sed 's/.* //' | LC_ALL=C sort -u >"$work/symbols"
  grep -E '4qarn3rpc|12CppGenerator' "$list" | LC_ALL=C sort -u >"$work/ours" || {
    echo "$list names no function of ours" >&2
    exit 1
  }
  LC_ALL=C comm -23 "$work/ours" "$work/symbols" >"$work/missing"
  if [[ -s "$work/missing" ]]; then
    echo "These functions of bench/startup_order.txt are not in the plugin, which starts slower for it:" >&2
    c++filt <"$work/missing" | sed 's/^/  /' >&2
    echo "Renew the list; the comment of bench/make_startup_order.sh says how" >&2
    exit 1
  fi
  echo "$(wc -l <"$work/ours") names of ours, all in the plugin"
  exit 0
fi

/usr/bin/env python3 "$bench/make_inputs.py" "$work" 1
QARN_RPC_REQUEST="$work/request" protoc \
  --plugin=protoc-gen-save="$bench/save_request.sh" \
  --save_out="$work" -I"$work/cold" cold.proto
valgrind --tool=callgrind --demangle=no --callgrind-out-file="$work/profile" \
  "$plugin" <"$work/request" >/dev/null 2>"$work/log" || {
  cat "$work/log" >&2
  exit 1
}
# A profile names a function once, "fn=(12) name"; 'N marks a recursion.
sed -nE "s/^c?fn=\([0-9]+\) ([A-Za-z_][A-Za-z0-9_.\$]*)('[0-9]+)?\$/\1/p" "$work/profile" |
  LC_ALL=C sort -u >"$work/names"
if [[ ! -s "$work/names" ]]; then
  echo "no function has a name: is the plugin stripped of its symbols?" >&2
  exit 1
fi
# A line of a section in the map is followed by one for each of its symbols.
LC_ALL=C awk 'NR == FNR { run[$0]; next }
  /:\(/ { section = $0; next }
  $NF in run && (!(section in first) || $NF < first[section]) { first[section] = $NF }
  END { for (section in first) print first[section] }' "$work/names" "$map" |
  LC_ALL=C sort -u >"$work/firsts"
if [[ ! -s "$work/firsts" ]]; then
  echo "no function of the start is in $map: is it the plugin's, of lld, with --no-demangle?" >&2
  exit 1
fi
{
  echo "# Functions that a cold start of the plugin runs, one a section, for the linker's"
  echo "# --symbol-ordering-file. Made by bench/make_startup_order.sh; not to be edited."
  echo "# compiler: $compiler"
  cat "$work/firsts"
} >"$work/list"
mv "$work/list" "$list"
