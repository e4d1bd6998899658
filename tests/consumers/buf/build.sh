#!/usr/bin/env bash
# Generates with buf and compiles. RPC_RUNTIME_DIR is the folder of the RPC
# runtime's headers; buf, protoc and protoc-gen-qarn-rpc-any are on the PATH.
set -euo pipefail

# buf reads nothing outside the workspace, so the options schema lives in it.
mkdir -p proto/morvane/qarn/rpc
cp "$(pkg-config --variable=protodir qarn-rpc-gen)/morvane/qarn/rpc/service_options.proto" \
  proto/morvane/qarn/rpc/

buf generate

mapfile -t sources < <(find gen -name '*.cc' -o -name '*.rpc.cpp')
read -ra flags < <(pkg-config --cflags --libs protobuf)
"${CXX:-c++}" -std=c++17 -o echo main.cc "${sources[@]}" \
  -Igen -I"$RPC_RUNTIME_DIR" "${flags[@]}"
