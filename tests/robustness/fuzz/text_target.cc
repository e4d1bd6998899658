// The bytes are .proto files, which protobuf's own parser reads.

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "robustness/fuzz/findings.h"
#include "robustness/fuzz/text_mutator.h"
#include "robustness/fuzz/text_request.h"
#include "support/protobuf_compat.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using namespace qarn::rpc::fuzz;
  WatchLog();
  // A failed check of protobuf's while it parses or builds is none of ours.
  qarn::rpc::testing::HoldsWithoutFatal([&] {
    auto request =
        ParseText(std::string(reinterpret_cast<const char*>(data), size));
    return request && CheckProperties(std::move(*request), data, size);
  });
  return 0;
}

// libFuzzer's; null in the replay, which changes nothing.
extern "C" __attribute__((weak)) std::size_t LLVMFuzzerMutate(
    std::uint8_t* data, std::size_t size, std::size_t max_size);

// Three times in four a change that keeps the grammar, else libFuzzer's own.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data,
                                               std::size_t size,
                                               std::size_t max_size,
                                               unsigned seed) {
  if (seed % 4 == 0) {
    return LLVMFuzzerMutate(data, size, max_size);
  }
  const std::string text = qarn::rpc::fuzz::MutateText(
      std::string(reinterpret_cast<const char*>(data), size), seed / 4);
  if (text.size() > max_size) {
    return LLVMFuzzerMutate(data, size, max_size);
  }
  text.copy(reinterpret_cast<char*>(data), text.size());
  return text.size();
}
