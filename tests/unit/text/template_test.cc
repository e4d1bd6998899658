#include "text/template.h"

#include <gtest/gtest.h>

namespace qarn {
namespace rpc {
namespace {

TEST(TemplateTest, SkipsTheNewlineThatALiteralStartsWith) {
  EXPECT_STREQ(Template(R"(
class $Service$ {
 public:
)"),
               "class $Service$ {\n public:\n");
}

TEST(TemplateTest, SkipsOneNewlineOnly) {
  EXPECT_STREQ(Template(R"(

x

)"),
               "\nx\n\n");
  EXPECT_STREQ(Template("\n"), "");
}

TEST(TemplateTest, KeepsALiteralThatStartsWithSomethingElse) {
  EXPECT_STREQ(Template("x\n"), "x\n");
  EXPECT_STREQ(Template(" \n"), " \n");
  EXPECT_STREQ(Template(""), "");
}

TEST(TemplateTest, IsAConstantThatPointsIntoTheLiteral) {
  static constexpr char kLiteral[] = "\nx";
  constexpr const char* text = Template(kLiteral);
  static_assert(text == kLiteral + 1);
  static_assert(*text == 'x');
  EXPECT_EQ(text, kLiteral + 1);
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
