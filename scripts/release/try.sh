#!/usr/bin/env bash
# Tries the files of a release in FOLDER as users do, those of each PLATFORM: all
# golden cases with its programs, the CMake project and the list of files of the
# tests with its archive, lintian with its Debian package. For Windows it also tries
# what those programs alone can get wrong. What is not for this machine runs under
# qemu or wine. Belongs to the tree of the source archive that it lies in, and runs in
# a root of scripts/release.sh.
#
#   scripts/release/try.sh FOLDER PLATFORM...
set -euo pipefail
here=$(dirname "$(readlink -f "$0")")
folder=$(readlink -f "$1")
shift
cd "$here/../.."

work=$(mktemp -d)
export WINEPREFIX=$work/wine
leave() {
  if [[ -d "$WINEPREFIX" ]]; then
    wineserver --kill || true
    wineserver --wait || true
  fi
  rm -rf "$work"
}
trap leave EXIT

# run_foreign PREFIX SYSTEM CPU: puts scripts in place of the programs, which run
# them. The kernel would do the same for a program of another system, if somebody
# told it to.
run_foreign() {
  local prefix=$1 program
  shift
  mkdir "$prefix/foreign"
  for program in "$prefix"/bin/*; do
    mv "$program" "$prefix/foreign"
    printf '#!/bin/sh\nexec %q %q %q %q "$@"\n' "$here/run_foreign.sh" "$@" \
      "$prefix/foreign/${program##*/}" >"$program"
    chmod +x "$program"
  done
}

# consumer TEST: a test of users' builds, with what is unpacked in $prefix.
consumer() {
  python3 -B -m pytest --basetemp="$work/consumer" --prefix="$prefix" "tests/consumers/$1"
}

for platform in "$@"; do
  read -r _ system debian _ cpu _ deb < <(grep "^$platform " scripts/release/platforms.txt)
  echo "== $platform"
  prefix=$work/$platform
  mkdir -p "$prefix"
  tar --extract --file "$folder"/*-"$platform".tar.gz --directory "$prefix" --strip-components=1
  consumer prefix_test.py::test_installed_files
  [[ "$debian" == "$(dpkg --print-architecture)" ]] || run_foreign "$prefix" "$system" "$cpu"
  suffix=
  [[ "$system" != Windows ]] || suffix=.exe
  scripts/platforms/run_goldens.sh "$prefix"/bin/protoc-gen-qarn-rpc{,-any}"$suffix"
  consumer cmake_test.py::test_cmake_ninja
  if [[ "$system" == Windows ]]; then
    python3 -B -m pytest --basetemp="$work/windows" --release="$folder" tests/release/windows_test.py
  fi
  if [[ "$deb" == deb ]]; then
    # Only the owner of the project can settle this.
    lintian --allow-root --no-cfg --fail-on error,warning \
      --suppress-tags copyright-without-copyright-notice "$folder"/*_"$debian".deb
  fi
done
