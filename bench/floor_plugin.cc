// A plugin that writes files of the same number and size as ours, from a
// constant buffer: what it costs to read the request, to build the descriptors
// and to write the response, whatever is in the files.
//
// The sizes of a header and of a source, which are the same for all files of a
// request, come from the environment: QARN_RPC_HEADER_BYTES and
// QARN_RPC_SOURCE_BYTES.

#include <google/protobuf/compiler/code_generator.h>
#include <google/protobuf/compiler/plugin.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace {

using google::protobuf::FileDescriptor;
using google::protobuf::compiler::GeneratorContext;

void WriteFile(GeneratorContext* context, const std::string& name,
               const std::string& text) {
  const std::unique_ptr<google::protobuf::io::ZeroCopyOutputStream> stream(
      context->Open(name));
  google::protobuf::io::CodedOutputStream(stream.get())
      .WriteRaw(text.data(), static_cast<int>(text.size()));
}

class FloorGenerator : public google::protobuf::compiler::CodeGenerator {
 public:
  FloorGenerator(std::size_t header_bytes, std::size_t source_bytes)
      : header_(header_bytes, '/'), source_(source_bytes, '/') {}

  bool Generate(const FileDescriptor* file, const std::string&,
                GeneratorContext* context, std::string* error) const override {
    if (header_.empty() || source_.empty()) {
      *error =
          "set QARN_RPC_HEADER_BYTES and QARN_RPC_SOURCE_BYTES to the sizes of "
          "the files to write";
      return false;
    }
    const std::string name(file->name());
    WriteFile(context, name + ".h", header_);
    WriteFile(context, name + ".cpp", source_);
    return true;
  }

 private:
  const std::string header_;
  const std::string source_;
};

// The number in the environment variable `name`, or 0.
std::size_t NumberFromEnvironment(const char* name) {
  const char* text = std::getenv(name);
  return text == nullptr ? 0 : std::strtoul(text, nullptr, 10);
}

}  // namespace

int main(int argc, char* argv[]) {
  FloorGenerator generator(NumberFromEnvironment("QARN_RPC_HEADER_BYTES"),
                           NumberFromEnvironment("QARN_RPC_SOURCE_BYTES"));
  return google::protobuf::compiler::PluginMain(argc, argv, &generator);
}
