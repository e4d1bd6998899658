#!/usr/bin/env bash
# Installs the Debian and npm packages that the groups named as arguments need. Says
# ahead what it installs, and does nothing when all of it is there. With --no-install
# it only says it. On a system without apt it looks for what the groups "build" and
# "test" need, and names what is missing.
#
#   scripts/setup.sh [--no-install] GROUP...
#
# Exit status: 1 if something is missing that it cannot install, or if this tree
# cannot be written; 2 for wrong usage.
set -euo pipefail
cd "$(dirname "$0")/.."

# What each group needs. Several groups may name a package.
declare -A packages=(
  # The plugin itself. lld makes the static release start a little faster.
  [build]="g++ cmake ninja-build protobuf-compiler libprotobuf-dev libprotoc-dev libboost-dev lld"
  # The core suite.
  [test]="diffutils libgmock-dev libgtest-dev pkg-config python3 python3-pytest"
  # The checks of style, the second compiler, sanitizers, coverage.
  [lint]="black clang clang-format-14 clang-tidy-14 cppcheck flake8 gcovr libclang-rt-14-dev
    nodejs npm shellcheck"
  # The slower tests: other compilers and builds, packaged service definitions,
  # instruction counts, memory checks.
  [all]="clang libbenchmark-dev valgrind
    golang-github-containerd-containerd-dev golang-etcd-server-dev
    golang-github-gogo-protobuf-dev golang-github-gogo-googleapis-dev
    binutils dpkg-dev fakeroot file gzip lintian locales make man-db meson nodejs npm
    pkg-config python3-websockets strace util-linux
    bazel-bootstrap bazel-platforms bazel-rules-java bazel-rules-proto bazel-skylib"
  # The test of buf.
  [buf]="nodejs npm"
  # The test of the format of a release's bill of materials.
  [bill]="nodejs npm"
  # Roots of other Debian releases, to build and test in.
  [platforms]="git mmdebstrap tar util-linux"
  # The release, which is built in such a root.
  [release]="git libarchive-tools minisign mmdebstrap python3 tar util-linux zip"
  # The benchmarks, and each of the programs that the plugin is measured against.
  [bench]="gnuplot-nox libbenchmark-dev pkg-config python3 valgrind"
  [capnproto]="capnproto"
  [ice]="zeroc-ice-compilers"
  [protobuf-c]="protobuf-c-compiler"
  [thrift]="thrift-compiler"

  # In the roots that scripts/platforms/roots.sh names, beside "build" and "test":
  # what is tried there, and what another suite calls otherwise.
  [native]="clang libbenchmark-dev make meson"
  [native-bookworm]="libclang-rt-14-dev"
  [native-trixie]="libclang-rt-dev"
  [native-sid]="libclang-rt-dev"
  # protoc runs as it is, and starts the plugin under qemu.
  [cross-arm64]="qemu-user crossbuild-essential-arm64 libboost-dev:arm64
    libprotobuf-dev:arm64 libprotoc-dev:arm64"
  [cross-s390x]="qemu-user crossbuild-essential-s390x libboost-dev:s390x
    libprotobuf-dev:s390x libprotoc-dev:s390x"
  # Bazel 7, and the servers of a cache and of remote execution.
  [bazel]="bazel-bootstrap bazel-platforms bazel-rules-cc bazel-rules-java
    bazel-rules-proto bazel-skylib buildbox nginx python3-pytest siso"
  # To pack the files of a release, and for the gate.
  [release-files]="diffutils dpkg-dev file gzip libarchive-tools lintian minisign pkg-config
    python3-pytest tar zip"
  # To make them twice and to show where they differ.
  [reproducible]="diffoscope-minimal faketime locales-all reprotest sudo"
  # The other architectures and Windows.
  [release-foreign]="crossbuild-essential-arm64 libprotobuf-dev:arm64 libprotoc-dev:arm64
    crossbuild-essential-s390x libprotobuf-dev:s390x libprotoc-dev:s390x
    g++-mingw-w64-x86-64-posix qemu-user wine wine64"
)

# What Debian has not, from npm, into the folder build/tools of the project.
declare -A npm_packages=(
  [bill]="@cyclonedx/cyclonedx-library@10.3.0 ajv@8.20.0 ajv-formats@3.0.1
    ajv-formats-draft2019@1.6.1"
  [buf]="@bufbuild/buf@1.75.0"
  [lint]="@bazel/buildifier@8.2.1"
)

# What the groups need where there is no apt: group, kind, name.
needs() {
  cat <<'END'
build program c++
build program cmake
build program ninja
build program protoc
build header boost/version.hpp
build header google/protobuf/compiler/code_generator.h
build library protobuf
build library protoc
test program diff
test program pkg-config
test program python3
test module pytest
test header gmock/gmock.h
test header gtest/gtest.h
test library gmock
test library gtest
END
}

# Whether the compiler, told where CMake looks besides, finds what is named.
has() {
  local kind=$1 name=$2 prefix prefixes flags=()
  IFS=: read -ra prefixes <<<"${CMAKE_PREFIX_PATH:-}"
  for prefix in "${prefixes[@]}"; do
    flags+=("-I$prefix/include" "-L$prefix/lib")
  done
  case "$kind" in
    program) command -v "$name" ;;
    module) python3 -c "import $name" ;;
    header) c++ "${flags[@]}" -x c++ -E - <<<"#include <$name>" ;;
    library) c++ "${flags[@]}" -x c++ - "-l$name" -o /dev/null <<<'int main() {}' ;;
  esac >/dev/null 2>&1
}

fail() {
  printf 'setup.sh: %s\n' "$@" >&2
  exit 1
}

usage() {
  [[ $# -eq 0 ]] || echo "setup.sh: $1" >&2
  echo "usage: scripts/setup.sh [--no-install] GROUP...   groups: ${!packages[*]}" >&2
  exit 2
}

install=true
if [[ "${1:-}" == --no-install ]]; then
  install=false
  shift
fi
[[ $# -gt 0 ]] || usage
needed=()
for group in "$@"; do
  [[ -n "${packages[$group]:-}" ]] || usage "there is no group '$group'"
  read -r -d '' -a names <<<"${packages[$group]}" || true
  needed+=("${names[@]}")
done

# Builds and what comes from npm go there.
written=build
[[ -e build ]] || written=.
[[ -w "$written" ]] ||
  fail "$(id -un) cannot write to $(readlink -f "$written"); use a copy of this tree in a folder of your own"

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
  missing=()
  while read -r group kind name; do
    if [[ " $* " == *" $group "* ]] && ! has "$kind" "$name"; then
      missing+=("$kind $name")
    fi
  done < <(needs)
  if [[ ${#missing[@]} -gt 0 ]]; then
    echo "This system has no apt. These are needed, by their names in Debian 12:"
    printf '  %s\n' "${needed[@]}" | sort -u
    fail "not found: $(printf '%s, ' "${missing[@]}" | sed 's/, $//')" \
      "install them in the way of your system; CMAKE_PREFIX_PATH may name where they are installed"
  fi
  exit
fi

missing=()
for package in "${needed[@]}"; do
  # npm may have come with a nodejs from elsewhere, beside which Debian's cannot
  # be installed.
  if [[ "$package" == npm ]] && command -v npm >/dev/null; then
    continue
  fi
  status=$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null || true)
  # dpkg-query names a package once for each architecture that has it.
  if [[ "$status" != installed* ]]; then
    missing+=("$package")
  fi
done
if [[ ${#missing[@]} -gt 0 ]]; then
  mapfile -t missing < <(printf '%s\n' "${missing[@]}" | sort -u)
  echo "To be installed with apt: ${missing[*]}"
  if $install; then
    by_hand="run as root: apt-get update && apt-get install ${missing[*]}"
    as_root=()
    if [[ $(id -u) -ne 0 ]]; then
      command -v sudo >/dev/null ||
        fail "installing needs root or sudo, and neither is available; $by_hand"
      as_root=(sudo)
    fi
    if ! "${as_root[@]}" apt-get update -qq || ! "${as_root[@]}" \
      env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null; then
      fail "apt-get failed, see its output above; $by_hand"
    fi
  fi
fi

for group in "$@"; do
  for package in ${npm_packages[$group]:-}; do
    # The folder has the name without the version, and says which it is.
    name=${package%@*}
    if ! grep -qsF "\"version\": \"${package##*@}\"" "build/tools/node_modules/$name/package.json"; then
      echo "To be installed with npm, in build/tools: $package"
      if $install; then
        npm install --silent --no-audit --no-fund --prefix build/tools "$package" ||
          fail "npm could not install $package"
      fi
    fi
  done
done
