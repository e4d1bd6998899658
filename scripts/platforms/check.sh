#!/usr/bin/env bash
# Builds and tests the tree that it lies in, inside the root NAME of
# scripts/platforms.sh. Standard output is the log. Writes to FOLDER:
#
#   versions  a line for each tool: its name, a tab, its version
#   results   a line for each step: its name, a tab, passed or failed, a tab,
#             what it counted, if it counts
#
# Exit status 1 if a step failed.
#
#   scripts/platforms/check.sh NAME FOLDER
set -uo pipefail
here=$(dirname "$(readlink -f "$0")")
# shellcheck source=/dev/null
source "$here/roots.sh"
cd "$here/../.." || exit 1

name=$1
folder=$2
kind=$(platform_kind "$name")
jobs=$(nproc)

# step NAME COMMAND...: runs the command and writes down how it ended. The
# command leaves in `counted` what is worth telling. Status: the command's.
step() {
  local step=$1 status=passed since=$SECONDS
  shift
  counted=
  echo "== $step"
  "$@" || status=failed
  echo "== $step: $status after $((SECONDS - since)) seconds"
  printf '%s\t%s\t%s\n' "$step" "$status" "$counted" >>"$folder/results"
  [[ "$status" == passed ]]
}

# version TOOL COMMAND...: the first number with dots that the command prints.
version() {
  local tool=$1
  shift
  printf '%s\t%s\n' "$tool" "$("$@" | grep -oE '[0-9]+(\.[0-9]+)+' | head -n 1)"
}

write_versions() {
  version protobuf protoc --version
  if [[ "$kind" == cross ]]; then
    version g++ "$triple-g++" -dumpfullversion
  else
    version g++ g++ -dumpfullversion
    version clang clang++ --version
  fi
  version Boost sed -n 's/^#define BOOST_LIB_VERSION "\(.*\)_\(.*\)"/\1.\2/p' \
    /usr/include/boost/version.hpp
  [[ "$kind" == script ]] || version CMake cmake --version
  [[ "$kind" != native ]] || version Meson meson --version
  [[ "$kind" != native ]] || version Python python3 --version
}

# run_tests BUILD_FOLDER OPTION...: runs ctest and counts.
run_tests() {
  local build=$1 status=0 report="$folder/ctest.xml"
  shift
  rm -f "$report"
  ctest --test-dir "$build" --output-on-failure --no-tests=error --parallel "$jobs" \
    --output-junit "$report" "$@" || status=1
  counted="$(count_in_report tests) tests"
  for what in failures skipped; do
    number=$(count_in_report "$what")
    [[ "$number" == 0 ]] || counted+=", $number $what"
  done
  return "$status"
}

count_in_report() {
  sed -n "s/.*[[:space:]]$1=\"\([0-9]*\)\".*/\1/p;T;q" "$report"
}

# run_goldens PLAIN ANY: the two plugins.
run_goldens() {
  local log="$folder/goldens.log" status=0
  "$here/run_goldens.sh" "$@" >"$log" 2>&1 || status=1
  cat "$log"
  counted=$(tail -n 1 "$log")
  return "$status"
}

# ------------------------------------------------------------------------------
# Where CMake is new enough.

build_all() {
  cmake --preset dev -DQARN_RPC_BUILD_BENCH=ON && cmake --build --preset dev
}

build_all_with_clang() {
  cmake --preset clang -DQARN_RPC_BUILD_BENCH=ON -DQARN_RPC_BUILD_FUZZERS=ON &&
    cmake --build --preset clang
}

check_static_programs() {
  cmake --preset release && cmake --build --preset release &&
    run_goldens build/release/protoc-gen-qarn-rpc{,-any}
}

check_native() {
  step "build" build_all || return
  step "core suite" run_tests build/dev --label-regex '^core$'
  step "static programs" check_static_programs
  step "build with clang" build_all_with_clang
  step "newest standards" run_tests build/dev --label-regex '^newest$'
  # Those of CMake, Make and Meson; the others are the same on every system.
  step "consumers" run_tests build/dev --label-regex '^consumers$' \
    --exclude-regex '^consumers\.(man_page|buf|deb.*|docs.*)$'
}

# ------------------------------------------------------------------------------
# Where it is not: each source on its own, and one link for each program.

