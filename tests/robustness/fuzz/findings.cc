#include "robustness/fuzz/findings.h"

#include <google/protobuf/stubs/logging.h>

#include <cstdio>
#include <cstdlib>

#include "robustness/fuzz/properties.h"

namespace qarn {
namespace rpc {
namespace fuzz {

namespace {

void HandleLog(google::protobuf::LogLevel, const char* file_name, int,
               const std::string& message) {
  if (std::string(file_name).find("printer") != std::string::npos) {
    Report("protobuf's printer: " + message);
  }
}

}  // namespace

void Report(const std::string& what) {
  std::fprintf(stderr, "FINDING: %s\n", what.c_str());
  std::abort();
}

void WatchLog() { google::protobuf::SetLogHandler(HandleLog); }

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
