#!/usr/bin/env bash
# Makes the root NAME of scripts/platforms.sh in FOLDER: the smallest Debian of
# its suite, from the mirror that this machine's apt uses, and the packages that
# the root needs. A root that is there is kept; only packages that it lacks are
# added. Needs root and debootstrap.
#
#   scripts/platforms/make_root.sh NAME FOLDER
set -euo pipefail
here=$(dirname "$(readlink -f "$0")")
# shellcheck source=/dev/null
source "$here/roots.sh"

name=$1
root=$2
suite=$(platform_suite "$name")
mapfile -t packages < <(platform_packages "$name" | xargs -n 1)

# Debian's main archive, as this machine's apt knows it; its security archive
# and others have other labels.
# shellcheck disable=SC2016 # apt's own variables
mirror=$(apt-get indextargets --format '$(LABEL) $(COMPONENT) $(REPO_URI)' \
  'Created-By: Packages' | sed -n '/^Debian main /{s///p;q}')
if [[ -z "$mirror" ]]; then
  echo "make_root.sh: apt has no lists of Debian here; run apt-get update" >&2
  exit 1
fi
proxies=$(apt-config dump | grep -i '^Acquire::https\?::.*Proxy' || true)

if [[ ! -e "$root" ]]; then
  # Under another name until it is whole, so that an interrupted run leaves no
  # root that looks like one.
  rm -rf "$root.partial"
  mkdir -p "$(dirname "$root")"
  eval "$(apt-config shell http_proxy Acquire::http::Proxy)"
  [[ -z "${http_proxy:-}" ]] || export http_proxy
  debootstrap --variant=minbase "$suite" "$root.partial" "$mirror"
  mv "$root.partial" "$root"
fi

cat >"$root/etc/apt/apt.conf.d/99platforms" <<END
APT::Install-Recommends "false";
Acquire::Check-Valid-Until "false";
Acquire::Languages "none";
$proxies
END
echo "deb $mirror $suite main" >"$root/etc/apt/sources.list"
if [[ "$name" == sid-protobuf36 ]]; then
  # protobuf alone is taken from there: its own libabsl is of another release
  # than the one that protobuf was built with.
  echo "deb $mirror experimental main" >>"$root/etc/apt/sources.list"
  cat >"$root/etc/apt/preferences.d/protobuf" <<'END'
Package: protobuf-compiler libprotobuf* libprotoc* libupb* libutf8-range*
Pin: release a=experimental
Pin-Priority: 990
END
fi

in_root=("$here/in_root.sh" "$root" env DEBIAN_FRONTEND=noninteractive)
for architecture in $(platform_foreign "$name"); do
  "${in_root[@]}" dpkg --add-architecture "$architecture"
done
# dpkg-query fails when one is missing.
# shellcheck disable=SC2016 # dpkg-query's own variables
states=$("${in_root[@]}" dpkg-query --show --showformat '${db:Status-Status}\n' \
  "${packages[@]}" 2>/dev/null) || states=missing
if grep -qv '^installed$' <<<"$states"; then
  "${in_root[@]}" apt-get update -qq
  "${in_root[@]}" apt-get install -y -qq "${packages[@]}"
  "${in_root[@]}" apt-get clean
fi
