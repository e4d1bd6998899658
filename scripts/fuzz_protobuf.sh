#!/usr/bin/env bash
# Builds protobuf with AddressSanitizer and the fuzzer's instrumentation, from
# the source package of the installed release: build/fuzz-protobuf/protobuf then
# holds its archives and headers, which the preset fuzz-protobuf links. Does
# nothing when they are there. Takes some ten minutes of processor time, once.
#
#   scripts/fuzz_protobuf.sh
set -euo pipefail
cd "$(dirname "$0")/.."

if [[ $# -gt 0 ]]; then
  echo "usage: scripts/fuzz_protobuf.sh" >&2
  exit 2
fi
scripts/setup.sh build test lint fuzz

folder=$PWD/build/fuzz-protobuf/protobuf
version=$(dpkg-query --show --showformat='${source:Version}' libprotobuf-dev)
if [[ -f "$folder/version" && "$(<"$folder/version")" == "$version" ]]; then
  exit 0
fi
if [[ "$version" != 3.* ]]; then
  echo "fuzz_protobuf.sh: protobuf $version rests on Abseil, which this script does not build;" \
    "it takes protobuf 3, such as Debian 12's" >&2
  exit 1
fi
rm -rf "$folder"
mkdir -p "$folder/apt/parts" "$folder/apt/lists/partial" "$folder/source"

# The system's own sources of packages, asked for source packages, with lists of
# their own: the system's stay as they are.
shopt -s nullglob
for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
  [[ -f "$list" ]] || continue
  sed -n 's/^deb /deb-src /p' "$list" >"$folder/apt/parts/$(basename "${list%.list}").list"
done
for list in /etc/apt/sources.list.d/*.sources; do
  sed 's/^Types:.*/Types: deb-src/' "$list" >"$folder/apt/parts/$(basename "$list")"
done
apt=(apt-get -qq -o Dir::Etc::SourceList=/dev/null
  -o "Dir::Etc::SourceParts=$folder/apt/parts" -o "Dir::State::Lists=$folder/apt/lists"
  -o APT::Sandbox::User=root)
"${apt[@]}" update
(cd "$folder/source" && "${apt[@]}" source "protobuf=$version")
source=$(echo "$folder"/source/protobuf-*/)

# What a plugin and the parser of .proto files need, and no more: of the
# compiler's library that is three files.
flags="-fsanitize=fuzzer-no-link,address -fno-omit-frame-pointer -O1 -g1 -DNDEBUG"
cmake -S "$source" -B "$folder/build" -G Ninja -DCMAKE_BUILD_TYPE=None \
  -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_STANDARD=17 "-DCMAKE_CXX_FLAGS=$flags" \
  -Dprotobuf_BUILD_TESTS=OFF -Dprotobuf_BUILD_PROTOC_BINARIES=OFF \
  -Dprotobuf_WITH_ZLIB=OFF >/dev/null
cmake --build "$folder/build" --target libprotobuf --parallel "$(nproc)"
for name in code_generator plugin plugin.pb; do
  # shellcheck disable=SC2086  # Several flags.
  clang++ -std=c++17 $flags -DHAVE_PTHREAD=1 -I "$source/src" \
    -c "$source/src/google/protobuf/compiler/$name.cc" -o "$folder/build/$name.o"
done
ar rcs "$folder/libprotoc.a" "$folder"/build/{code_generator,plugin,plugin.pb}.o
cp "$folder/build/libprotobuf.a" "$folder/"
ln -s "${source%/}/src" "$folder/include"
echo "$version" >"$folder/version"
