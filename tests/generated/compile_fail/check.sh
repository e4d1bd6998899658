#!/usr/bin/env bash
# Checks that a source does not compile, for the reason that its first line
# gives:
#
#   // must fail: WHY; expect: REGEX
#
# REGEX is extended and is looked for in the compiler's errors. The same source
# must compile with -DMENDED, so that it cannot fail for another reason.
#
#   check.sh SOURCE COMPILER ARGUMENT...
set -euo pipefail
source=$1
shift

line=$(head -n 1 "$source")
regex=${line##*; expect: }
if [[ "$line" != "// must fail: "*"; expect: "* || -z "$regex" ]]; then
  echo "$source: the first line is not '// must fail: WHY; expect: REGEX'"
  exit 1
fi

if ! errors=$("$@" -DMENDED "$source" 2>&1); then
  printf '%s does not compile even when mended:\n%s\n' "$source" "$errors"
  exit 1
fi
if errors=$("$@" "$source" 2>&1); then
  printf '%s compiles, and must not\n' "$source"
  exit 1
fi
if ! grep 'error:' <<<"$errors" | grep -Eq -- "$regex"; then
  printf '%s fails, but no error matches "%s":\n%s\n' "$source" "$regex" "$errors"
  exit 1
fi
