// How a fuzz target tells of a finding: it prints what is wrong and aborts, so
// that libFuzzer keeps the input, and the replay program fails.

#ifndef QARN_RPC_TESTS_ROBUSTNESS_FUZZ_FINDINGS_H_
#define QARN_RPC_TESTS_ROBUSTNESS_FUZZ_FINDINGS_H_

#include <google/protobuf/compiler/plugin.pb.h>

#include <string>

namespace qarn {
namespace rpc {
namespace fuzz {

// Prints `what` to standard error and aborts.
[[noreturn]] void Report(const std::string& what);

// From now on protobuf's log is silent, except that a message of its printer is
// a finding: it tells of a template with an unknown variable or of indentation
// out of balance, and both are mistakes of the generator. What protobuf says of
// descriptors that do not build is no finding.
void WatchLog();

// Runs the generator on `request` and reports the first property that does not
// hold. Returns false, having checked nothing, if the request is refused.
bool CheckProperties(google::protobuf::compiler::CodeGeneratorRequest request);

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_ROBUSTNESS_FUZZ_FINDINGS_H_
