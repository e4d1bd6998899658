// Compares the seeds of the corpus `raw` that are named after golden cases with
// the requests that the cases' .proto files of today give. With the argument
// --update it rewrites them instead.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <string>

#include "support/files.h"
#include "support/proto_sources.h"
#include "support/protobuf_compat.h"
#include "support/run_command.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::compiler::CodeGeneratorRequest;
using testing::FilesBelow;
using testing::ProtoSources;
using testing::UnifiedDiff;

bool update_mode = false;

// The names of the golden cases.
std::set<std::string> Cases() {
  std::set<std::string> cases;
  for (const auto& entry :
       std::filesystem::directory_iterator(QARN_RPC_GOLDEN_FOLDER)) {
    if (entry.is_directory()) {
      cases.insert(entry.path().filename().string());
    }
  }
  return cases;
}

std::filesystem::path Seed(const std::string& name) {
  return std::filesystem::path(QARN_RPC_CORPUS_FOLDER) / "raw" / name;
}

// The request to generate all files of a case. Left out are the options schema
// and what that imports: the fuzzer finds more in few bytes, and our options
// are read without them.
CodeGeneratorRequest Request(const std::string& golden_case,
                             const std::string& parameter) {
  const ProtoSources sources = ProtoSources::FromFolder(
      std::filesystem::path(QARN_RPC_GOLDEN_FOLDER) / golden_case / "proto");
  const CodeGeneratorRequest whole =
      sources.Request(sources.Names(), parameter);
  CodeGeneratorRequest request = whole;
  request.clear_proto_file();
  for (const auto& file : whole.proto_file()) {
    if (file.name() == "google/protobuf/descriptor.proto" ||
        file.name() == "morvane/qarn/rpc/service_options.proto") {
      continue;
    }
    auto* kept = request.add_proto_file();
    *kept = file;
    kept->clear_dependency();
    for (const std::string& name : file.dependency()) {
      if (name != "morvane/qarn/rpc/service_options.proto") {
        kept->add_dependency(name);
      }
    }
  }
  return request;
}

class SeedTest : public ::testing::TestWithParam<std::string> {};

TEST_P(SeedTest, IsTheRequestOfItsGoldenCase) {
  CodeGeneratorRequest seed;
  std::ifstream stream(Seed(GetParam()), std::ios::binary);
  if (!seed.ParseFromIstream(&stream)) {
    seed.Clear();
  }
  stream.close();
  // The parameter is the corpus's own choice.
  const CodeGeneratorRequest expected = Request(GetParam(), seed.parameter());
  if (update_mode) {
    std::ofstream(Seed(GetParam()), std::ios::binary)
        << expected.SerializeAsString();
    seed = expected;
  }
  const std::string diff =
      UnifiedDiff(expected.DebugString(), seed.DebugString());
  EXPECT_TRUE(diff.empty())
      << "The seed differs from the case. To renew it: scripts/golden.sh\n"
      << diff;
}

// The cases that this protobuf's protoc takes.
std::set<std::string> CasesOfThisProtobuf() {
  std::set<std::string> cases;
  for (const std::string& name : Cases()) {
    if (testing::ProtocTakesGoldenCase(name)) {
      cases.insert(name);
    }
  }
  return cases;
}

INSTANTIATE_TEST_SUITE_P(All, SeedTest,
                         ::testing::ValuesIn(CasesOfThisProtobuf()),
                         [](const ::testing::TestParamInfo<std::string>& test) {
                           return test.param;
                         });

// A seed whose case was renamed or removed would stay for ever.
TEST(SeedFolderTest, HasNoNameThatIsNeitherACaseNorAFinding) {
  const std::set<std::string> findings = {
      "raw/service_named_like_the_marker",
      "raw/lite_file_with_a_service",
  };
  std::set<std::string> names = findings;
  for (const std::string& name : Cases()) {
    names.insert("raw/" + name);
  }
  for (const auto& seed : FilesBelow(QARN_RPC_CORPUS_FOLDER)) {
    const std::string name = seed.first.substr(seed.first.find('/') + 1);
    const bool is_digest =
        name.size() == 40 &&
        std::all_of(name.begin(), name.end(),
                    [](unsigned char c) { return std::isxdigit(c) != 0; });
    EXPECT_TRUE(is_digest || names.count(seed.first) == 1 ||
                seed.first == "README.md")
        << seed.first
        << ": remove it if its golden case is gone; the input of a finding is "
           "listed in this test";
  }
}

}  // namespace
}  // namespace rpc
}  // namespace qarn

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  for (int i = 1; i < argc; ++i) {
    if (std::string(argv[i]) != "--update") {
      std::cerr << "unknown argument: " << argv[i]
                << "; the only one beside GoogleTest's is --update\n";
      return 2;
    }
    qarn::rpc::update_mode = true;
  }
  return RUN_ALL_TESTS();
}
