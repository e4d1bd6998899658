// What holds for every request, whoever wrote it. The fuzzers and the seeded
// property test check the same functions.

#ifndef QARN_RPC_TESTS_ROBUSTNESS_FUZZ_PROPERTIES_H_
#define QARN_RPC_TESTS_ROBUSTNESS_FUZZ_PROPERTIES_H_

#include <google/protobuf/compiler/plugin.pb.h>
#include <google/protobuf/descriptor.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qarn {
namespace rpc {
namespace fuzz {

// A request and what the plugin makes of it, all in memory.
struct Answer {
  google::protobuf::compiler::CodeGeneratorRequest request;
  // Owns `files`.
  std::unique_ptr<google::protobuf::DescriptorPool> pool;
  // The files to generate, in their order.
  std::vector<const google::protobuf::FileDescriptor*> files;
  google::protobuf::compiler::CodeGeneratorResponse response;
};

// Builds the descriptors, once, and runs the generator on them; nothing if a
// descriptor does not build, or a file to generate is not there. The standard
// files, which are the options schema and descriptor.proto, need not be in the
// request: the builders of requests leave them out, as they are larger than all
// else and always the same.
std::optional<Answer> AnswerTo(
    google::protobuf::compiler::CodeGeneratorRequest request);

// One property.
struct Property {
  // As a statement about what it checks: "TheIndependentWriterAgrees".
  const char* name;
  // Returns what is wrong, for a person to read, or "" if the property holds.
  std::string (*check)(const Answer& answer);
};

const std::vector<Property>& Properties();

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_ROBUSTNESS_FUZZ_PROPERTIES_H_
