// The process entry of protoc-gen-qarn-rpc-any.

#include <google/protobuf/compiler/plugin.h>

#include "plugin/any_syntax_generator.h"

int main(int argc, char* argv[]) {
  qarn::rpc::AnySyntaxGenerator generator;
  return google::protobuf::compiler::PluginMain(argc, argv, &generator);
}
