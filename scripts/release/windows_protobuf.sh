#!/usr/bin/env bash
# Builds protobuf for Windows with mingw-w64, from Debian's source package of the
# release that is installed: archives, headers and protoc.exe, which need no library
# that Windows lacks. Installs them as the package protobuf-mingw-w64, so that dpkg
# knows whose each file is. Beside the headers lies a link to Boost's, which the
# plugin and generated code need too. Does nothing if what is installed was made
# from the same source, by the same script and compiler.
#
# For a root of scripts/release.sh, whose packages it needs, and the user root.
#
#   scripts/release/windows_protobuf.sh
set -euo pipefail
here=$(dirname "$(readlink -f "$0")")

# shellcheck disable=SC2016 # dpkg-query's own variables
{
  source_version=$(dpkg-query --show --showformat '${source:Version}' protobuf-compiler)
  recipe=$({
    cat "$here/windows_protobuf.sh" "$here/mingw.cmake"
    dpkg-query --show g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev
  } | sha256sum | head --bytes 16)
  version=$source_version+$recipe
  installed=$(dpkg-query --show --showformat '${db:Status-Status} ${Version}' \
    protobuf-mingw-w64 2>/dev/null) || true
}
if [[ "$installed" == "installed $version" ]]; then
  exit 0
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
# Lists of its own: the system's stay as they are.
mkdir -p lists/partial
sed -n 's/^deb /deb-src /p' /etc/apt/sources.list >source.list
apt=(apt-get -qq -o "Dir::Etc::SourceList=$work/source.list" -o Dir::Etc::SourceParts=-
  -o "Dir::State::Lists=$work/lists" -o APT::Sandbox::User=root)
"${apt[@]}" update
"${apt[@]}" source "protobuf=$source_version"
source=$(echo protobuf-*/)

prefix=/usr/lib/protobuf-mingw-w64
cmake -S "$source" -B build -G Ninja --toolchain "$here/mingw.cmake" \
  -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_CXX_STANDARD=17 \
  -DCMAKE_CXX_FLAGS="-ffile-prefix-map=$work=. -ffunction-sections -fdata-sections" \
  -DCMAKE_EXE_LINKER_FLAGS=-static \
  -DCMAKE_INSTALL_PREFIX="$prefix" \
  -Dprotobuf_BUILD_TESTS=OFF \
  -Dprotobuf_WITH_ZLIB=OFF
cmake --build build
DESTDIR=$work/staged cmake --install build --strip
ln -s /usr/include/boost "staged$prefix/include/boost"
mkdir staged/DEBIAN
cat >staged/DEBIAN/control <<END
Package: protobuf-mingw-w64
Source: protobuf ($source_version)
Version: $version
Architecture: all
Maintainer: scripts/release <nobody@localhost>
Description: protobuf for Windows, built here
END
dpkg-deb --root-owner-group --build staged package.deb
dpkg --install package.deb
