#!/bin/sh
# Runs protoc, which writes to a staging folder, and copies what differs to
# another one.
#
#   generate.sh STAGING_FOLDER FOLDER PROTOC ARGUMENT...
set -eu
staging=$1
folder=$2
shift 2
rm -rf "$staging"
mkdir -p "$staging"
"$@"
(cd "$staging" && find . -type f) | while read -r file; do
  mkdir -p "$(dirname "$folder/$file")"
  cmp -s "$staging/$file" "$folder/$file" || cp "$staging/$file" "$folder/$file"
done
