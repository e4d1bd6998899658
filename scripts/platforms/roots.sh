# What each root of scripts/platforms.sh is: sourced by the scripts that make
# the roots and work in them.
#
#   platform_names          the names, in the order in which they are run;
#                           sid-bazel, of scripts/bazel_sid.sh, is not among them
#   platform_suite NAME     the Debian suite
#   platform_kind NAME      how it is built there: by its CMake; by a script,
#                           because its CMake is too old; for another
#                           architecture; by Bazel; or, in the roots of
#                           scripts/release.sh, for all that are released:
#                           native, script, cross, bazel or release
#   platform_foreign NAME   the architectures of the packages, besides its own
#   platform_packages NAME  what is installed besides the smallest Debian
#   reason_against_roots    why no root can be made here
#   copy_tree ROOT          copies the project's tree, the current folder, to
#                           ROOT/src
#
# The roots of scripts/release.sh are no platforms, so platform_names lacks them:
# "release" has what all files need, "release-x86_64" what those for Linux on that
# architecture need.
# shellcheck shell=bash
# shellcheck disable=SC2034 # the names are used where this is sourced

platform_names=(debian12 debian13 sid sid-protobuf36 debian11-protobuf arm64 s390x)

platform_suite() {
  case "$1" in
    debian11-*) echo bullseye ;;
    debian12 | release*) echo bookworm ;;
    debian13 | arm64 | s390x) echo trixie ;;
    sid | sid-*) echo sid ;;
  esac
}

platform_kind() {
  case "$1" in
    debian11-*) echo script ;;
    sid-bazel) echo bazel ;;
    arm64 | s390x) echo cross ;;
    release*) echo release ;;
    *) echo native ;;
  esac
}

platform_foreign() {
  case "$1" in
    arm64 | s390x) echo "$1" ;;
    release) echo arm64 s390x ;;
  esac
}

platform_packages() {
  local architecture
  case "$(platform_kind "$1")" in
    native)
      echo clang cmake diffutils g++ git libbenchmark-dev libboost-dev ninja-build
      echo libgmock-dev libgtest-dev libprotobuf-dev libprotoc-dev lld make meson
      echo pkg-config protobuf-compiler python3-pytest
      # For the fuzzers.
      if [[ "$1" == debian12 ]]; then echo libclang-rt-14-dev; else echo libclang-rt-dev; fi
      ;;
    script)
      echo clang diffutils g++ libboost-dev libgmock-dev libgtest-dev libprotobuf-dev
      echo libprotoc-dev protobuf-compiler python3
      ;;
    bazel)
      # Bazel with its rules, the servers of a cache and of remote execution, and
      # what the plugin is built with.
      echo bazel-bootstrap bazel-platforms bazel-rules-cc bazel-rules-java
      echo bazel-rules-proto bazel-skylib buildbox cmake g++ libboost-dev
      echo libprotobuf-dev libprotoc-dev nginx ninja-build protobuf-compiler
      echo python3-pytest siso zlib1g-dev
      ;;
    cross)
      # protoc runs as it is, and starts the plugin under qemu.
      echo cmake diffutils ninja-build protobuf-compiler python3 qemu-user
      echo "crossbuild-essential-$1 libboost-dev:$1 libprotobuf-dev:$1 libprotoc-dev:$1"
      echo "zlib1g-dev:$1"
      ;;
    release)
      # To build and pack, and for the gate.
      echo cmake dpkg-dev file g++ gzip libboost-dev libprotobuf-dev libprotoc-dev
      echo lintian lld minisign ninja-build pkg-config protobuf-compiler python3-pytest
      echo zlib1g-dev
      for architecture in $(platform_foreign "$1"); do
        echo "crossbuild-essential-$architecture libprotobuf-dev:$architecture"
        echo "libprotoc-dev:$architecture zlib1g-dev:$architecture"
      done
      if [[ "$1" == release ]]; then
        echo g++-mingw-w64-x86-64-posix qemu-user wine wine64
      fi
      ;;
  esac
}

# Prints nothing if one can.
reason_against_roots() {
  if [[ $(id -u) -ne 0 ]]; then
    echo "making a root needs the user root"
  elif ! scripts/setup.sh platforms >&2; then
    echo "debootstrap could not be installed"
  elif ! unshare --mount true 2>/dev/null; then
    echo "this system lets nobody mount"
  fi
}

# Copies the tree as it is, with what is not committed.
copy_tree() {
  rm -rf "$1/src"
  mkdir -p "$1/src"
  git ls-files -z --cached --others --exclude-standard |
    while IFS= read -r -d '' file; do
      # A file that is deleted and not yet committed is named as well.
      if [[ -e "$file" ]]; then
        printf '%s\0' "$file"
      fi
    done |
    tar --create --null --files-from=- | tar --extract --directory "$1/src"
}
