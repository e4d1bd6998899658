#include "robustness/fuzz/findings.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <utility>

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

bool CheckProperties(google::protobuf::compiler::CodeGeneratorRequest request) {
  const std::optional<Answer> answer = AnswerTo(std::move(request));
  if (!answer) {
    return false;
  }
  for (const Property& property : Properties()) {
    const std::string wrong = property.check(*answer);
    if (!wrong.empty()) {
      Report(std::string(property.name) + ": " + wrong + "\n" +
             answer->request.ShortDebugString());
    }
  }
  return true;
}

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn
