#!/usr/bin/env bash
# Installs what is missing, builds the plugin, generates the code of the example
# in examples/echo, shows it, and runs the example: a client and a server that
# talk to each other.
set -euo pipefail
cd "$(dirname "$0")/.."

if [[ $# -gt 0 ]]; then
  echo "usage: scripts/demo.sh" >&2
  exit 2
fi

# Prints a command, then runs it.
show() {
  printf '\n$'
  printf ' %s' "$@"
  printf '\n'
  "$@"
}

scripts/setup.sh build
cmake --preset release >/dev/null
cmake --build --preset release

out=build/demo
rm -rf "$out"
mkdir -p "$out"

printf '\nprotoc will warn that the options schema has no syntax line. It never had one.\n'
show protoc -I examples/echo -I proto \
  --plugin=build/release/protoc-gen-qarn-rpc \
  --cpp_out="$out" \
  --qarn-rpc_out="$out" --qarn-rpc_opt=services_namespace=api \
  text.proto echo.proto
# The example imports the options schema, so it needs its message code too.
show protoc -I proto --cpp_out="$out" morvane/qarn/rpc/service_options.proto

printf '\nThe files:\n'
(cd "$out" && find . -type f -printf '  %P\n' | sort)

printf '\nHow the class of a client begins, in echo.rpc.h:\n\n'
sed -n '/^  class Stub /,/^    template/p' "$out/echo.rpc.h" | sed '$d'
printf '    ...\n'

printf '\nWhat a server implements:\n\n'
sed -n '/^  class Service /,/^  };/p' "$out/echo.rpc.h"

# The RPC runtime is the user's. The example runs on the small one of the tests.
show c++ -std=c++17 -I "$out" -I tests/support/runtime \
  examples/echo/main.cc \
  "$out/echo.rpc.cpp" "$out/echo.pb.cc" "$out/text.pb.cc" \
  "$out/morvane/qarn/rpc/service_options.pb.cc" \
  -lprotobuf -pthread -o "$out/echo"

show "$out/echo"
