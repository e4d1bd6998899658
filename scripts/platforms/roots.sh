# What each root of scripts/platforms.sh is: sourced by the scripts that make
# the roots and work in them.
#
#   platform_names          the names, in the order in which they are run
#   platform_suite NAME     the Debian suite
#   platform_arch NAME      the architecture that the plugin is compiled for,
#                           empty where it is the machine's own
#   platform_packages NAME  what is installed besides the smallest Debian
# shellcheck shell=bash

platform_names=(debian12 debian13 sid sid-protobuf36 debian11-protobuf arm64 s390x)

platform_suite() {
  case "$1" in
    debian11-*) echo bullseye ;;
    debian12) echo bookworm ;;
    debian13 | arm64 | s390x) echo trixie ;;
    sid | sid-*) echo sid ;;
  esac
}

platform_arch() {
  case "$1" in
    arm64 | s390x) echo "$1" ;;
  esac
}

platform_packages() {
  local arch
  arch=$(platform_arch "$1")
  if [[ -n "$arch" ]]; then
    # protoc runs here, what it starts runs under qemu.
    echo cmake diffutils ninja-build pkg-config protobuf-compiler python3 qemu-user
    echo "crossbuild-essential-$arch"
    echo "libprotobuf-dev:$arch libprotoc-dev:$arch zlib1g-dev:$arch libboost-dev"
  else
    echo binutils clang cmake diffutils file g++ git libbenchmark-dev libboost-dev
    echo libgmock-dev libgtest-dev libprotobuf-dev libprotoc-dev lld make man-db
    echo meson ninja-build pkg-config protobuf-compiler python3
  fi
}
