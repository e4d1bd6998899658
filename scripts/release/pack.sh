#!/usr/bin/env bash
# Packs FOLDER under its last name, so that equal contents give equal archives. An
# ARCHIVE ends in .zip, or it is a compressed tar.
#
# Names are sorted, and all that differs between two machines is left out: owner and
# group are 0, every time is SOURCE_DATE_EPOCH, and a file can be run by all or by
# none. FOLDER itself gets these times and modes, since zip takes them from there.
#
#   SOURCE_DATE_EPOCH=SECONDS scripts/release/pack.sh FOLDER ARCHIVE...
set -euo pipefail
export LC_ALL=C TZ=UTC0

folder=$(readlink -f "$1")
name=${folder##*/}
shift
chmod -R u=rwX,go=rX "$folder"
find "$folder" -exec touch --no-dereference --date "@$SOURCE_DATE_EPOCH" {} +
for archive in "$@"; do
  archive=$(readlink -m "$archive")
  rm -f "$archive"
  cd "$folder/.."
  if [[ "$archive" == *.zip ]]; then
    find "$name" | sort | zip -q -9 -X -@ "$archive"
  else
    tar --create --format=gnu --sort=name --owner=0 --group=0 --numeric-owner \
      --hard-dereference "$name" |
      gzip -9n >"$archive"
  fi
done
