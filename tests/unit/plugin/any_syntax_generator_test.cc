#include "plugin/any_syntax_generator.h"

#include <gtest/gtest.h>

#include "support/generate.h"
#include "support/proto_sources.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::compiler::CodeGenerator;
using testing::FileHead;
using testing::Generate;
using testing::GenerateResult;
using testing::GenerateWith;
using testing::ParseFile;

void ExpectTheSame(const std::string& declarations,
                   const std::string& parameter) {
  const auto* file = ParseFile("a/echo.proto", FileHead("a") + declarations);
  const GenerateResult plain = Generate(file, parameter);
  const GenerateResult any =
      GenerateWith(AnySyntaxGenerator(), file, parameter);
  EXPECT_EQ(any.succeeded, plain.succeeded);
  EXPECT_EQ(any.error, plain.error);
  EXPECT_EQ(any.files, plain.files);
  EXPECT_EQ(any.events, plain.events);
}

TEST(AnySyntaxGeneratorTest, WritesAndRefusesWhatThePlainOneDoes) {
  const std::string echo =
      "message Msg {} service Echo { rpc Ping(Msg) returns (Msg); }";
  ExpectTheSame(echo, "");
  ExpectTheSame(echo, "services_namespace=api");
  ExpectTheSame(echo, "foo=1");
  ExpectTheSame("option cc_generic_services = true;", "");
}

TEST(AnySyntaxGeneratorTest, DeclaresProto3Optional) {
  EXPECT_NE(AnySyntaxGenerator().GetSupportedFeatures() &
                CodeGenerator::FEATURE_PROTO3_OPTIONAL,
            0u);
}

#ifdef QARN_RPC_HAS_EDITIONS

TEST(AnySyntaxGeneratorTest, DeclaresTheEditionsOfItsProtobuf) {
  const AnySyntaxGenerator generator;
  EXPECT_EQ(generator.GetSupportedFeatures(),
            CodeGenerator::FEATURE_PROTO3_OPTIONAL |
                CodeGenerator::FEATURE_SUPPORTS_EDITIONS);
  EXPECT_EQ(generator.GetMinimumEdition(),
            google::protobuf::compiler::ProtocMinimumEdition());
  EXPECT_EQ(generator.GetMaximumEdition(),
            google::protobuf::compiler::ProtocMaximumEdition());
}

#else

TEST(AnySyntaxGeneratorTest, DeclaresNothingElse) {
  EXPECT_EQ(AnySyntaxGenerator().GetSupportedFeatures(),
            static_cast<std::uint64_t>(CodeGenerator::FEATURE_PROTO3_OPTIONAL));
}

#endif

TEST(AnySyntaxGeneratorTest, HasNoState) {
  EXPECT_EQ(sizeof(AnySyntaxGenerator), sizeof(CodeGenerator));
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
