#!/usr/bin/env bash
# Runs a command in the Debian root FOLDER, with a plain environment, and gives
# its exit status. What it mounts is seen by the command alone.
#
#   scripts/platforms/in_root.sh FOLDER COMMAND [ARGUMENT...]
set -euo pipefail

# pivot_root, since nothing can make a user namespace below a mere chroot, and
# sandboxes of build tools are made of these.
# shellcheck disable=SC2016 # the inner shell's arguments
exec unshare --mount \
  env --ignore-environment PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
  HOME=/root LANG=C.UTF-8 bash -c '
    set -e
    mount --bind "$0" "$0"
    mount -t proc proc "$0/proc"
    mount --rbind /dev "$0/dev"
    cd "$0"
    pivot_root . mnt
    umount --lazy /mnt
    cd /
    exec "$@"' "$@"
