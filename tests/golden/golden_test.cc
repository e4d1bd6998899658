// Compares what the generator makes of the cases in this folder with the
// expected files, byte for byte: through the real protoc with either plugin,
// and with what the independent writer makes of them. Where the environment has
// QARN_RPC_UPDATE_GOLDENS, the plugin for any syntax rewrites the expected
// files instead; read the result line by line.

#include <google/protobuf/descriptor.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/independent/plain_writer.h"
#include "support/proto_sources.h"
#include "support/protobuf_compat.h"
#include "support/run_command.h"

namespace qarn {
namespace rpc {
namespace {

using testing::CommandResult;
using testing::FilesBelow;
using testing::ProtoSources;
using testing::RunCommand;
using testing::TemporaryFolder;

using Files = std::map<std::string, std::string>;

// One run of one case. The expected files are the case's own, or those of the
// case that its file SAME_AS names.
struct GoldenRun {
  std::filesystem::path golden_case;
  std::filesystem::path folder;

  std::string name_of_case() const { return golden_case.filename().string(); }
  bool has_own_files() const { return folder.parent_path() == golden_case; }
  std::filesystem::path proto_folder() const { return golden_case / "proto"; }
  std::string parameter() const {
    const std::string name = folder.filename().string();
    return name == "plain" ? "" : name;
  }
};

std::ostream& operator<<(std::ostream& stream, const GoldenRun& run) {
  return stream << run.name_of_case() << " (" << run.folder.filename().string()
                << ")";
}

// The edition of a case's files: "2023" for edition_2023, empty for a case
// without one.
std::string EditionOf(const std::string& name_of_case) {
  const std::string prefix = "edition_";
  return name_of_case.compare(0, prefix.size(), prefix) == 0
             ? name_of_case.substr(prefix.size())
             : "";
}

// protoc hands the files of these cases only to a plugin that declares to know
// such files.
bool NeedsDeclaration(const std::string& name_of_case) {
  return name_of_case == "proto3_optional" || !EditionOf(name_of_case).empty();
}

// All cases, sorted.
std::vector<std::filesystem::path> Cases() {
  std::vector<std::filesystem::path> cases;
  for (const auto& entry :
       std::filesystem::directory_iterator(QARN_RPC_GOLDEN_FOLDER)) {
    if (entry.is_directory()) {
      cases.push_back(entry.path());
    }
  }
  std::sort(cases.begin(), cases.end());
  return cases;
}

// The folders with the expected files of one case, sorted; none if SAME_AS
// names no case, or stands beside folders that nobody would look at.
std::vector<std::filesystem::path> RunFolders(
    const std::filesystem::path& golden_case) {
  const auto folders_in = [](const std::filesystem::path& place) {
    std::vector<std::filesystem::path> folders;
    if (std::filesystem::is_directory(place)) {
      for (const auto& entry : std::filesystem::directory_iterator(place)) {
        if (entry.is_directory() && entry.path().filename() != "proto") {
          folders.push_back(entry.path());
        }
      }
    }
    std::sort(folders.begin(), folders.end());
    return folders;
  };
  const std::vector<std::filesystem::path> own = folders_in(golden_case);
  std::ifstream same_as(golden_case / "SAME_AS");
  std::string named;
  if (!std::getline(same_as, named)) {
    return own;
  }
  if (!own.empty() || named.empty()) {
    return {};
  }
  return folders_in(golden_case.parent_path() / named);
}

// The runs of all cases that this protobuf's protoc takes.
std::vector<GoldenRun> Runs() {
  const std::vector<std::string> taken = testing::Editions();
  std::vector<GoldenRun> runs;
  for (const std::filesystem::path& golden_case : Cases()) {
    const std::string edition = EditionOf(golden_case.filename().string());
    if (!edition.empty() &&
        std::find(taken.begin(), taken.end(), edition) == taken.end()) {
      continue;
    }
    for (const std::filesystem::path& folder : RunFolders(golden_case)) {
      runs.push_back({golden_case, folder});
    }
  }
  return runs;
}

void ExpectSameFiles(const Files& expected, const Files& actual) {
  for (const auto& file : expected) {
    const auto found = actual.find(file.first);
    if (found == actual.end()) {
      ADD_FAILURE() << file.first << " is expected and was not written";
    } else {
      EXPECT_EQ(file.second, found->second) << file.first;
    }
  }
  for (const auto& file : actual) {
    EXPECT_EQ(expected.count(file.first), 1u)
        << file.first << " was written and is not expected";
  }
}

class GoldenTest : public ::testing::TestWithParam<GoldenRun> {
 protected:
  const GoldenRun& run() const { return GetParam(); }
  Files expected() const { return FilesBelow(run().folder); }

