// The bytes are the request, as they come on the plugin's standard input.

#include <google/protobuf/compiler/plugin.pb.h>

#include <cstddef>
#include <cstdint>
#include <utility>

#include "robustness/fuzz/findings.h"
#include "support/protobuf_compat.h"

using google::protobuf::compiler::CodeGeneratorRequest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  qarn::rpc::fuzz::WatchLog();
  CodeGeneratorRequest request;
  if (request.ParseFromArray(data, static_cast<int>(size))) {
    // The framework builds the descriptors before the generator runs. A failed
    // check in there is none of ours: it is the same in every plugin, and in
    // protoc.
    qarn::rpc::testing::HoldsWithoutFatal(
        [&] { return qarn::rpc::fuzz::CheckProperties(std::move(request)); });
  }
  return 0;
}
