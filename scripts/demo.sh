#!/usr/bin/env bash
# Installs what is missing, builds the plugin, generates the code of the example
# in examples/echo, shows it, and builds and runs the example as a project of its
# own: a server and a client, two processes that talk over WebSocket. When a step fails,
# its whole output is shown, and the last line says which step it was.
set -euo pipefail
cd "$(dirname "$0")/.."

if [[ $# -gt 0 ]]; then
  echo "usage: scripts/demo.sh" >&2
  exit 2
fi

# Says by itself what it lacks.
scripts/setup.sh build

log=$(mktemp)
leave() {
  local status=$?
  rm -f "$log"
  [[ "$status" -eq 0 ]] || echo "demo.sh: this step failed: $step" >&2
}
trap leave EXIT

# Prints a command, then runs it.
show() {
  step=$*
  printf '\n$ %s\n' "$step"
  "$@"
}
# The same with the first two lines of its output alone, unless it fails.
show_start() {
  step=$*
  printf '\n$ %s\n' "$step"
  "$@" >"$log" 2>&1 || {
    cat "$log"
    return 1
  }
  sed -n '1,2p' "$log"
}

show_start cmake --preset release
show cmake --build --preset release

out=build/demo
rm -rf "$out"
mkdir -p "$out"

printf '\nprotoc will warn that the options schema has no syntax line. That is harmless.\n'
show protoc -I examples/echo -I proto \
  --plugin=protoc-gen-qarn-rpc=build/release/protoc-gen-qarn-rpc-any \
  --cpp_out="$out" \
  --qarn-rpc_out="$out" --qarn-rpc_opt=services_namespace=api \
  text.proto echo.proto

step="showing the generated files"
printf '\nThe files:\n'
(cd "$out" && find . -type f -printf '  %P\n' | sort)

printf '\nHow the class of a client begins, in echo.rpc.h:\n\n'
sed -n '/^  class Stub /,/^    template/p' "$out/echo.rpc.h" | sed '$d'
printf '    ...\n'

printf '\nWhat a server implements:\n\n'
sed -n '/^  class Service /,/^  };/p' "$out/echo.rpc.h"

# The RPC runtime is the user's. The example comes with a small one.
printf '\nThe server and the client are a CMake project, which uses the installed plugin:\n'
show_start cmake --install build/release --prefix "$PWD/$out/prefix"
show_start cmake -G Ninja -S examples/echo -B "$out/build" "-DCMAKE_PREFIX_PATH=$PWD/$out/prefix"
show_start cmake --build "$out/build" --parallel 2

show examples/echo/talk.sh "$out/build/echo_server" "$out/build/echo_client"
