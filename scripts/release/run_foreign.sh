#!/usr/bin/env bash
# Runs a PROGRAM that is for another SYSTEM, as CMake calls it, or another CPU, as
# qemu calls it: under wine or under qemu. Wine keeps its files in $WINEPREFIX.
#
#   scripts/release/run_foreign.sh SYSTEM CPU PROGRAM [ARGUMENT...]
set -euo pipefail
system=$1
cpu=$2
shift 2

if [[ "$system" == Windows ]]; then
  # Without a display, and without .NET and a browser, which it would look for
  # when it sets up its folder. Its own messages are not the program's.
  unset DISPLAY WAYLAND_DISPLAY
  export WINEDLLOVERRIDES='mscoree,mshtml=' WINEDEBUG=-all
  exec wine "$@"
fi
emulator=$(command -v "qemu-$cpu" || command -v "qemu-$cpu-static") || {
  echo "run_foreign.sh: qemu-$cpu is not installed (Debian's package qemu-user)" >&2
  exit 127
}
exec "$emulator" "$@"
