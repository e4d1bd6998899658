// The executable as users run it: through the real protoc, and alone.

#include <google/protobuf/compiler/plugin.pb.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "plugin/any_syntax_generator.h"
#include "support/files.h"
#include "support/proto_sources.h"
#include "support/protobuf_compat.h"
#include "support/run_command.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::compiler::CodeGeneratorRequest;
using google::protobuf::compiler::CodeGeneratorResponse;
using testing::CommandResult;
using testing::FilesBelow;
using testing::RunCommand;
using testing::TemporaryFolder;

constexpr char kEcho[] = R"(syntax = "proto2";
package a.b;
import "morvane/qarn/rpc/service_options.proto";
import "shared/msg.proto";
service Echo {
  rpc Ping(shared.Msg) returns (shared.Msg) {
    option (morvane.qarn.rpc.client_streaming) = true;
  }
}
)";
constexpr char kMsg[] = "syntax = \"proto2\"; package shared; message Msg {}\n";
constexpr char kGeneric[] =
    "syntax = \"proto2\"; option cc_generic_services = true;\n";

constexpr char kProtocPrefix[] = "--qarn-rpc_out: ";

// A folder of sources and one of outputs, and protoc to go between them.
class ProtocTest : public ::testing::Test {
 protected:
  ProtocTest() {
    sources_.Write("a/b/echo.proto", kEcho);
    sources_.Write("shared/msg.proto", kMsg);
    sources_.Write("generic.proto", kGeneric);
  }

  CommandResult Protoc(std::vector<std::string> arguments) const {
    arguments.insert(
        arguments.begin(),
        {QARN_RPC_PROTOC, "--plugin=" QARN_RPC_PLUGIN,
         "-I" + sources_.path().string(), "-I" QARN_RPC_PROTO_FOLDER});
    return RunCommand(arguments);
  }

  // The --qarn-rpc_out argument with `parameter` in front of the folder.
  std::string Out(const std::string& parameter = "") const {
    return "--qarn-rpc_out=" + (parameter.empty() ? "" : parameter + ":") +
           output_.path().string();
  }

  // True if a line of protoc's errors ends in `error`, which follows protoc's
  // own words.
  static bool HasErrorLine(const CommandResult& result,
                           const std::string& error) {
    return ("\n" + result.err).find("\n" + error + "\n") != std::string::npos;
  }

  bool HasWrittenNothing() const { return FilesBelow(output_.path()).empty(); }

  const TemporaryFolder sources_;
  const TemporaryFolder output_;
};

TEST_F(ProtocTest, RefusesGenericServicesAndWritesNoFileOfTheRun) {
  for (const std::string parameter : {"", "foo=1"}) {
    const CommandResult result =
        Protoc({Out(parameter), "generic.proto", "a/b/echo.proto"});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_TRUE(HasErrorLine(
        result,
        std::string(kProtocPrefix) +
            "generic.proto: cpp rpc proto compiler plugin does not work with "
            "generic services. To generate cpp rpc APIs, please set "
            "\"cc_generic_service = false\"."))
        << result.err;
    EXPECT_TRUE(HasWrittenNothing());
  }
}

TEST_F(ProtocTest, WritesNoFileOfTheRunWhenALaterOneIsRefused) {
  const CommandResult result =
      Protoc({Out(), "a/b/echo.proto", "generic.proto"});
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_TRUE(HasWrittenNothing());
}

TEST_F(ProtocTest, RefusesAnUnknownParameterAndWritesNoFile) {
  const CommandResult result = Protoc({Out("foo=1"), "a/b/echo.proto"});
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_TRUE(HasErrorLine(result, std::string(kProtocPrefix) +
                                       "a/b/echo.proto: Unknown parameter: "
                                       "foo=1"))
      << result.err;
  EXPECT_TRUE(HasWrittenNothing());
}

TEST(PluginTest, AnswersARequestWithTheHeaderBeforeTheSource) {
  const testing::ProtoSources sources(std::map<std::string, std::string>{
      {"a/b/echo.proto", kEcho}, {"shared/msg.proto", kMsg}});
  const CommandResult result =
      RunCommand({QARN_RPC_PLUGIN},
                 sources.Request({"shared/msg.proto", "a/b/echo.proto"}, "")
                     .SerializeAsString());
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.err, "");
  CodeGeneratorResponse response;
  ASSERT_TRUE(response.ParseFromString(result.out));
  EXPECT_FALSE(response.has_error());
  EXPECT_EQ(response.supported_features(), 0u);
  std::vector<std::string> names;
  for (const auto& file : response.file()) {
    names.push_back(file.name());
    EXPECT_FALSE(file.has_insertion_point());
  }
  EXPECT_EQ(names,
            (std::vector<std::string>{"shared/msg.rpc.h", "shared/msg.rpc.cpp",
                                      "a/b/echo.rpc.h", "a/b/echo.rpc.cpp"}));
}

