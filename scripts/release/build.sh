#!/usr/bin/env bash
# Makes the files of the release from the tree that it lies in, which must be
# fresh: the source archive, the archives and packages (Debian's and npm's) of each
# PLATFORM of platforms.txt, and the bill of materials. Writes them to the new folder FOLDER.
#
# Runs in a root of scripts/release.sh, whose packages it needs. The same tree and
# the same packages give the same bytes, whatever the user, the place of the tree,
# the time and the environment are.
#
#   scripts/release/build.sh FOLDER PLATFORM...
set -euo pipefail
here=$(dirname "$(readlink -f "$0")")
folder=$(readlink -m "$1")
shift
cd "$here/../.."

export LC_ALL=C.UTF-8 TZ=UTC0
umask 022
# Python's own files would become part of the tree.
export PYTHONDONTWRITEBYTECODE=1

if [[ -e build ]]; then
  echo "build.sh: $PWD/build is there, so this tree is not fresh; unpack the source archive anew" >&2
  exit 1
fi
described=$(scripts/release/project.py)
read -r version _ SOURCE_DATE_EPOCH <<<"$described"
export SOURCE_DATE_EPOCH
name=qarn-rpc-gen-$version
work=$PWD/build/release-files
mkdir "$folder"

# The tree under the name that the archive gives it.
pack_source() {
  mkdir -p "$work/source/$name"
  tar --create --exclude=./build . | tar --extract --directory "$work/source/$name"
  scripts/release/pack.sh "$work/source/$name" "$folder/$name.tar.gz"
}

# build_platform PLATFORM SYSTEM DEBIAN TRIPLE CPU NODE DEB: the columns of
# platforms.txt.
build_platform() {
  local platform=$1 system=$2 debian=$3 triple=$4 cpu=$5 node=$6 deb=$7
  local place=$work/$platform tree=$work/$platform/tree/$name-$platform
  local target=(-DCMAKE_CXX_COMPILER="$triple-g++")
  if [[ "$system" == Windows ]]; then
    scripts/release/windows_protobuf.sh
    target=(--toolchain "$here/mingw.cmake")
  elif [[ "$debian" != "$(dpkg --print-architecture)" ]]; then
    # The cross compiler brings a C library of its own, an older one. That of the
    # architecture comes before it.
    target+=(-DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR="$cpu"
      -DCMAKE_EXE_LINKER_FLAGS="-B/usr/lib/$triple -L/usr/lib/$triple")
  fi
  mkdir -p "$place"
  cmake -S . -B "$place/build" -G Ninja "${target[@]}" \
    -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_FLAGS="-ffile-prefix-map=$PWD=." \
    -DCMAKE_CXX_LINKER_LAUNCHER="$here/record_link.sh;$place" \
    -DQARN_RPC_WARNINGS_AS_ERRORS=ON
  cmake --build "$place/build"
  cmake --install "$place/build" --prefix "$tree" --strip
  scripts/release/pack.sh "$tree" "$folder/$name-$platform.tar.gz" \
    "$folder/$name-$platform.zip"
  mkdir "$place/npm"
  cp -r packaging/npm/platform "$place/npm/package"
  cp -r "$tree/bin" "$place/npm/package"
  pack_npm "$place/npm/package" "$folder/qarn-rpc-gen-$node-$version.tgz" \
    "s/@SYSTEM@/${node%-*}/; s/@CPU@/${node#*-}/"
  if [[ "$deb" == deb ]]; then
    build_deb "$place" "$debian"
  fi
}

# pack_npm FOLDER ARCHIVE [EDIT]: packs the folder for npm; EDIT is for sed, and
# fills in its package.json what the version does not.
pack_npm() {
  sed -i "s/@VERSION@/$version/; ${3:-}" "$1/package.json"
  scripts/release/pack.sh "$1" "$2"
}

# build_deb PLACE DEBIAN: what CPack makes, packed again: CPack has no field
# Static-Built-Using, and dpkg-deb leaves the time of the build out.
build_deb() {
  local place=$1 debian=$2 staged=$1/deb/staged built_using
  built_using=$(scripts/release/linked.py "$place"/*.trace)
  cpack -G DEB -B "$place/deb" --config "$place/build/CPackConfig.cmake" \
    -D CPACK_DEBIAN_PACKAGE_ARCHITECTURE="$debian"
  dpkg-deb --raw-extract "$place"/deb/*.deb "$staged"
  sed -i "/^Depends: /a Static-Built-Using: $built_using" "$staged/DEBIAN/control"
  find "$staged" -exec touch --no-dereference --date "@$SOURCE_DATE_EPOCH" {} +
  dpkg-deb --root-owner-group -Zxz --build "$staged" "$folder"
}

pack_source
for platform in "$@"; do
  row=$(grep "^$platform " scripts/release/platforms.txt)
  # shellcheck disable=SC2086 # its columns
  build_platform $row
done
# The main npm package, which starts the programs of the others.
mkdir "$work/npm"
cp -r packaging/npm/main "$work/npm/package"
install -D -m 644 {proto,"$work"/npm/package/include}/morvane/qarn/rpc/service_options.proto
pack_npm "$work/npm/package" "$folder/$name.tgz"
scripts/release/bill.py "$folder" "$work" "$@"
