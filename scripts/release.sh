#!/usr/bin/env bash
# Makes the files of the release VERSION, which is the version of this tree, in
# DIR, build/release-files if it is not given: archives, Debian and npm packages,
# the source archive, a bill of materials and their checksums. Then it tries them,
# and says what only the owner of the project can add. RELEASING.md has the steps
# around it.
#
# What is released is the commit that is checked out; a tree with changes that are
# not committed is refused. All is built in a Debian root, made with mmdebstrap
# below build/platforms/ and kept there, so that nothing depends on what is
# installed here; delete the root to have a fresh one. DIR is written when all has
# passed, in place of the files of an earlier run. Needs the user root, git and
# mmdebstrap.
#
#   scripts/release.sh VERSION [--out DIR] [--only PLATFORM]
#                      [--key FILE [--public-key FILE]]
#
#   --only PLATFORM    the files of one platform: linux-x86_64, linux-aarch_64,
#                      linux-s390_64 or win64
#   --key FILE         signs the checksums with this secret key of minisign
#   --public-key FILE  what the signature is checked with; packaging/minisign.pub
#                      if it is not given
#
# Exit status: 1 if something failed, 2 for wrong usage.
set -euo pipefail
here=$(dirname "$(readlink -f "$0")")

usage() {
  echo "release.sh: $1" >&2
  echo "usage: scripts/release.sh VERSION [--out DIR] [--only PLATFORM]" \
    "[--key FILE [--public-key FILE]]" >&2
  exit 2
}

fail() {
  echo "release.sh: $1" >&2
  exit 1
}

version=
out=$here/../build/release-files
only=
key=
public_key=
while [[ $# -gt 0 ]]; do
  case "$1" in
    --out | --only | --key | --public-key)
      [[ -n "${2:-}" ]] || usage "$1 needs a value"
      case "$1" in
        --out) out=$2 ;;
        --only) only=$2 ;;
        --key) key=$2 ;;
        --public-key) public_key=$2 ;;
      esac
      shift 2
      ;;
    -*) usage "there is no option $1" ;;
    *)
      [[ -z "$version" ]] || usage "there is one VERSION, and not $version and $1"
      version=$1
      shift
      ;;
  esac
done
[[ -n "$version" ]] || usage "say which VERSION, so that it is the one that you mean"
mapfile -t platforms < <(sed -n 's/^\([a-z][^ ]*\) .*/\1/p' "$here/release/platforms.txt")
if [[ -n "$only" ]]; then
  [[ " ${platforms[*]} " == *" $only "* ]] ||
    usage "there is no platform '$only'; there are ${platforms[*]}"
  platforms=("$only")
fi
out=$(readlink -m "$out")
if [[ -n "$key" ]]; then
  public_key=${public_key:-$here/../packaging/minisign.pub}
  for file in "$key" "$public_key"; do
    [[ -f "$file" ]] || usage "there is no key $file; --key needs a secret and a public one"
  done
  key=$(readlink -f "$key")
  public_key=$(readlink -f "$public_key")
elif [[ -n "$public_key" ]]; then
  usage "--public-key is for --key"
fi

cd "$here/.."
command -v python3 >/dev/null || scripts/setup.sh release
described=$(scripts/release/project.py) || exit 1
tree_version=${described%% *}
[[ "$version" == "$tree_version" ]] ||
  usage "this tree is $tree_version, as CMakeLists.txt says, and not $version"
[[ "$(git rev-parse --show-toplevel 2>/dev/null)" == "$PWD" ]] ||
  fail "$PWD is not a checkout of git, whose commit could be released"
changes=$(git status --porcelain)
if [[ -n "$changes" ]]; then
  fail "these files are not committed, so no commit has what would be released:"$'\n'"$changes"
fi
# An earlier run's files are replaced; anything else is somebody's.
others=$(cd "$out" 2>/dev/null && ls --almost-all --ignore='SHA256SUMS*' --ignore='qarn-rpc-gen[-_]*') || true
if [[ -e "$out" && ( -n "$others" || ! -d "$out" ) ]]; then
  fail "$out is there and holds other files than those of a release; name another folder with --out"
fi
[[ $(id -u) -eq 0 ]] || fail "making a Debian root needs the user root"

scripts/setup.sh release
root=$PWD/build/platforms/release
root_name=release
[[ "$only" != linux-x86_64 ]] || root_name=release-x86_64
mkdir -p "$(dirname "$root")" "$(dirname "$out")"
log=$root.log
echo "release.sh: the log is $log"
scripts/platforms/make_root.sh "$root_name" "$root" >"$log" 2>&1 ||
  fail "the Debian root could not be made; the log says why"
echo "release.sh: the root is ready after $SECONDS seconds"

# One run's files in the root, and beside DIR those that are not yet tried.
run=$(mktemp -d "$root/release.XXXXXX")
new=$out.new
trap 'rm -rf "$run" "$new"' EXIT
rm -rf "$new"
chmod 755 "$run"
mkdir "$run/tree"
git archive HEAD | tar --extract --directory "$run/tree"

# in_root COMMAND...: runs it in the root, in the log; $run is /run_name there.
run_name=/$(basename "$run")
in_root() {
  scripts/platforms/in_root.sh "$root" "$@" >>"$log" 2>&1
}

in_root "$run_name/tree/scripts/release/build.sh" "$run_name/files" "${platforms[@]}" ||
  fail "the build failed; the log says why"
echo "release.sh: the files are built after $SECONDS seconds"

(
  cd "$run/files"
  export LC_ALL=C
  sha256sum -- * >SHA256SUMS
  if [[ -n "$key" ]]; then
    # Its own comment would hold the time.
    minisign -S -s "$key" -m SHA256SUMS -t "qarn-rpc-gen $version" \
      -c "signature of qarn-rpc-gen $version" >>"$log"
  fi
)
gate=("$run_name/files")
[[ -z "$only" ]] || gate+=(--only "$only")
if [[ -n "$key" ]]; then
  cp "$public_key" "$run/minisign.pub"
  gate+=(--public-key "$run_name/minisign.pub")
fi
in_root "$run_name/tree/scripts/release/gate.py" "${gate[@]}" ||
  fail "the gate refuses the files; the log says why"
echo "release.sh: the gate lets them pass after $SECONDS seconds"
in_root "$run_name/tree/scripts/release/try.sh" "$run_name/files" "${platforms[@]}" ||
  fail "the files do not do what they should; the log says where"
echo "release.sh: they serve users' builds, after $SECONDS seconds"

# Copied first: DIR may be on another file system.
cp -r --no-preserve=ownership "$run/files" "$new"
rm -rf "$out"
mv "$new" "$out"
echo "release.sh: $out has"
(cd "$out" && ls -sh1)

echo "release.sh: what the owner of the project has to add before this is published:"
# shellcheck disable=SC2016 # the backticks are the table's
sed -n '/^## What only the owner/,/^## /s/^| `\([^`]*\)` | \(.*\) |$/\1\t\2/p' RELEASING.md |
  while IFS=$'\t' read -r file what; do
    [[ -e "$file" ]] || echo "  $file: $what"
  done
[[ -n "$key" ]] || echo "  A signature: no --key was given, so SHA256SUMS is not signed."
if sed -n '/^## Unreleased/,/^## [0-9]/p' CHANGELOG.md | grep -q '^- '; then
  echo "  A number: CHANGELOG.md has lines under 'Unreleased', and $version holds those changes."
fi
