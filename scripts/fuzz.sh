#!/usr/bin/env bash
# Fuzzes for so many seconds, with AddressSanitizer and
# UndefinedBehaviorSanitizer: all targets, or those that are named, as many side
# by side as there are processors. What they learn stays in
# build/fuzz/corpus/TARGET for the next run, reduced to what adds something. The
# exit status is 1 if there is a finding; its input and the command that repeats
# it are printed then. Each run prints its seed; the output of each target is in
# build/fuzz/TARGET.log.
#
#   scripts/fuzz.sh SECONDS [TARGET...]
#   scripts/fuzz.sh --keep [TARGET...]    takes over into the source tree, of what
#                                         was learned, what reaches another edge
set -euo pipefail
cd "$(dirname "$0")/.."

usage() {
  echo "usage: scripts/fuzz.sh SECONDS|--keep [TARGET...]" >&2
  exit 2
}
[[ $# -ge 1 && ("$1" == --keep || "$1" =~ ^[1-9][0-9]*$) ]] || usage
action=$1
shift

scripts/setup.sh build test lint
cmake --preset fuzz >/dev/null
mapfile -t known < <(cut -d ' ' -f 1 build/fuzz/fuzzers.txt)
targets=("$@")
if [[ $# -eq 0 ]]; then
  targets=("${known[@]}")
fi
for target in "${targets[@]}"; do
  if [[ ! " ${known[*]} " == *" $target "* ]]; then
    echo "fuzz.sh: there is no target '$target'; the targets are: ${known[*]}" >&2
    exit 2
  fi
done
cmake --build --preset fuzz --target fuzzers --parallel "$(nproc)"

# Sets what the functions below need of a target: its `fuzzer`, the corpus that
# is `kept`, the `options` to run it with, and the corpus that is `learned`.
look_up() {
  read -r -a options < <(grep "^$1 " build/fuzz/fuzzers.txt)
  fuzzer=build/fuzz/$1_fuzzer
  kept=${options[1]}
  options=("${options[@]:2}")
  learned=build/fuzz/corpus/$1
  mkdir -p "$learned" "$kept"
}

# reduce TARGET EMPTY_FOLDER SOURCE... : copies into the folder what of the
# sources reaches something that its own inputs do not.
reduce() {
  look_up "$1"
  "$fuzzer" "${options[@]}" -merge=1 "${@:2}" >"build/fuzz/$1.merge.log" 2>&1 || {
    echo "fuzz.sh: the corpus of $1 could not be reduced; see build/fuzz/$1.merge.log" >&2
    return 1
  }
}

# Fuzzes one target; runs in a process of its own.
fuzz() {
  local target=$1 seconds=$2 seed=$3 findings=build/fuzz/findings/$1 new status=0
  look_up "$target"
  mkdir -p "$findings"
  echo "fuzz.sh: $target, $seconds seconds, seed $seed"
  # Short stacks of allocations and a small quarantine save time. A finding is
  # run again without them.
  TIMEFORMAT='%U seconds of processor time, and %S in the system'
  { time ASAN_OPTIONS=malloc_context_size=1:quarantine_size_mb=8 \
    "$fuzzer" "${options[@]}" -seed="$seed" -max_total_time="$seconds" -timeout=25 \
    -print_final_stats=1 -artifact_prefix="$findings/" \
    "$learned" "$kept"; } >"build/fuzz/$target.log" 2>&1 || status=1
  grep -hE '^(FINDING|SUMMARY|Done|[0-9.]+ seconds of)' \
    "build/fuzz/$target.log" | sed "s/^/$target: /" || true
  if [[ -n "$(ls -A "$findings")" ]]; then
    status=1
    echo "fuzz.sh: $target has findings, perhaps of earlier runs. To repeat them:" >&2
    printf "  $fuzzer %s\n" "$findings"/* >&2
  elif [[ $status -ne 0 ]]; then
    echo "fuzz.sh: $target ended with an error; see build/fuzz/$target.log" >&2
  else
    new=$(mktemp -d build/fuzz/corpus/new.XXXXXX)
    if reduce "$target" "$new" "$learned" "$kept"; then
      rm -r "$learned"
      mv "$new" "$learned"
      chmod 755 "$learned"
    else
      status=1
      rm -r "$new"
    fi
  fi
  return "$status"
}

# Makes the inputs of a target in the source tree anew: those with names stay,
# and of the others and of what was learned those that reach an edge more.
keep() {
  local target=$1 new named
  look_up "$target"
  new=$(mktemp -d build/fuzz/corpus/new.XXXXXX)
  mapfile -t named < <(find "$kept" -type f -printf '%f\n' | grep -vxE '[0-9a-f]{40}')
  for name in "${named[@]}"; do
    cp "$kept/$name" "$new/"
  done
  # Edges alone, and not how often each is reached.
  options+=(-use_counters=0)
  "$fuzzer" "${options[@]}" -merge=1 "$new" "$kept" "$learned" \
    >"build/fuzz/$target.merge.log" 2>&1
  rm -r "$kept"
  mv "$new" "$kept"
  chmod 755 "$kept"
  echo "fuzz.sh: $target: $(find "$kept" -type f | wc -l) inputs, ${#named[@]} with names"
}

mkdir -p build/fuzz/corpus
status=0
for target in "${targets[@]}"; do
  if [[ $action == --keep ]]; then
    keep "$target"
    continue
  fi
  while [[ $(jobs -r | wc -l) -ge $(nproc) ]]; do
    wait -n || status=1
  done
  fuzz "$target" "$action" "$((RANDOM * 32768 + RANDOM + 1))" &
done
while [[ -n "$(jobs -p)" ]]; do
  wait -n || { [[ $? -eq 127 ]] && break || status=1; }
done
exit "$status"
