// The process entry of protoc-gen-qarn-rpc. Everything but the generator is the
// framework's: it reads the request, reports errors and writes the response.

#include <google/protobuf/compiler/plugin.h>

#include "plugin/generator.h"

int main(int argc, char* argv[]) {
  CppGenerator generator;
  return google::protobuf::compiler::PluginMain(argc, argv, &generator);
}
