#include "header/server_handlers.h"

#include <gtest/gtest.h>

#include <string>

#include "support/methods.h"
#include "support/print.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::io::Printer;
using testing::KindsMethod;
using testing::KindsVars;
using testing::Printed;

std::string ServerMethod(const std::string& name) {
  VariableMap vars = KindsVars();
  return Printed([&](Printer* printer) {
    PrintHeaderServerMethodSync(printer, KindsMethod(name), vars);
  });
}

std::string HandlerWithRequest(const std::string& name) {
  return "virtual void " + name +
         "(\n"
         "    ::qarn::rpc::CallContext* context,\n"
         "    const Ask& request,\n"
         "    const " +
         name +
         "CallHandle& handle) = 0;\n"
         "\n";
}

std::string HandlerWithoutRequest(const std::string& name) {
  return "virtual AskCallObserverPtr " + name +
         "(\n"
         "    ::qarn::rpc::CallContext* context,\n"
         "    const " +
         name +
         "CallHandle& handle) = 0;\n"
         "\n";
}

TEST(ServerMethodTest, TakesTheRequestWhereTheClientDoesNotStream) {
  EXPECT_EQ(ServerMethod("Get"), HandlerWithRequest("Get"));
  EXPECT_EQ(ServerMethod("List"), HandlerWithRequest("List"));
  EXPECT_EQ(ServerMethod("NotPut"), HandlerWithRequest("NotPut"));
}

TEST(ServerMethodTest, ReturnsAnObserverWhereTheClientStreams) {
  EXPECT_EQ(ServerMethod("Put"), HandlerWithoutRequest("Put"));
  EXPECT_EQ(ServerMethod("Talk"), HandlerWithoutRequest("Talk"));
}

TEST(ServerMethodTest, DoesNotReadRequiresLocalContext) {
  EXPECT_EQ(ServerMethod("GetHere"), HandlerWithRequest("GetHere"));
  EXPECT_EQ(ServerMethod("PutHere"), HandlerWithoutRequest("PutHere"));
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
