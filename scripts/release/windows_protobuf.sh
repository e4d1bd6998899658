#!/usr/bin/env bash
# Builds protobuf for Windows with mingw-w64, from Debian's source package of the
# release that is installed: archives, headers and protoc.exe, without a library
# that Windows lacks. Installs them, with a link to Boost's headers, as the package
# protobuf-mingw-w64, so that dpkg knows whose each file is. Does nothing if that
# is there.
#
# Runs in a root of scripts/release.sh, whose packages it needs.
#
#   scripts/release/windows_protobuf.sh
set -euo pipefail
here=$(dirname "$(readlink -f "$0")")

# shellcheck disable=SC2016 # dpkg-query's own variables
version=$(dpkg-query --show --showformat '${source:Version}' protobuf-compiler)
# shellcheck disable=SC2016
if [[ "$(dpkg-query --show --showformat '${db:Status-Status} ${Version}' \
  protobuf-mingw-w64 2>/dev/null)" == "installed $version" ]]; then
  exit 0
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
sed -n 's/^deb /deb-src /p' /etc/apt/sources.list >/etc/apt/sources.list.d/source.list
apt-get update -qq
apt-get source -qq -o APT::Sandbox::User=root "protobuf=$version"
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
Source: protobuf
Version: $version
Architecture: all
Maintainer: scripts/release <nobody@localhost>
Description: protobuf for Windows, built here
END
dpkg-deb --root-owner-group --build staged package.deb
dpkg --install package.deb
