# What each root of scripts/platforms.sh is: sourced by the scripts that make
# the roots and work in them.
#
#   platform_names          the names, in the order in which they are run
#   platform_suite NAME     the Debian suite
#   platform_kind NAME      how it is built there: by its CMake; by a script,
#                           because its CMake is too old; or for another
#                           architecture: native, script or cross
#   platform_packages NAME  what is installed besides the smallest Debian
# shellcheck shell=bash
# shellcheck disable=SC2034 # the names are used where this is sourced

platform_names=(debian12 debian13 sid sid-protobuf36 debian11-protobuf arm64 s390x)

platform_suite() {
  case "$1" in
    debian11-*) echo bullseye ;;
    debian12) echo bookworm ;;
    debian13 | arm64 | s390x) echo trixie ;;
    sid | sid-*) echo sid ;;
  esac
}

platform_kind() {
  case "$1" in
    debian11-*) echo script ;;
    arm64 | s390x) echo cross ;;
    *) echo native ;;
  esac
}

platform_packages() {
  case "$(platform_kind "$1")" in
    native)
      echo clang cmake diffutils g++ git libbenchmark-dev libboost-dev ninja-build
      echo libgmock-dev libgtest-dev libprotobuf-dev libprotoc-dev lld make meson
      echo pkg-config protobuf-compiler python3
      # For the fuzzers.
      if [[ "$1" == debian12 ]]; then echo libclang-rt-14-dev; else echo libclang-rt-dev; fi
      ;;
    script)
      echo clang diffutils g++ libboost-dev libgmock-dev libgtest-dev libprotobuf-dev
      echo libprotoc-dev protobuf-compiler python3
      ;;
    cross)
      # protoc runs as it is, and starts the plugin under qemu.
      echo cmake diffutils ninja-build protobuf-compiler python3 qemu-user
      echo "crossbuild-essential-$1 libboost-dev:$1 libprotobuf-dev:$1 libprotoc-dev:$1"
      echo "zlib1g-dev:$1"
      ;;
  esac
}
