#include "header/client_calls.h"

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

std::string ClientMethod(const std::string& name) {
  VariableMap vars = KindsVars();
  return Printed([&](Printer* printer) {
    PrintHeaderClientMethod(printer, KindsMethod(name), &vars, true);
  });
}

std::string CallsWithRequest(const std::string& name) {
  return name + "ClientCallPtr\n" + name +
         "(\n"
         "    const ::qarn::rpc::ClientContext& context,\n"
         "    const ::p::Ask& request,\n"
         "    AnswerCallObserverPtr* response_observer);\n"
         "\n"
         "// This call will use Stub's context\n" +
         name + "ClientCallPtr\n" + name +
         "(const ::p::Ask& request,\n"
         "    AnswerCallObserverPtr* response_observer);\n"
         "\n";
}

std::string CallsWithoutRequest(const std::string& name) {
  return name + "ClientCallPtr\n" + name +
         "(\n"
         "    const ::qarn::rpc::ClientContext& context,\n"
         "    AnswerCallObserverPtr* response_observer);\n"
         "\n"
         "// This call will use Stub's context\n" +
         name + "ClientCallPtr\n" + name +
         "(\n"
         "    AnswerCallObserverPtr* response_observer);\n"
         "\n"
         "template<class Container>\n" +
         name + "ClientCallPtr\n" + name +
         "(\n"
         "    const ::qarn::rpc::ClientContext& context,\n"
         "    const Container& requests,\n"
         "    AnswerCallObserverPtr* response_observer) {\n"
         "  return ::qarn::rpc::client::AsyncBatchCall< \n"
         "       ::p::Ask,\n"
         "       ::p::Answer,\n"
         "       Container >(\n"
         "     channel(), _rpcmethod_" +
         name +
         ", context, requests, response_observer);\n"
         "}\n"
         "\n"
         "template<class Container>\n" +
         name + "ClientCallPtr\n" + name +
         "(\n"
         "    const Container& requests,\n"
         "    AnswerCallObserverPtr* response_observer) {\n"
         "  return ::qarn::rpc::client::AsyncBatchCall< \n"
         "       ::p::Ask,\n"
         "       ::p::Answer,\n"
         "       Container >(\n"
         "     channel(), _rpcmethod_" +
         name +
         ", context(), requests, response_observer);\n"
         "}\n"
         "\n";
}

TEST(ClientMethodTest, TakesARequestWhereTheClientDoesNotStream) {
  EXPECT_EQ(ClientMethod("Get"), CallsWithRequest("Get"));
  EXPECT_EQ(ClientMethod("List"), CallsWithRequest("List"));
  EXPECT_EQ(ClientMethod("NotPut"), CallsWithRequest("NotPut"));
}

TEST(ClientMethodTest, TakesNoRequestOrABatchWhereTheClientStreams) {
  EXPECT_EQ(ClientMethod("Put"), CallsWithoutRequest("Put"));
  EXPECT_EQ(ClientMethod("Talk"), CallsWithoutRequest("Talk"));
}

TEST(ClientMethodTest, DoesNotReadRequiresLocalContext) {
  EXPECT_EQ(ClientMethod("GetHere"), CallsWithRequest("GetHere"));
  EXPECT_EQ(ClientMethod("PutHere"), CallsWithoutRequest("PutHere"));
}

TEST(ClientMethodTest, SetsTheVariablesAlsoWhenItPrintsNothing) {
  for (const std::string name : {"Get", "List", "Put", "Talk"}) {
    VariableMap vars = KindsVars();
    EXPECT_EQ(Printed([&](Printer* printer) {
                PrintHeaderClientMethod(printer, KindsMethod(name), &vars,
                                        false);
              }),
              "");
    EXPECT_EQ(vars.at("Method"), name);
  }
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
