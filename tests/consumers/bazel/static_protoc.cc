// protoc without its generators, which takes plugins alone. Linked without
// shared libraries it stands for the static protoc that Debian does not have.
#include <google/protobuf/compiler/command_line_interface.h>

int main(int argc, char* argv[]) {
  google::protobuf::compiler::CommandLineInterface protoc;
  protoc.AllowPlugins("protoc-");
  return protoc.Run(argc, argv);
}
