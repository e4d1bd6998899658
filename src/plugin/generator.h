// The generator that protobuf's plugin framework drives: one call for each
// .proto file, two files out of each call.

#ifndef QARN_RPC_PLUGIN_GENERATOR_H_
#define QARN_RPC_PLUGIN_GENERATOR_H_

#include <google/protobuf/compiler/code_generator.h>
#include <google/protobuf/descriptor.h>

#include <string>

// At global scope, unlike all else: programs that link the generator, main
// among them, declare it by this name. Stateless; calls share nothing but the
// options schema, which registers itself with protobuf before main.
class CppGenerator : public google::protobuf::compiler::CodeGenerator {
 public:
  // Writes BASE.rpc.h and then BASE.rpc.cpp for `file` through `context`, also
  // when it declares no services, and returns true. Returns false with a
  // message in `*error`, before any file is opened, if `file` asks for generic
  // services or, second, if `parameter` holds an unknown item.
  bool Generate(const google::protobuf::FileDescriptor* file,
                const std::string& parameter,
                google::protobuf::compiler::GeneratorContext* context,
                std::string* error) const override;
};

#endif  // QARN_RPC_PLUGIN_GENERATOR_H_
