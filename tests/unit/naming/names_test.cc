#include "naming/names.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/proto_sources.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FileDescriptor;

struct DotsCase {
  std::string name;
  std::string underscores;
  std::string colons;
};

TEST(NamesTest, ReplacesEveryDot) {
  const std::vector<DotsCase> cases = {
      {"", "", ""},
      {"Outer", "Outer", "Outer"},
      {"a.b.Outer", "a_b_Outer", "a::b::Outer"},
      {".a.b", "_a_b", "::a::b"},
      {"a.b.", "a_b_", "a::b::"},
      {"a..b", "a__b", "a::::b"},
      {".", "_", "::"},
      {"...", "___", "::::::"},
      {"a_b.c", "a_b_c", "a_b::c"},
      {"a::b.c", "a::b_c", "a::b::c"},
      {"\xC3\xA4.\xFF", "\xC3\xA4_\xFF", "\xC3\xA4::\xFF"},
  };
  for (const DotsCase& row : cases) {
    EXPECT_EQ(DotsToUnderscores(row.name), row.underscores) << row.name;
    EXPECT_EQ(DotsToColons(row.name), row.colons) << row.name;
  }
}

struct ClassNameCase {
  std::string package;
  std::string declaration;
  std::string full_name;
  std::string qualified;
  std::string local;
};

TEST(NamesTest, NamesMessageClassesAsProtobufDoes) {
  const std::vector<ClassNameCase> cases = {
      {"a.b", "message PingRequest {}", "a.b.PingRequest",
       "::a::b::PingRequest", "PingRequest"},
      {"a.b", "message Outer { message Inner {} }", "a.b.Outer.Inner",
       "::a::b::Outer_Inner", "Outer_Inner"},
      {"x", "message Outer { message Mid { message In {} } }", "x.Outer.Mid.In",
       "::x::Outer_Mid_In", "Outer_Mid_In"},
      {"x", "message Outer { message Mid { message In {} } }", "x.Outer.Mid",
       "::x::Outer_Mid", "Outer_Mid"},
      {"", "message Msg {}", "Msg", "::Msg", "Msg"},
      {"", "message Outer { message Inner {} }", "Outer.Inner", "::Outer_Inner",
       "Outer_Inner"},
      {"p", "message My_Msg {}", "p.My_Msg", "::p::My_Msg", "My_Msg"},
      {"p", "message A_B {}", "p.A_B", "::p::A_B", "A_B"},
      {"p", "message A { message B {} }", "p.A.B", "::p::A_B", "A_B"},
      // Nested in a message of its own name.
      {"p.p", "message p { message p {} }", "p.p.p.p", "::p::p::p_p", "p_p"},
  };
  for (const ClassNameCase& row : cases) {
    const FileDescriptor* file = testing::ParseFile(
        "x.proto", testing::FileHead(row.package) + row.declaration);
    const Descriptor* message =
        file->pool()->FindMessageTypeByName(row.full_name);
    ASSERT_NE(message, nullptr) << row.full_name;
    EXPECT_EQ(MessageClassName(message, true), row.qualified);
    EXPECT_EQ(MessageClassName(message, false), row.local);
  }
}

TEST(NamesTest, GivesBothClassNamesOfAMessageInOneText) {
  const FileDescriptor* file = testing::ParseFile(
      "x.proto", testing::FileHead("a.b") +
                     "message Outer { message Inner {} } message Msg {}");
  std::string text = "what stood here before, which is longer than the names";
  EXPECT_EQ(
      AssignMessageClassName(file->message_type(0)->nested_type(0), &text),
      "Outer_Inner");
  EXPECT_EQ(text, "::a::b::Outer_Inner");
  EXPECT_EQ(AssignMessageClassName(file->message_type(1), &text), "Msg");
  EXPECT_EQ(text, "::a::b::Msg");
}

TEST(NamesTest, PutsOnlyAsciiLettersOfAMacroPrefixInUpperCase) {
  EXPECT_EQ(MacroPrefix("Echo"), "ECHO");
  EXPECT_EQ(MacroPrefix("Echo_v2"), "ECHO_V2");
  EXPECT_EQ(MacroPrefix("ECHO"), "ECHO");
  EXPECT_EQ(MacroPrefix("azAZ09_"), "AZAZ09_");
  EXPECT_EQ(MacroPrefix("a\xE4\xC3\xA4z"), "A\xE4\xC3\xA4Z");
  EXPECT_EQ(MacroPrefix(""), "");
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
