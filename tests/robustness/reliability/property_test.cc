// The properties that the fuzzers check, over requests from seeded bytes: the
// same ones on every machine and in every run.

#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "robustness/fuzz/findings.h"
#include "robustness/fuzz/properties.h"
#include "robustness/fuzz/request_builder.h"

namespace qarn {
namespace rpc {
namespace fuzz {

// GoogleTest finds it by the type's namespace.
void PrintTo(const Property& property, std::ostream* stream) {
  *stream << property.name;
}

namespace {

using google::protobuf::compiler::CodeGeneratorRequest;

// Files to generate in requests that are answered without an error.
constexpr int kWantedFiles = 2000;

// The request of one seed. std::mt19937 gives the same numbers everywhere;
// the distributions of <random> do not.
CodeGeneratorRequest SeededRequest(unsigned seed) {
  std::mt19937 random(seed);
  std::vector<std::uint8_t> bytes(20 + random() % 200);
  for (std::uint8_t& byte : bytes) {
    byte = static_cast<std::uint8_t>(random() >> 24);
  }
  return BuildRequest(bytes.data(), bytes.size());
}

// Enough requests for kWantedFiles, and the refused ones among them.
const std::vector<Answer>& Cases() {
  static const std::vector<Answer> cases = [] {
    std::vector<Answer> made;
    int files = 0;
    for (unsigned seed = 0; files < kWantedFiles; ++seed) {
      const CodeGeneratorRequest request = SeededRequest(seed);
      std::optional<Answer> answer = AnswerTo(request);
      if (!answer) {
        ADD_FAILURE() << "seed " << seed << " gives a request that does not "
                      << "build:\n"
                      << request.ShortDebugString();
        continue;
      }
      if (!answer->response.has_error()) {
        files += request.file_to_generate_size();
      }
      made.push_back(std::move(*answer));
    }
    return made;
  }();
  return cases;
}

class PropertyTest : public ::testing::TestWithParam<Property> {
 protected:
  // A message of protobuf's printer ends the test, as it ends a fuzzer.
  void SetUp() override { WatchLog(); }
};

TEST_P(PropertyTest, HoldsForEverySeed) {
  for (const Answer& one : Cases()) {
    const std::string wrong = GetParam().check(one);
    ASSERT_EQ(wrong, "") << one.request.ShortDebugString();
  }
}

INSTANTIATE_TEST_SUITE_P(All, PropertyTest, ::testing::ValuesIn(Properties()),
                         [](const ::testing::TestParamInfo<Property>& test) {
                           return std::string(test.param.name);
                         });

// The properties are worth what the requests are: all that the generator tells
// apart must occur.
TEST(SeededRequestsTest, CoverWhatTheGeneratorTellsApart) {
  const auto* schema =
      google::protobuf::DescriptorPool::generated_pool()->FindFileByName(
          "morvane/qarn/rpc/service_options.proto");
  std::map<std::string, int> seen;
  std::string texts;
  for (const Answer& one : Cases()) {
    const std::string& error = one.response.error();
    const bool is_generic = error.find(": cpp rpc ") != std::string::npos;
    ++seen[error.empty() ? "answer" : is_generic ? "refusal" : "bad parameter"];
    for (const auto& file : one.request.proto_file()) {
      seen["no service"] += file.service().empty() ? 1 : 0;
      seen["no package"] += file.package().empty() ? 1 : 0;
      for (const auto& service : file.service()) {
        seen["5 methods"] += service.method_size() == 5 ? 1 : 0;
        for (const auto& method : service.method()) {
          for (int i = 0; i < schema->extension_count(); ++i) {
            const auto* option = schema->extension(i);
            const auto& set = method.options();
            const bool is_there = set.GetReflection()->HasField(set, option);
            const bool value = set.GetReflection()->GetBool(set, option);
            ++seen[std::string(option->name()) +
                   (is_there ? value ? " true" : " false" : " absent")];
          }
        }
      }
    }
    for (const auto& file : one.response.file()) {
      texts += file.content();
    }
  }
  std::vector<std::string> wanted = {"answer",        "refusal",
                                     "bad parameter", "no service",
                                     "no package",    "5 methods"};
  for (int i = 0; i < schema->extension_count(); ++i) {
    for (const char* state : {" true", " false", " absent"}) {
      wanted.push_back(std::string(schema->extension(i)->name()) + state);
    }
  }
  for (const std::string& what : wanted) {
    EXPECT_GT(seen[what], 50) << what;
  }
  for (const std::string kind :
       {"RMT_SIMPLE", "RMT_CLIENT_STREAMING", "RMT_SERVER_STREAMING",
        "RMT_BIDI_STREAMING"}) {
    EXPECT_NE(texts.find("::qarn::rpc::" + kind + ";"), std::string::npos)
        << kind;
  }
}

}  // namespace
}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn
