// Descriptors for tests, made from .proto texts in memory.

#ifndef QARN_RPC_TESTS_SUPPORT_PROTO_SOURCES_H_
#define QARN_RPC_TESTS_SUPPORT_PROTO_SOURCES_H_

#include <google/protobuf/compiler/plugin.pb.h>
#include <google/protobuf/descriptor.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace qarn {
namespace rpc {
namespace testing {

// A set of .proto files and their descriptors, in the form in which the plugin
// gets them: parsed, sent as a request and built again on the other side, so
// that our method options are known extensions. The texts may import each
// other, the options schema and google/protobuf/descriptor.proto.
//
// A text that does not parse is a mistake in the test: the constructor throws
// std::runtime_error with protobuf's messages.
class ProtoSources {
 public:
  // From import path to text.
  explicit ProtoSources(std::map<std::string, std::string> texts);

  // The import paths, sorted.
  std::vector<std::string> Names() const;

  // The descriptor of one file, owned by this object. Throws
  // std::runtime_error if there is none of that name.
  const google::protobuf::FileDescriptor* File(const std::string& name) const;

  // The request that protoc would send to generate `names`, in that order.
  google::protobuf::compiler::CodeGeneratorRequest Request(
      const std::vector<std::string>& names,
      const std::string& parameter) const;

 private:
  std::map<std::string, std::string> texts_;
  // All files and what they import, each after its imports.
  google::protobuf::FileDescriptorSet files_;
  std::unique_ptr<google::protobuf::DescriptorPool> pool_;
};

// The descriptor of a one-file set that outlives the test run: for tests that
// need no more than `file`, `service` or `method`.
const google::protobuf::FileDescriptor* ParseFile(const std::string& name,
                                                  const std::string& text);

// The lines that a proto2 file with our options begins with: syntax, package
// (left out when empty) and import.
std::string FileHead(const std::string& package);

}  // namespace testing
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_SUPPORT_PROTO_SOURCES_H_
