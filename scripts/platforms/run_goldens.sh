#!/usr/bin/env bash
# Generates the golden cases with protoc and both plugins, and compares with the
# expected files, byte for byte. For systems that run the plugins but not the
# tests. The last line printed is the number of runs. Exit status 1 if a file
# differs.
#
# Left out are the cases of an edition that protoc does not take, and, with
# PLAIN, those that need a plugin for any syntax.
#
#   scripts/platforms/run_goldens.sh PLAIN ANY
set -euo pipefail
plain=$(readlink -f "$1")
any=$(readlink -f "$2")
cd "$(dirname "$0")/../.."

protoc=(protoc -I proto)
case "$(protoc --version)" in
  *' '3.1[234].*) protoc+=(--experimental_allow_proto3_optional) ;;
esac

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
count=0
failed=0

# run_golden CASE RUN PLUGIN: RUN is the folder of the expected files.
run_golden() {
  local protos=$1/proto run=$2 plugin=$3 output files parameter=${2##*/}
  output=$work/$((++count))
  mkdir "$output"
  mapfile -t files < <(cd "$protos" && find . -type f -printf '%P\n' | sort)
  [[ "$parameter" != plain ]] || parameter=
  if ! "${protoc[@]}" -I "$protos" --plugin="protoc-gen-qarn-rpc=$plugin" \
    --qarn-rpc_out="$output" ${parameter:+--qarn-rpc_opt="$parameter"} "${files[@]}" ||
    ! diff -ru "$run" "$output"; then
    echo "run_goldens.sh: ${protos%/proto} differs from $run with ${plugin##*/}" >&2
    failed=$((failed + 1))
  fi
}

for folder in tests/golden/*/; do
  folder=${folder%/}
  plugins=("$plain" "$any")
  case "${folder##*/}" in
    proto3_optional) plugins=("$any") ;;
    edition_*)
      plugins=("$any")
      mapfile -t files < <(find "$folder/proto" -type f)
      if ! protoc -I proto -I "$folder/proto" --descriptor_set_out=/dev/null \
        "${files[@]}" 2>/dev/null; then
        continue
      fi
      ;;
  esac
  expected=$folder
  if [[ -f "$folder/SAME_AS" ]]; then
    expected=tests/golden/$(<"$folder/SAME_AS")
  fi
  before=$count
  for run in "$expected"/*/; do
    run=${run%/}
    # Without a folder the pattern stands for itself.
    [[ "$run" != */proto && -d "$run" ]] || continue
    for plugin in "${plugins[@]}"; do
      run_golden "$folder" "$run" "$plugin"
    done
  done
  if [[ "$count" -eq "$before" ]]; then
    echo "run_goldens.sh: $folder has no folder with expected files, and names no case that has" >&2
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
