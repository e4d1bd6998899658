#!/usr/bin/env bash
# Runs a command in the Debian root FOLDER, with a plain environment, and gives
# its exit status. What it mounts is seen by the command alone.
#
#   scripts/platforms/in_root.sh FOLDER COMMAND [ARGUMENT...]
set -euo pipefail

# shellcheck disable=SC2016 # the inner shell's arguments
exec unshare --mount \
  env --ignore-environment PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
  HOME=/root LANG=C.UTF-8 bash -c '
    set -e
    mount -t proc proc "$0/proc"
    mount --rbind /dev "$0/dev"
    exec chroot "$0" "$@"' "$@"
