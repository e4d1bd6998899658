#include "plugin/generator.h"

#include <gmock/gmock.h>
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "header/frame.h"
#include "header/services.h"
#include "plugin/any_syntax_generator.h"
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

const FileDescriptor* EchoFile() {
  return ParseFile("a/b/echo.proto",
                   FileHead("a.b") +
                       "message Msg {}\n"
                       "service Echo { rpc Ping(Msg) returns (Msg); }");
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

TEST(GenerateTest, KeepsNothingFromOneCallToTheNext) {
  const GenerateResult first = Generate(EchoFile(), "");
  Generate(EchoFile(), "services_namespace=api");
  Generate(EchoFile(), "foo=1");
  EXPECT_EQ(Generate(EchoFile(), "").files, first.files);
}

TEST(GenerateTest, RefusesGenericServicesBeforeReadingParameters) {
  for (const std::string declarations : {"", "service Idle {}"}) {
    for (const std::string parameter :
         {"", "services_namespace=api", "foo=1"}) {
      const GenerateResult result = Generate(
          ParseFile("generic.proto", FileHead("p") +
                                         "option cc_generic_services = true;" +
                                         declarations),
          parameter);
      EXPECT_FALSE(result.succeeded);
      EXPECT_EQ(result.error, kGenericServicesError);
      EXPECT_THAT(result.events, IsEmpty());
    }
  }
}

TEST(GenerateTest, RefusesAnUnknownParameterBeforeOpeningAFile) {
  const GenerateResult result = Generate(EchoFile(), "services_namespace=a,b");
  EXPECT_FALSE(result.succeeded);
  EXPECT_EQ(result.error, "Unknown parameter: b");
  EXPECT_THAT(result.events, IsEmpty());
}

TEST(GeneratorTest, HasNoStateInEitherForm) {
  EXPECT_EQ(sizeof(CppGenerator),
            sizeof(google::protobuf::compiler::CodeGenerator));
  EXPECT_EQ(sizeof(AnySyntaxGenerator), sizeof(CppGenerator));
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
