// The bytes are the request, as they come on the plugin's standard input.

#include <google/protobuf/descriptor.h>

#include <cstddef>
#include <cstdint>

#include "robustness/fuzz/findings.h"
#include "support/protobuf_compat.h"

namespace {

using google::protobuf::compiler::CodeGeneratorRequest;

// The framework's part before the generator runs. A failed check in there is
// none of ours: it is the same in every plugin, and in protoc.
bool DescriptorsBuild(const CodeGeneratorRequest& request) {
  return qarn::rpc::testing::HoldsWithoutFatal([&request] {
    google::protobuf::DescriptorPool pool;
    for (const auto& file : request.proto_file()) {
      if (pool.BuildFile(file) == nullptr) {
        return false;
      }
    }
    return true;
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  qarn::rpc::fuzz::WatchLog();
  CodeGeneratorRequest request;
  if (request.ParseFromArray(data, static_cast<int>(size)) &&
      DescriptorsBuild(request)) {
    qarn::rpc::fuzz::CheckProperties(request);
  }
  return 0;
}
