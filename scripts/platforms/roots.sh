# What each root of scripts/platforms.sh is: sourced by the scripts that make
# the roots and work in them.
#
#   platform_names          the names, in the order in which they are run;
#                           sid-bazel, of scripts/bazel_sid.sh, is not among them
#   platform_suite NAME     the Debian suite
#   platform_kind NAME      how it is built there: by its CMake; by a script,
#                           because its CMake is too old; or for another
#                           architecture: native, script or cross
#   platform_foreign NAME   the architectures of the packages, besides its own
#   platform_groups NAME    the groups of scripts/setup.sh that are installed in it
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
    arm64 | s390x) echo cross ;;
    *) echo native ;;
  esac
}

platform_foreign() {
  case "$1" in
    arm64 | s390x) echo "$1" ;;
    release) echo arm64 s390x ;;
  esac
}

platform_groups() {
  case "$1" in
    release) echo build release-files release-foreign ;;
    release-x86_64) echo build release-files ;;
    sid-bazel) echo build bazel ;;
    arm64 | s390x) echo build "cross-$1" ;;
    debian11-*) echo build test native ;;
    *) echo build test native "native-$(platform_suite "$1")" ;;
  esac
}

# Prints nothing if one can.
reason_against_roots() {
  if [[ $(id -u) -ne 0 ]]; then
    echo "only the user root can make a root"
  elif ! scripts/setup.sh platforms >&2; then
    echo "mmdebstrap could not be installed"
  elif ! unshare --mount true 2>/dev/null; then
    echo "this system does not allow mounts, not even by root"
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
