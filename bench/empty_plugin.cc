// A plugin that writes nothing: what protobuf's plugin framework costs by
// itself, for the comparison of start-up times.

#include <google/protobuf/compiler/code_generator.h>
#include <google/protobuf/compiler/plugin.h>

#include <string>

namespace {

class EmptyGenerator : public google::protobuf::compiler::CodeGenerator {
 public:
  bool Generate(const google::protobuf::FileDescriptor*, const std::string&,
                google::protobuf::compiler::GeneratorContext*,
                std::string*) const override {
    return true;
  }
};

}  // namespace

int main(int argc, char* argv[]) {
  EmptyGenerator generator;
  return google::protobuf::compiler::PluginMain(argc, argv, &generator);
}
