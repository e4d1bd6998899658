#include "text/render_section.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::io::Printer;

TEST(RenderSectionTest, ReturnsExactlyWhatWasPrinted) {
  EXPECT_EQ(RenderSection([](Printer* printer) { printer->Print("a\n\n"); }),
            "a\n\n");
  EXPECT_EQ(RenderSection([](Printer*) {}), "");
}

TEST(RenderSectionTest, ReplacesVariablesBetweenDollarSigns) {
  const std::map<std::string, std::string> vars = {{"Service", "Echo"}};
  EXPECT_EQ(RenderSection([&](Printer* printer) {
              printer->Print(vars, "class $Service$ #Service# {\n");
            }),
            "class Echo #Service# {\n");
}

TEST(RenderSectionTest, HandsOutTextLargerThanAnyBuffer) {
  const std::string line(1000, 'x');
  std::string expected;
  const std::string text = RenderSection([&](Printer* printer) {
    for (int i = 0; i < 1000; ++i) {
      printer->Print((line + "\n").c_str());
      expected += line + "\n";
    }
  });
  EXPECT_EQ(text, expected);
}

TEST(RenderSectionTest, LetsAnExceptionPass) {
  EXPECT_THROW(RenderSection([](Printer* printer) {
                 printer->Print("a");
                 throw std::runtime_error("stop");
               }),
               std::runtime_error);
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
