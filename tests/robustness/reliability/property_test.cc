// The properties that the fuzzers check, over requests from seeded bytes: the
// same ones on every machine and in every run.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "robustness/fuzz/findings.h"
#include "robustness/fuzz/properties.h"
#include "robustness/fuzz/request_builder.h"
#include "support/files.h"
#include "support/run_command.h"

namespace qarn {
namespace rpc {
namespace fuzz {

// GoogleTest finds it by the type's namespace.
void PrintTo(const Property& property, std::ostream* stream) {
  *stream << property.name;
}

namespace {

using google::protobuf::compiler::CodeGeneratorRequest;
using rpc::testing::CommandResult;
using rpc::testing::FilesBelow;
using rpc::testing::RunCommand;
using rpc::testing::TemporaryFolder;

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
  return WithStandardFiles(BuildRequest(bytes.data(), bytes.size()));
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
  int refused = 0;
  int without_services = 0;
  int without_package = 0;
  std::size_t most_methods = 0;
  std::string texts;
  for (const Answer& one : Cases()) {
    refused += one.response.has_error() ? 1 : 0;
    for (const auto& file : one.request.proto_file()) {
      without_services += file.service().empty() ? 1 : 0;
      without_package += file.package().empty() ? 1 : 0;
      for (const auto& service : file.service()) {
        most_methods = std::max(
            most_methods, static_cast<std::size_t>(service.method_size()));
      }
    }
    for (const auto& file : one.response.file()) {
      texts += file.content();
    }
  }
  EXPECT_GT(refused, 50);
  EXPECT_GT(without_services, 50);
  EXPECT_GT(without_package, 50);
  EXPECT_GE(most_methods, 5u);
  for (const std::string kind :
       {"RMT_SIMPLE", "RMT_CLIENT_STREAMING", "RMT_SERVER_STREAMING",
        "RMT_BIDI_STREAMING"}) {
    EXPECT_NE(texts.find("::qarn::rpc::" + kind + ";"), std::string::npos)
        << kind;
  }
}

// protoc takes descriptors in place of sources, so the same requests can go
// through it.
TEST(SeededRequestsTest, MakeProtocWriteNothingWhenAFileIsRefused) {
  int refused = 0;
  for (const Answer& one : Cases()) {
    if (!one.response.has_error() || refused == 20) {
      continue;
    }
    ++refused;
    google::protobuf::FileDescriptorSet set;
    *set.mutable_file() = one.request.proto_file();
    const TemporaryFolder input;
    const TemporaryFolder output;
    input.Write("set.pb", set.SerializeAsString());
    std::vector<std::string> command = {
        QARN_RPC_PROTOC, "--plugin=" QARN_RPC_PLUGIN,
        "--descriptor_set_in=" + (input.path() / "set.pb").string(),
        "--qarn-rpc_out=" + output.path().string()};
    if (one.request.has_parameter()) {
      command.push_back("--qarn-rpc_opt=" + one.request.parameter());
    }
    for (const std::string& name : one.request.file_to_generate()) {
      command.push_back(name);
    }
    const CommandResult result = RunCommand(command);
    EXPECT_EQ(result.exit_status, 1) << one.request.ShortDebugString();
    EXPECT_NE(result.err, "");
    EXPECT_TRUE(FilesBelow(output.path()).empty());
  }
  EXPECT_EQ(refused, 20);
}

}  // namespace
}  // namespace fuzz
}  // namespace rpc
}  // namespace qarn
