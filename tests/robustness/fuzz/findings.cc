#include "robustness/fuzz/findings.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <utility>
#include <vector>

#include "robustness/fuzz/properties.h"
#include "support/protobuf_compat.h"

// The bounds of the counters that clang adds for libFuzzer; both null in a
// program without them.
extern "C" {
extern __attribute__((weak)) std::uint8_t __start___sancov_cntrs[];
extern __attribute__((weak)) std::uint8_t __stop___sancov_cntrs[];
}

namespace qarn {
namespace rpc {
namespace fuzz {

namespace {

void HandleLog(const std::string& file_name, const std::string& message) {
  if (file_name.find("printer") != std::string::npos) {
    Report("protobuf's printer: " + message);
  }
}

// Counts for the whole run, and prints itself at its end.
struct Tally {
  unsigned long long accepted = 0;
  unsigned long long chosen = 0;

  ~Tally() {
    if (accepted == 0) {
      return;  // A program that has no use for it.
    }
    std::fprintf(stderr,
                 "%llu requests were answered; of these %llu were "
                 "checked for the costly properties too\n",
                 accepted, chosen);
  }
};

Tally tally;

bool IsChosen(const std::uint8_t* data, std::size_t size) {
  static const bool every_input_is_chosen =
      std::getenv("QARN_RPC_FUZZ_CHECK_ALL") != nullptr;
  std::uint32_t hash = 2166136261u;  // FNV-1a.
  for (std::size_t i = 0; i < size; ++i) {
    hash = (hash ^ data[i]) * 16777619u;
  }
  return every_input_is_chosen || (hash >> 8) % kSample == 0;
}

// Reports the first property of the one kind or the other that does not hold.
void CheckThose(const Answer& answer, bool costly) {
  for (const Property& property : Properties()) {
    if (property.is_costly != costly) {
      continue;
    }
    const std::string wrong = property.check(answer);
    if (!wrong.empty()) {
      Report(std::string(property.name) + ": " + wrong + "\n" +
             answer.request.ShortDebugString());
    }
  }
}

// Puts the fuzzer's counters back to where they were.
class UncountedScope {
 public:
  UncountedScope() : saved_(__start___sancov_cntrs, __stop___sancov_cntrs) {}
  ~UncountedScope() {
    std::copy(saved_.begin(), saved_.end(), __start___sancov_cntrs);
  }
  UncountedScope(const UncountedScope&) = delete;
  UncountedScope& operator=(const UncountedScope&) = delete;

 private:
  const std::vector<std::uint8_t> saved_;
};

}  // namespace

void Report(const std::string& what) {
  std::fprintf(stderr, "FINDING: %s\n", what.c_str());
  std::abort();
}

void WatchLog() { testing::SendLogTo(HandleLog); }

bool CheckProperties(google::protobuf::compiler::CodeGeneratorRequest request,
                     const std::uint8_t* data, std::size_t size) {
  const std::optional<Answer> answer = AnswerTo(std::move(request));
  if (!answer) {
    return false;
  }
  ++tally.accepted;
  CheckThose(*answer, /*costly=*/false);
  if (IsChosen(data, size)) {
    const UncountedScope scope;
    // A name of the standard files that the request declares too is refused
    // only if they are in the request themselves.
    const std::optional<Answer> whole =
        AnswerTo(WithStandardFiles(answer->request));
    if (whole) {
      ++tally.chosen;
      CheckThose(*whole, /*costly=*/true);
    }
  }
  return true;
}

}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn
