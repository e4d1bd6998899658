#!/usr/bin/env bash
# Installs the Debian and npm packages that the groups named as arguments need. Says
# what it installs, and does nothing when all of it is there. On a system
# without apt it lists what is needed instead, and succeeds if the tools of the
# group "build" are present.
#
#   scripts/setup.sh build test
set -euo pipefail

# What each group needs. Several groups may name a package.
declare -A packages=(
  # The plugin itself. lld makes the static release start a little faster.
  [build]="g++ cmake ninja-build protobuf-compiler libprotobuf-dev libprotoc-dev libboost-dev lld"
  # The core suite.
  [test]="diffutils libgmock-dev libgtest-dev pkg-config python3"
  # The checks of style, the second compiler, sanitizers, coverage.
  [lint]="black clang clang-format-14 clang-tidy-14 cppcheck flake8 gcovr libclang-rt-14-dev
    nodejs npm shellcheck"
  # The slower tests: other compilers and builds, packaged service definitions,
  # instruction counts, memory checks.
  [all]="clang libbenchmark-dev valgrind
    golang-github-containerd-containerd-dev golang-etcd-server-dev
    golang-github-gogo-protobuf-dev golang-github-gogo-googleapis-dev
    binutils dpkg-dev fakeroot file gzip lintian locales make man-db meson nodejs npm
    pkg-config strace util-linux
    bazel-bootstrap bazel-platforms bazel-rules-java bazel-rules-proto bazel-skylib"
  # Roots of other Debian releases, to build and test in.
  [platforms]="debootstrap git tar util-linux"
  # The release, which is built in such a root.
  [release]="debootstrap git minisign python3 tar util-linux"
  # The benchmarks, and each of the programs that the plugin is measured against.
  [bench]="libbenchmark-dev pkg-config python3 valgrind"
  [capnproto]="capnproto"
  [ice]="zeroc-ice-compilers"
  [protobuf-c]="protobuf-c-compiler"
  [thrift]="thrift-compiler"
)

# What Debian has not, from npm, into the folder build/tools of the project.
declare -A npm_packages=(
  [lint]="@bazel/buildifier@8.2.1"
)

if [[ $# -eq 0 ]]; then
  echo "usage: scripts/setup.sh GROUP...   groups: ${!packages[*]}" >&2
  exit 2
fi

needed=()
for group in "$@"; do
  if [[ -z "${packages[$group]:-}" ]]; then
    echo "setup.sh: there is no group '$group'; the groups are: ${!packages[*]}" >&2
    exit 2
  fi
  mapfile -t names < <(xargs -n 1 <<<"${packages[$group]}")
  needed+=("${names[@]}")
done

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
  echo "This system has no apt. The build needs what Debian 12 calls:"
  printf '  %s\n' "${needed[@]}" | sort -u
  for tool in c++ cmake ninja protoc; do
    if ! command -v "$tool" >/dev/null; then
      echo "setup.sh: '$tool' is not on the path. Install the list above by the means of your system." >&2
      exit 1
    fi
  done
  exit 0
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
  as_root=()
  if [[ $(id -u) -ne 0 ]]; then
    if ! command -v sudo >/dev/null; then
      echo "setup.sh: these packages are missing: ${missing[*]}" >&2
      echo "setup.sh: run 'apt-get install ${missing[*]}' as root, or install sudo." >&2
      exit 1
    fi
    as_root=(sudo)
  fi
  echo "Installing with apt: ${missing[*]}"
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

tools=$(dirname "$(readlink -f "$0")")/../build/tools
for group in "$@"; do
  for package in ${npm_packages[$group]:-}; do
    # The folder has the name without the version, and says which it is.
    name=${package%@*}
    if ! grep -qsF "\"version\": \"${package##*@}\"" "$tools/node_modules/$name/package.json"; then
      echo "Installing with npm: $package"
      npm install --silent --no-audit --no-fund --prefix "$tools" "$package"
    fi
  done
done