  // Runs protoc with `plugin` over all files of the case at once.
  CommandResult Protoc(const std::string& plugin,
                       const std::filesystem::path& output) const {
    std::vector<std::string> command = {
        QARN_RPC_PROTOC, "--plugin=protoc-gen-qarn-rpc=" + plugin,
        "-I" + run().proto_folder().string(), "-I" QARN_RPC_PROTO_FOLDER,
        "--qarn-rpc_out=" + output.string()};
    for (const std::string& option : testing::OptionsForProto3Optional()) {
      command.push_back(option);
    }
    if (!run().parameter().empty()) {
      command.push_back("--qarn-rpc_opt=" + run().parameter());
    }
    for (const auto& file : FilesBelow(run().proto_folder())) {
      command.push_back(file.first);
    }
    return RunCommand(command);
  }
};

TEST_P(GoldenTest, IsWhatProtocWritesWithTheAnySyntaxPlugin) {
  const TemporaryFolder temporary;
  const bool update = std::getenv("QARN_RPC_UPDATE_GOLDENS") != nullptr;
  const std::filesystem::path output =
      update && run().has_own_files() ? run().folder : temporary.path();
  const CommandResult result = Protoc(QARN_RPC_PLUGIN_ANY, output);
  EXPECT_EQ(result.exit_status, 0) << result.err;
  ExpectSameFiles(expected(), FilesBelow(output));
}

TEST_P(GoldenTest, IsWhatProtocWritesWithThePlainPluginUnlessItRefuses) {
  const TemporaryFolder output;
  const CommandResult result = Protoc(QARN_RPC_PLUGIN, output.path());
  if (NeedsDeclaration(run().name_of_case())) {
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_NE(result.err.find("code generator protoc-gen-qarn-rpc hasn't been "
                              "updated to support"),
              std::string::npos)
        << result.err;
    ExpectSameFiles({}, FilesBelow(output.path()));
    return;
  }
  EXPECT_EQ(result.exit_status, 0) << result.err;
  ExpectSameFiles(expected(), FilesBelow(output.path()));
}

TEST_P(GoldenTest, IsWhatTheIndependentWriterWrites) {
  const ProtoSources sources(FilesBelow(run().proto_folder()));
  std::vector<const google::protobuf::FileDescriptor*> files;
  for (const std::string& name : sources.Names()) {
    files.push_back(sources.File(name));
  }
  const auto response = independent::WriteResponse(files, run().parameter());
  Files actual;
  for (const auto& file : response.file()) {
    actual[file.name()] = file.content();
  }
  ExpectSameFiles(expected(), actual);
}

INSTANTIATE_TEST_SUITE_P(All, GoldenTest, ::testing::ValuesIn(Runs()),
                         [](const ::testing::TestParamInfo<GoldenRun>& test) {
                           std::string name =
                               test.param.name_of_case() + "_" +
                               test.param.folder.filename().string();
                           std::replace(name.begin(), name.end(), '=', '_');
                           return name;
                         });

TEST(GoldenFolderTest, HasEveryExpectedRun) {
  EXPECT_EQ(Runs().size(), 28u + 2 * testing::Editions().size());
}

// A protobuf that takes a new edition wants a case for it.
TEST(GoldenFolderTest, HasACaseForEachEditionThatProtocTakes) {
  for (const std::string& edition : testing::Editions()) {
    EXPECT_TRUE(std::filesystem::is_directory(
        std::filesystem::path(QARN_RPC_GOLDEN_FOLDER) / ("edition_" + edition)))
        << edition;
  }
}

// Or a case would be tried against nothing.
TEST(GoldenFolderTest, HasARunOfEachCase) {
  for (const std::filesystem::path& golden_case : Cases()) {
    EXPECT_FALSE(RunFolders(golden_case).empty())
        << golden_case
        << " needs a folder with expected files, or a file SAME_AS with the "
           "name of a case that has some, and not both";
  }
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
