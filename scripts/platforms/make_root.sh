#!/usr/bin/env bash
# Makes the root NAME of scripts/platforms.sh in FOLDER: the smallest Debian of
# its suite, from the mirror that this machine's apt uses, in which scripts/setup.sh
# installs the groups of the root. With --bare nothing is installed. A root that is
# there is kept, and only packages that it lacks are added. Needs root and
# mmdebstrap.
#
#   scripts/platforms/make_root.sh [--bare] NAME FOLDER
set -euo pipefail
here=$(dirname "$(readlink -f "$0")")
# shellcheck source=/dev/null
source "$here/roots.sh"

bare=false
if [[ "$1" == --bare ]]; then
  bare=true
  shift
fi
name=$1
root=$2
suite=$(platform_suite "$name")

# Debian's main archive, as this machine's apt knows it; its security archive
# and others have other labels.
# shellcheck disable=SC2016 # apt's own variables
mirror=$(apt-get indextargets --format '$(LABEL) $(COMPONENT) $(REPO_URI)' \
  'Created-By: Packages' | sed -n '/^Debian main /{s///p;q}')
if [[ -z "$mirror" ]]; then
  echo "make_root.sh: apt has no package lists of Debian; run apt-get update" >&2
  exit 1
fi

if [[ ! -e "$root" ]]; then
  mapfile -t proxies < <(apt-config dump | sed -n '/^Acquire::https\?::.*Proxy/Is/^/--aptopt=/p')
  # Under another name until it is whole, so that an interrupted run leaves no
  # root that looks like one.
  rm -rf "$root.partial"
  mkdir -p "$(dirname "$root")"
  mmdebstrap --variant=minbase "${proxies[@]}" --aptopt='Acquire::Languages "none"' \
    --aptopt='Acquire::Check-Valid-Until "false"' "$suite" "$root.partial" "$mirror"
  if [[ "$name" == sid-protobuf36 ]]; then
    # protobuf alone is taken from there: its own libabsl is of another release
    # than the one that protobuf was built with.
    echo "deb $mirror experimental main" >>"$root.partial/etc/apt/sources.list"
    cat >"$root.partial/etc/apt/preferences.d/protobuf" <<'END'
Package: protobuf-compiler libprotobuf* libprotoc* libupb* libutf8-range*
Pin: release a=experimental
Pin-Priority: 990
END
  fi
  mv "$root.partial" "$root"
fi

if ! $bare; then
  for architecture in $(platform_foreign "$name"); do
    "$here/in_root.sh" "$root" dpkg --add-architecture "$architecture"
  done
  # It belongs to no tree there, and leaves nothing beside itself.
  install -D "$here/../setup.sh" "$root/opt/setup/scripts/setup.sh"
  read -ra groups < <(platform_groups "$name")
  "$here/in_root.sh" "$root" /opt/setup/scripts/setup.sh "${groups[@]}"
  "$here/in_root.sh" "$root" apt-get clean
fi
