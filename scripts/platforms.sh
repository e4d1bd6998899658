#!/usr/bin/env bash
# Builds and tests this tree in other releases of Debian and for other
# architectures: in one root for each NAME, or for every name there is. A root
# is made once, with mmdebstrap, and kept below build/platforms/; delete its
# folder to have a fresh one. The log lies beside it.
#
# Prints one line a root, and writes what was run to docs/platforms.md; the rows
# of other roots stay as they are. A root that cannot be made is not tried, and
# the line says why. Needs the user root, git and mmdebstrap.
#
#   scripts/platforms.sh [NAME...]
#
# Exit status: 1 if something failed, 2 for wrong usage.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/platforms/roots.sh
source scripts/platforms/roots.sh

usage() {
  echo "platforms.sh: $1" >&2
  echo "usage: scripts/platforms.sh [NAME...]   names: ${platform_names[*]}" >&2
  exit 2
}

names=("$@")
[[ $# -gt 0 ]] || names=("${platform_names[@]}")
for name in "${names[@]}"; do
  [[ " ${platform_names[*]} " == *" $name "* ]] || usage "there is no root '$name'"
done

place=$PWD/build/platforms
mkdir -p "$place"

# Runs all in the root $1: prints its line, and leaves its results in
# $place/$1.results. Status 1 if something failed.
run_root() {
  local name=$1 root=$place/$1 log=$place/$1.log results=$place/$1.results
  local since=$SECONDS reason status=0
  rm -rf "$results"
  mkdir "$results"
  reason=$(reason_against_roots)
  if [[ -z "$reason" ]] && ! scripts/platforms/make_root.sh "$name" "$root" >"$log" 2>&1; then
    reason="its root could not be made; build/platforms/$name.log says why"
  fi
  if [[ -n "$reason" ]]; then
    echo "$reason" >"$results/not-tried"
    echo "$name: not tried: $reason"
    return
  fi
  copy_tree "$root"
  scripts/platforms/in_root.sh "$root" \
    /src/scripts/platforms/check.sh "$name" /results >>"$log" 2>&1 || status=1
  cp "$root/results/"{versions,results} "$results"
  echo "$name: $(outcome "$results"), $(((SECONDS - since + 30) / 60)) minutes"
  if [[ "$status" -ne 0 ]]; then
    echo "  the log is build/platforms/$name.log"
  fi
  return "$status"
}

# What the steps came to, in a line. Failed ones come first.
outcome() {
  if [[ -e "$1/not-tried" ]]; then
    echo "not tried: $(<"$1/not-tried")"
    return
  fi
  awk -F '\t' '
    { text = $1 ($3 == "" ? "" : " (" $3 ")") }
    $2 == "failed" { failed = failed (failed == "" ? "" : ", ") text; next }
    { passed = passed (passed == "" ? "" : ", ") text }
    END {
      if (failed != "") printf "FAILED: %s; ", failed
      print "passed: " (passed == "" ? "nothing" : passed)
    }' "$1/results"
}

# The versions of what was used in the root with the results $1, in a line.
versions() {
  local tool version line=
  for tool in protobuf g++ clang Boost CMake Meson Python; do
    version=
    [[ ! -e "$1/versions" ]] || version=$(sed -n "s/^$tool\t//p" "$1/versions")
    line+=${version:+, $tool $version}
  done
  echo "${line#, }"
}

# The page's row for the root $1, from its results.
row() {
  local results=$place/$1.results
  echo "| \`$1\` | $(versions "$results") | $(date +%F), $(outcome "$results") |"
}

# Writes the page anew: the row of the root $1 from its results, the others as
# they stand.
write_page() {
  local page=docs/platforms.md name
  {
    cat <<'END'
# Platforms

What was built and tested where, and how that ended. `scripts/platforms.sh` writes this page, a row for each Debian root that it makes; the other tests run on Debian 12.

- The core suite is what `scripts/test.sh` runs. "Newest standards" are the golden files, compiled with warnings as errors, linked and called: with each compiler at the two newest standards that it takes, up to C++26. "Consumers" are CMake, Make and Meson projects.
- Both plugins, linked statically, generate every golden case that their `protoc` takes. Little else is run for other architectures, which qemu emulates, and on Debian 11, whose CMake is too old for this project: a script compiles the plugins there.

| Root | Versions | What was run |
|---|---|---|
END
    for name in "${platform_names[@]}"; do
      if [[ "$name" == "$1" ]]; then
        row "$name"
      elif ! grep -sF "| \`$name\` |" "$page"; then
        echo "| \`$name\` | | not run |"
      fi
    done
  } >"$page.new"
  mv "$page.new" "$page"
}

status=0
for name in "${names[@]}"; do
  run_root "$name" || status=1
  write_page "$name"
done
exit "$status"
