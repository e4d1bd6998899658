// The process entry of protoc-gen-qarn-rpc-lint.

#include <google/protobuf/compiler/plugin.h>

#include <cstdio>

#include "lint/lint_generator.h"

int main(int argc, char* argv[]) {
  qarn::rpc::LintGenerator generator(stderr);
  return google::protobuf::compiler::PluginMain(argc, argv, &generator);
}
