#!/usr/bin/env bash
# Runs the COMMAND that links a program, and leaves in FOLDER/PROGRAM.trace which
# files the linker took and which members of archives. Is CMake's linker launcher.
#
#   scripts/release/record_link.sh FOLDER COMMAND... -o PROGRAM...
set -euo pipefail

folder=$1
shift
program=
for ((i = 1; i < $#; ++i)); do
  if [[ "${!i}" == -o ]]; then
    next=$((i + 1))
    program=$(basename "${!next}")
  fi
done
# GNU ld names the members of archives if it is told twice.
"$@" -Wl,--trace,--trace >"$folder/$program.trace"
