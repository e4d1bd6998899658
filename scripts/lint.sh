#!/usr/bin/env bash
# The checks of style: clang-format, clang-tidy, cppcheck, the direction of
# includes, how templates are written, the lists of sources, shellcheck, black,
# flake8 and buildifier, each at zero findings. clang-tidy needs the build folder of
# the preset dev. With --fix the formatters rewrite the files first.
#
#   scripts/lint.sh [--fix]
set -euo pipefail
cd "$(dirname "$0")/.."

# shellcheck source=scripts/option.sh
source scripts/option.sh
read_option --fix "$@"
scripts/setup.sh build test lint
if [[ ! -f build/dev/compile_commands.json ]]; then
  echo "lint.sh: clang-tidy needs build/dev, which is not there; run scripts/test.sh first." >&2
  exit 1
fi

mapfile -t sources < <(git ls-files '*.h' '*.cc' ':!tests/golden')
mapfile -t units < <(git ls-files 'src/*.cc')
mapfile -t scripts < <(git ls-files 'scripts/*.sh' '.ci/run' '*.sh' | sort -u)
mapfile -t pythons < <(git ls-files '*.py')
mapfile -t bazels < <(git ls-files '*.bzl' '*.bazel' '*BUILD' '*WORKSPACE')
buildifier=build/tools/node_modules/.bin/buildifier

if $given; then
  clang-format-14 -i "${sources[@]}"
  black --quiet "${pythons[@]}"
  "$buildifier" "${bazels[@]}"
fi

echo "clang-format: ${#sources[@]} files"
clang-format-14 --dry-run -Werror "${sources[@]}"

echo "clang-tidy: ${#units[@]} files"
printf '%s\n' "${units[@]}" |
  xargs -P "$(nproc)" -n 4 clang-tidy-14 -p build/dev --quiet --warnings-as-errors='*'

echo "cppcheck: src"
cppcheck --enable=warning,style,performance,portability --inline-suppr \
  --error-exitcode=1 --quiet --std=c++17 --language=c++ \
  --suppress=missingIncludeSystem -I src src

# Includes run downwards: text, naming, header beside source, plugin; the linter
# knows no section. The one exception is the record of parameters.
echo "includes: src"
check_floor() {
  local room=$1 above=$2
  if grep -nE "^#include \"($above)/" "src/$room"/* | grep -v 'plugin/parameters\.h'; then
    echo "lint.sh: src/$room must not include what stands above or beside it" >&2
    exit 1
  fi
}
check_floor text 'naming|header|source|plugin|lint'
check_floor naming 'header|source|plugin|lint'
check_floor header 'source|plugin|lint'
check_floor source 'header|plugin|lint'
check_floor plugin 'lint'
check_floor lint 'header|source'

# A template is a raw literal that reads like what it prints, so that a search for
# a piece of a line finds it. Escapes and literals that are joined stand only
# where this says: a blank at the end of a line, which would not be seen; texts
# that are joined without a printer; macros, whose prefix is no variable.
echo "templates: src/header src/source"
if ! diff -U0 --label "the list in lint.sh" --label "src/" - <(
  grep -oP '"([^"\\]|\\.)*\\([^"\\]|\\.)*"' src/{header,source}/*.cc | grep -v ':"\\n"$'
  # Two literals, at least the end of a raw one and a quote, with no more than
  # space and comments between.
  grep -zoP '(\)"|"[^"\n]*")\s*(//.*\s*)*R?"' src/{header,source}/*.cc | tr '\0' '\n' |
    grep -o '^src.*:'
) <<'END'; then
src/header/client_calls.cc:"  return ::qarn::rpc::client::AsyncBatchCall< \n"
src/header/client_calls.cc:"  return ::qarn::rpc::client::AsyncBatchCall< \n"
src/header/frame.cc:" {\n"
src/header/traits.cc:"\n\n"
src/header/traits.cc:"_METHOD_NAMES \\\n"
src/header/traits.cc:"_METHODS \\\n"
src/header/traits.cc:"_METHOD(NAME) \\\n"
src/header/traits.cc:" \\\n"
src/header/client_calls.cc:
src/header/client_calls.cc:
END
  echo "lint.sh: write a raw literal, or add the exception to the list with its reason" >&2
  exit 1
fi

# CMake and Bazel name each source, so a file that one of them lacks would only
# show in that build.
echo "source lists: src"
for list in src/CMakeLists.txt src/BUILD.bazel; do
  if ! diff -U0 --label "$list" --label "the files in src/" \
    <(grep -oE '[a-z_]+/[a-z_]+\.cc' "$list" | sort) \
    <(find src -name '*.cc' -printf '%P\n' | sort); then
    echo "lint.sh: $list must name each .cc file of src/ once; correct it as shown above" >&2
    exit 1
  fi
done

echo "shellcheck: ${#scripts[@]} files"
shellcheck "${scripts[@]}"

echo "black and flake8: ${#pythons[@]} files"
black --check --diff --quiet "${pythons[@]}" || {
  echo "lint.sh: black would make these changes; run scripts/lint.sh --fix." >&2
  exit 1
}
flake8 "${pythons[@]}"

echo "buildifier: ${#bazels[@]} files"
"$buildifier" -mode=check -lint=warn "${bazels[@]}"
