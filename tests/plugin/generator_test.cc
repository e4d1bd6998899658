#include "plugin/generator.h"

#include <gmock/gmock.h>
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "header/frame.h"
#include "header/services.h"
#include "source/frame.h"
#include "source/services.h"
#include "support/generate.h"
#include "support/proto_sources.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::FileDescriptor;
using ::testing::ElementsAre;
using testing::FileHead;
using testing::Generate;
using testing::GenerateResult;
using ::testing::IsEmpty;
using testing::ParseFile;

constexpr char kGenericServicesError[] =
    "cpp rpc proto compiler plugin does not work with generic services. "
    "To generate cpp rpc APIs, please set \"cc_generic_service = false\".";

const FileDescriptor* EchoFile(const std::string& name = "a/b/echo.proto") {
  return ParseFile(name, FileHead("a.b") +
                             "message Msg {}\n"
                             "service Echo { rpc Ping(Msg) returns (Msg); }");
}

const FileDescriptor* GenericFile(const std::string& value) {
  return ParseFile(
      "generic.proto",
      FileHead("p") + "option cc_generic_services = " + value + ";");
}

TEST(GenerateTest, JoinsTheFourSectionsOfEachFile) {
  const FileDescriptor* file = EchoFile();
  const Parameters api = {"api"};
  const GenerateResult result = Generate(file, "services_namespace=api");
  EXPECT_TRUE(result.succeeded);
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(
      result.files,
      (std::map<std::string, std::string>{
          {"a/b/echo.rpc.h",
           GetHeaderPrologue(file, api) + GetHeaderIncludes(file, api) +
               GetHeaderServices(file, api) + GetHeaderEpilogue(file, api)},
          {"a/b/echo.rpc.cpp",
           GetSourcePrologue(file, api) + GetSourceIncludes(file, api) +
               GetSourceServices(file, api) + GetSourceEpilogue(file, api)}}));
}

TEST(GenerateTest, OpensTheHeaderFirstAndClosesItLast) {
  EXPECT_THAT(Generate(EchoFile(), "").events,
              ElementsAre("open a/b/echo.rpc.h", "open a/b/echo.rpc.cpp",
                          "close a/b/echo.rpc.cpp", "close a/b/echo.rpc.h"));
}

TEST(GenerateTest, NamesTheFilesAfterTheBaseName) {
  const std::map<std::string, std::string> cases = {
      {"svc.proto", "svc"},   {"dir/svc.protodevel", "dir/svc"},
      {"svc.txt", "svc.txt"}, {"x.proto.protodevel", "x.proto"},
      {".proto", ""},
  };
  for (const auto& row : cases) {
    const GenerateResult result = Generate(EchoFile(row.first), "");
    ASSERT_EQ(result.files.size(), 2u) << row.first;
    EXPECT_EQ(result.files.count(row.second + ".rpc.h"), 1u) << row.first;
    EXPECT_EQ(result.files.count(row.second + ".rpc.cpp"), 1u) << row.first;
  }
}

TEST(GenerateTest, WritesBothFramesForAFileWithoutServices) {
  const FileDescriptor* file = ParseFile("empty.proto", FileHead(""));
  const GenerateResult result = Generate(file, "");
  EXPECT_TRUE(result.succeeded);
  EXPECT_EQ(result.files.at("empty.rpc.h"),
            GetHeaderPrologue(file, Parameters()) +
                GetHeaderIncludes(file, Parameters()) + "\n");
  EXPECT_EQ(result.files.at("empty.rpc.cpp"),
            GetSourcePrologue(file, Parameters()) + "\n");
}

TEST(GenerateTest, AppliesTheLastServicesNamespace) {
  EXPECT_EQ(
      Generate(EchoFile(), "services_namespace=x,services_namespace=api").files,
      Generate(EchoFile(), "services_namespace=api").files);
  EXPECT_EQ(Generate(EchoFile(), "services_namespace=").files,
            Generate(EchoFile(), "").files);
  EXPECT_EQ(Generate(EchoFile(), "services_namespace").files,
            Generate(EchoFile(), "").files);
  EXPECT_NE(Generate(EchoFile(), "services_namespace=api").files,
            Generate(EchoFile(), "").files);
}

TEST(GenerateTest, KeepsNothingFromOneCallToTheNext) {
  const GenerateResult first = Generate(EchoFile(), "");
  Generate(EchoFile(), "services_namespace=api");
  Generate(EchoFile(), "foo=1");
  EXPECT_EQ(Generate(EchoFile(), "").files, first.files);
}

TEST(GenerateTest, RefusesGenericServicesBeforeReadingParameters) {
  for (const std::string parameter : {"", "services_namespace=api", "foo=1"}) {
    const GenerateResult result = Generate(GenericFile("true"), parameter);
    EXPECT_FALSE(result.succeeded);
    EXPECT_EQ(result.error, kGenericServicesError);
    EXPECT_THAT(result.events, IsEmpty());
  }
}

TEST(GenerateTest, TakesAFileThatRefusesGenericServicesItself) {
  EXPECT_TRUE(Generate(GenericFile("false"), "").succeeded);
}

TEST(GenerateTest, RefusesAnUnknownParameterBeforeOpeningAFile) {
  const std::map<std::string, std::string> cases = {
      {"foo=1", "Unknown parameter: foo=1"},
      {"services_namespace=a,", "Unknown parameter: "},
      {"services_namespace=a,foo", "Unknown parameter: foo"},
  };
  for (const auto& row : cases) {
    const GenerateResult result = Generate(EchoFile(), row.first);
    EXPECT_FALSE(result.succeeded) << row.first;
    EXPECT_EQ(result.error, row.second);
    EXPECT_THAT(result.events, IsEmpty());
  }
}

TEST(GeneratorTest, HasNoState) {
  EXPECT_EQ(sizeof(CppGenerator),
            sizeof(google::protobuf::compiler::CodeGenerator));
}

TEST(GeneratorTest, DeclaresNoFeature) {
  EXPECT_EQ(CppGenerator().GetSupportedFeatures(), 0u);
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
