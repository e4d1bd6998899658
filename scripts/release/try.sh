#!/usr/bin/env bash
# Tries the files of a release in FOLDER as users do, those of each PLATFORM: all
# golden cases with its programs, the CMake project and the list of files of the
# tests with its archive, lintian with its Debian package. A platform that is not
# this one runs under qemu. Belongs to the tree of the source archive that it lies
# in, and runs in a root of scripts/release.sh.
#
#   scripts/release/try.sh FOLDER PLATFORM...
set -euo pipefail
here=$(dirname "$(readlink -f "$0")")
folder=$(readlink -f "$1")
shift
cd "$here/../.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# run_by_qemu PREFIX CPU: puts scripts in place of the programs, which run them.
# The kernel would do the same for a program of another architecture, if somebody
# told it to.
run_by_qemu() {
  local prefix=$1 cpu=$2 program
  mkdir "$prefix/foreign"
  for program in "$prefix"/bin/*; do
    mv "$program" "$prefix/foreign"
    printf '#!/bin/sh\nexec qemu-%s %q "$@"\n' "$cpu" "$prefix/foreign/${program##*/}" >"$program"
    chmod +x "$program"
  done
}

# consumer SCENARIO: a test of users' builds, with the unpacked archive.
consumer() {
  (
    cd tests
    # What it would install and pack is not asked for.
    python3 -B -m consumers.consumers "$1" --source .. --build "$work/none" --work "$consumers"
  )
}

for platform in "$@"; do
  read -r _ debian _ cpu _ deb < <(grep "^$platform " scripts/release/platforms.txt)
  echo "== $platform"
  consumers=$work/$platform
  # Where the tests of users' builds look for what is installed.
  prefix=$consumers/moved/prefix
  mkdir -p "$prefix"
  tar --extract --file "$folder"/*-linux-"$platform".tar.gz --directory "$prefix" --strip-components=1
  consumer installed_files
  [[ "$debian" == "$(dpkg --print-architecture)" ]] || run_by_qemu "$prefix" "$cpu"
  scripts/platforms/run_goldens.sh "$prefix"/bin/protoc-gen-qarn-rpc{,-any}
  consumer cmake_ninja
  if [[ "$deb" == deb ]]; then
    # Only the owner of the project can settle this.
    lintian --allow-root --no-cfg --fail-on error,warning \
      --suppress-tags copyright-without-copyright-notice "$folder"/*_"$debian".deb
  fi
done