// The bytes of a response without files: the field supported_features and,
// where protobuf knows editions, the lowest and the highest one.
std::string Declaration(unsigned char features, int minimum, int maximum) {
  std::string bytes = {0x10, static_cast<char>(features)};
#ifdef QARN_RPC_HAS_EDITIONS
  const auto add = [&bytes](char tag, int number) {
    bytes += tag;
    for (; number > 127; number >>= 7) {
      bytes += static_cast<char>((number & 127) | 128);
    }
    bytes += static_cast<char>(number);
  };
  add(0x18, minimum);
  add(0x20, maximum);
#else
  static_cast<void>(minimum);
  static_cast<void>(maximum);
#endif
  return bytes;
}

// An empty input is a request for nothing.
TEST(PluginTest, DeclaresNothing) {
  const CommandResult result = RunCommand({QARN_RPC_PLUGIN}, "");
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, Declaration(0, 0, 0));
}

TEST(PluginAnyTest, DeclaresWhatItTakes) {
#ifdef QARN_RPC_HAS_EDITIONS
  EXPECT_EQ(RunCommand({QARN_RPC_PLUGIN_ANY}, "").out,
            Declaration(3, google::protobuf::compiler::ProtocMinimumEdition(),
                        google::protobuf::compiler::ProtocMaximumEdition()));
#else
  EXPECT_EQ(RunCommand({QARN_RPC_PLUGIN_ANY}, "").out, Declaration(1, 0, 0));
#endif
}

// Whatever it declares, the files are the same to the byte.
TEST(PluginAnyTest, AnswersLikeThePlainOneButForTheDeclaration) {
  const testing::ProtoSources sources(
      std::map<std::string, std::string>{{"a/b/echo.proto", kEcho},
                                         {"shared/msg.proto", kMsg},
                                         {"generic.proto", kGeneric}});
  const auto answer = [](const char* plugin, const std::string& request) {
    CodeGeneratorResponse whole;
    EXPECT_TRUE(whole.ParseFromString(RunCommand({plugin}, request).out));
    CodeGeneratorResponse undeclared;
    undeclared.set_error(whole.error());
    *undeclared.mutable_file() = whole.file();
    return undeclared.SerializeAsString();
  };
  for (const std::string name : {"a/b/echo.proto", "generic.proto"}) {
    for (const std::string parameter :
         {"", "services_namespace=api", "foo=1"}) {
      const std::string request =
          sources.Request({"shared/msg.proto", name}, parameter)
              .SerializeAsString();
      EXPECT_EQ(answer(QARN_RPC_PLUGIN_ANY, request),
                answer(QARN_RPC_PLUGIN, request));
    }
  }
}

// An edition that this protobuf knows and its protoc does not take, or that
// nobody knows. Before editions, protoc knows no such keyword.
TEST_F(ProtocTest, LeavesAnEditionThatProtocDoesNotTakeToItsMessage) {
  std::vector<std::string> editions = testing::LaterEditions();
  editions.push_back("2099");
  for (const std::string& edition : editions) {
    const TemporaryFolder folder;
    folder.Write("late.proto", "edition = \"" + edition + "\";\n");
    const CommandResult result = RunCommand(
        {QARN_RPC_PROTOC, "--plugin=protoc-gen-qarn-rpc=" QARN_RPC_PLUGIN_ANY,
         "-I" + folder.path().string(), Out(), "late.proto"});
    EXPECT_EQ(result.exit_status, 1) << edition;
    EXPECT_NE(result.err.find("late.proto:"), std::string::npos) << result.err;
#ifdef QARN_RPC_HAS_EDITIONS
    EXPECT_NE(result.err.find("dition"), std::string::npos) << result.err;
#endif
    EXPECT_TRUE(HasWrittenNothing()) << edition;
  }
}

TEST(PluginTest, RefusesAnInputThatIsNoRequest) {
  const CommandResult result = RunCommand({QARN_RPC_PLUGIN}, "\xFF\xFF\xFF");
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_EQ(result.err,
            QARN_RPC_PLUGIN ": protoc sent unparseable request to plugin.\n");
  EXPECT_EQ(result.out, "");
}

TEST(PluginTest, HasNoOptions) {
  for (const std::string option : {"--version", "--help", "x"}) {
    const CommandResult result = RunCommand({QARN_RPC_PLUGIN, option}, "");
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.err, QARN_RPC_PLUGIN ": Unknown option: " + option + "\n");
    EXPECT_EQ(result.out, "");
  }
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
