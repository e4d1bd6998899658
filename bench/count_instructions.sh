#!/usr/bin/env bash
# Counts the instructions of the generator for a fixed input and compares them
# with the figure in bench/instructions.txt: fails when there are over 3 % more.
# Unlike a time, the count does not depend on the machine, only on the libraries
# that are linked in.
#
#   count_instructions.sh PLUGIN PROTOC TOOLCHAIN
#
# TOOLCHAIN says what the plugin was built with. The count depends on it, so the
# file names the toolchain that its figure is for; with another one, and where
# valgrind is missing, the check is skipped (status 77).
#
# With QARN_RPC_UPDATE_INSTRUCTIONS=1 the file is rewritten instead. With another
# toolchain than before, the figure of the first version goes: it no longer
# compares.

set -euo pipefail

if [[ $# -ne 3 ]]; then
  echo "usage: count_instructions.sh PLUGIN PROTOC TOOLCHAIN" >&2
  exit 1
fi
plugin=$1
protoc=$2
toolchain=$3
bench=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
record="$bench/instructions.txt"
methods=200

if ! command -v valgrind >/dev/null; then
  echo "skipped: valgrind is missing (apt-get install valgrind)"
  exit 77
fi
recorded=$(sed -n 's/^toolchain: //p' "$record" 2>/dev/null || true)
if [[ "$recorded" != "$toolchain" && "${QARN_RPC_UPDATE_INSTRUCTIONS:-}" != 1 ]]; then
  echo "skipped: the figure is for another toolchain"
  echo "  recorded: ${recorded:-none}"
  echo "  here:     $toolchain"
  exit 77
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
/usr/bin/env python3 "$bench/make_inputs.py" "$work" "$methods"
QARN_RPC_REQUEST="$work/request" "$protoc" \
  --plugin=protoc-gen-save="$bench/save_request.sh" --save_out="$work" \
  -I"$bench/../proto" -I"$work/growth" "growth$methods.proto" 2>"$work/protoc.log" || {
  cat "$work/protoc.log" >&2
  exit 1
}

# What is outside Generate depends on the environment, so only the inside
# counts. The C library picks its copying functions by the processor, and how
# they copy by its caches: the settings make it pick the same ones everywhere.
tunables=glibc.cpu.hwcaps=-AVX512F,-AVX512VL,-AVX512BW,-AVX2,-AVX,-ERMS,-FSRM,-SSSE3,-SSE4_1,-SSE4_2
tunables+=:glibc.cpu.x86_non_temporal_threshold=0x4000000
env -i PATH=/usr/bin:/bin "GLIBC_TUNABLES=$tunables" \
  valgrind --tool=callgrind --callgrind-out-file="$work/profile" \
  --toggle-collect='CppGenerator::Generate*' "$plugin" \
  <"$work/request" >/dev/null 2>"$work/valgrind.log" || {
  cat "$work/valgrind.log" >&2
  exit 1
}
count=$(sed -n 's/^totals: //p' "$work/profile")
if [[ ! "$count" =~ ^[1-9][0-9]*$ ]]; then
  echo "callgrind counted nothing: is the plugin stripped of its symbols?" >&2
  exit 1
fi
echo "instructions: $count for $methods methods"

if [[ "${QARN_RPC_UPDATE_INSTRUCTIONS:-}" == 1 ]]; then
  first=
  if [[ "$recorded" == "$toolchain" ]]; then
    first=$(grep '^first version: ' "$record" || true)
  fi
  {
    echo "instructions: $count"
    if [[ -n "$first" ]]; then
      echo "$first"
    fi
    echo "toolchain: $toolchain"
  } >"$record"
  exit 0
fi
expected=$(sed -n 's/^instructions: //p' "$record")
echo "recorded:     $expected"
if ((count * 100 > expected * 103)); then
  echo "That is over 3 % more. If it is worth it, renew the figure:" >&2
  echo "  QARN_RPC_UPDATE_INSTRUCTIONS=1 ctest --test-dir BUILD_FOLDER -R 'instructions\.protoc-gen-qarn-rpc$'" >&2
  exit 1
fi