# compile_all COMPILER SOURCE...: with the warnings that the CMake build has.
compile_all() {
  local compiler=$1 source
  shift
  for source in "$@"; do
    echo "-c $source -o $objects/$source.o"
  done |
    xargs -P "$jobs" -L 1 "$compiler" -std=c++17 -O1 -Isrc -Itests -isystem "$objects" \
      -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror \
      "-DQARN_RPC_PLUGIN=\"$PWD/$objects/protoc-gen-qarn-rpc\"" \
      "-DQARN_RPC_PLUGIN_ANY=\"$PWD/$objects/protoc-gen-qarn-rpc-any\"" \
      "-DQARN_RPC_PROTOC=\"/usr/bin/protoc\"" \
      "-DQARN_RPC_PROTO_FOLDER=\"$PWD/proto\"" \
      "-DQARN_RPC_GOLDEN_FOLDER=\"$PWD/tests/golden\""
}

# Sets `objects`, the folder of what is built, and makes the plugins there.
build_by_script() {
  local compiler=$1 schema=morvane/qarn/rpc/service_options
  objects=build/$1
  rm -rf "$objects"
  find src tests/unit tests/golden tests/support -type d -printf "$objects/%p\n" |
    xargs mkdir -p "$objects/$(dirname "$schema")"
  # Without the linter, which runs where CMake does.
  mapfile -t sources < <(find src -name '*.cc' ! -path '*/lint/*')
  protoc -I proto --cpp_out="$objects" "$schema.proto" &&
    "$compiler" -std=c++17 -O1 -w "-I$objects" -c "$objects/$schema.pb.cc" \
      -o "$objects/$schema.o" &&
    compile_all "$compiler" "${sources[@]}" &&
    mapfile -t library < <(find "$objects/src" "$objects/morvane" -name '*.o' ! -name '*main.cc.o') &&
    "$compiler" -static "${library[@]}" "$objects/src/plugin/main.cc.o" \
      -lprotoc -lprotobuf -pthread -o "$objects/protoc-gen-qarn-rpc" &&
    "$compiler" -static "${library[@]}" "$objects/src/plugin/any_syntax_main.cc.o" \
      -lprotoc -lprotobuf -pthread -o "$objects/protoc-gen-qarn-rpc-any"
}

# The tests of the sources and of whole files, in one program.
test_by_script() {
  local compiler=$1 log="$folder/tests.log"
  mapfile -t sources < <(find tests/unit tests/golden tests/support -name '*.cc' \
    ! -path '*/proto/*')
  compile_all "$compiler" "${sources[@]}" || return
  sources=("${sources[@]/#/$objects/}")
  "$compiler" "${library[@]}" "${sources[@]/%/.o}" \
      -lgtest_main -lgmock -lgtest -lprotoc -lprotobuf -pthread -o "$objects/all_tests" &&
    "$objects/all_tests" --gtest_brief=1 | tee "$log" &&
    counted="$(sed -n 's/^\[  PASSED  \] \([0-9]* tests\).*/\1/p' "$log")"
}

check_by_script() {
  # The tests are linked with what the last one made.
  for compiler in clang++ g++; do
    step "static programs with $compiler" build_by_script "$compiler" &&
      step "goldens" run_goldens "$objects"/protoc-gen-qarn-rpc{,-any}
  done
  step "tests of src and of whole files" test_by_script "$compiler"
}

# ------------------------------------------------------------------------------
# For another architecture.

build_for_architecture() {
  cmake -G Ninja -B build/cross -DCMAKE_BUILD_TYPE=Release -DCMAKE_SYSTEM_NAME=Linux \
    -DCMAKE_SYSTEM_PROCESSOR="$cpu" -DCMAKE_CXX_COMPILER="$triple-g++" \
    -DQARN_RPC_WARNINGS_AS_ERRORS=ON &&
    cmake --build build/cross
}

check_cross() {
  step "static build" build_for_architecture || return
  mkdir -p build/qemu
  for plugin in protoc-gen-qarn-rpc protoc-gen-qarn-rpc-any; do
    printf '#!/bin/sh\nexec qemu-%s %s/build/cross/%s "$@"\n' "$cpu" "$PWD" "$plugin" \
      >"build/qemu/$plugin"
    chmod +x "build/qemu/$plugin"
  done
  step "goldens under qemu" run_goldens build/qemu/protoc-gen-qarn-rpc{,-any}
}

# ------------------------------------------------------------------------------

rm -rf "$folder"
mkdir -p "$folder"
case "$name" in
  arm64) cpu=aarch64 ;;
  *) cpu=$name ;;
esac
triple=$cpu-linux-gnu
write_versions >"$folder/versions"
case "$kind" in
  native) check_native ;;
  script) check_by_script ;;
  cross) check_cross ;;
esac
! grep -q $'\tfailed\t' "$folder/results"
