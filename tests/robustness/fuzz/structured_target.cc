// The bytes drive a builder of requests that protoc could send.

#include <cstddef>
#include <cstdint>

#include "robustness/fuzz/findings.h"
#include "robustness/fuzz/request_builder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using namespace qarn::rpc::fuzz;
  WatchLog();
  if (!CheckProperties(BuildRequest(data, size))) {
    Report("the builder made a request that does not build\n" +
           BuildRequest(data, size).ShortDebugString());
  }
  return 0;
}
