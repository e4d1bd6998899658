#include "text/indent_scope.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/print.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::io::Printer;
using testing::Printed;

TEST(IndentScopeTest, IndentsByTwoSpacesALevelWhileItLives) {
  EXPECT_EQ(Printed([](Printer* printer) {
              printer->Print("a\n");
              {
                IndentScope outer(printer);
                printer->Print("b\n");
                {
                  IndentScope inner(printer);
                  printer->Print("c\n");
                }
                printer->Print("d\n");
              }
              printer->Print("e\n");
            }),
            "a\n  b\n    c\n  d\ne\n");
}

TEST(IndentScopeTest, IndentsNoEmptyLine) {
  EXPECT_EQ(Printed([](Printer* printer) {
              IndentScope body(printer);
              printer->Print("a\n\nb\n");
            }),
            "  a\n\n  b\n");
}

TEST(IndentScopeTest, LeavesTheIndentationBalancedWhenAnExceptionPasses) {
  EXPECT_EQ(Printed([](Printer* printer) {
              try {
                IndentScope outer(printer);
                IndentScope inner(printer);
                printer->Print("a\n");
                throw std::runtime_error("stop");
              } catch (const std::runtime_error&) {
                printer->Print("b\n");
              }
            }),
            "    a\nb\n");
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
