#!/usr/bin/env bash
# Runs a program and compares what it prints with a file.
#
#   check_output.sh PROGRAM EXPECTED
set -euo pipefail
"$1" | diff -u "$2" -
