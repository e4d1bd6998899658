// What holds for every request, whoever wrote it. The fuzzers and the seeded
// property test check the same functions.

#ifndef QARN_RPC_TESTS_ROBUSTNESS_FUZZ_PROPERTIES_H_
#define QARN_RPC_TESTS_ROBUSTNESS_FUZZ_PROPERTIES_H_

#include <google/protobuf/compiler/plugin.pb.h>

#include <string>
#include <vector>

namespace qarn {
namespace rpc {
namespace fuzz {

// What the plugin makes of one request, all in memory.
struct Outcome {
  // False if the framework refused the request before it ran the generator: a
  // descriptor does not build, or a file to generate is not in the request.
  bool accepted = false;
  google::protobuf::compiler::CodeGeneratorResponse response;
};

// Runs the generator on `request` as the plugin's main does.
Outcome Run(const google::protobuf::compiler::CodeGeneratorRequest& request);

// One property.
struct Property {
  // As a statement about the generator: "TwoRunsGiveTheSameBytes".
  const char* name;
  // Returns what is wrong, for a person to read, or "" if the property holds.
  // `request` must be one that Run accepts, and `response` what it gives.
  std::string (*check)(
      const google::protobuf::compiler::CodeGeneratorRequest& request,
      const google::protobuf::compiler::CodeGeneratorResponse& response);
};

const std::vector<Property>& Properties();

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_ROBUSTNESS_FUZZ_PROPERTIES_H_
