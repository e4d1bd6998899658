#include "robustness/fuzz/findings.h"

#include <cstdio>
#include <cstdlib>

#include "robustness/fuzz/properties.h"
#include "support/protobuf_compat.h"

namespace qarn {
namespace rpc {
namespace fuzz {

namespace {

void HandleLog(const std::string& file_name, const std::string& message) {
  if (file_name.find("printer") != std::string::npos) {
    Report("protobuf's printer: " + message);
  }
}

}  // namespace

void Report(const std::string& what) {
  std::fprintf(stderr, "FINDING: %s\n", what.c_str());
  std::abort();
}

void WatchLog() { testing::SendLogTo(HandleLog); }

void CheckProperties(
    const google::protobuf::compiler::CodeGeneratorRequest& request) {
  const Outcome outcome = Run(request);
  if (!outcome.accepted) {
    return;
  }
  for (const Property& property : Properties()) {
    const std::string wrong = property.check(request, outcome.response);
    if (!wrong.empty()) {
      Report(std::string(property.name) + ": " + wrong + "\n" +
             request.ShortDebugString());
    }
  }
}

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn
