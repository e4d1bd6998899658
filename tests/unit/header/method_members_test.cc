#include "header/method_members.h"

#include <gtest/gtest.h>

#include <string>

#include "support/methods.h"
#include "support/print.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::io::Printer;
using testing::FileHead;
using testing::KindsMethod;
using testing::KindsVars;
using testing::ParseFile;
using testing::Printed;

std::string ClientMethod(const std::string& name) {
  VariableMap vars = KindsVars();
  return Printed([&](Printer* printer) {
    PrintHeaderClientMethod(printer, KindsMethod(name), &vars, true);
  });
}

std::string ServerMethod(const std::string& name) {
  VariableMap vars = KindsVars();
  return Printed([&](Printer* printer) {
    PrintHeaderServerMethodSync(printer, KindsMethod(name), vars);
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

TEST(ClientMethodDataTest, DeclaresADescriptorForEveryKind) {
  for (const std::string name : {"Get", "List", "Put", "Talk", "GetHere"}) {
    VariableMap vars = KindsVars();
    EXPECT_EQ(Printed([&](Printer* printer) {
                PrintHeaderClientMethodData(printer, KindsMethod(name), &vars);
              }),
              "static const ::qarn::rpc::RpcMethod _rpcmethod_" + name + ";\n");
    EXPECT_EQ(vars.at("Method"), name);
  }
}

TEST(CallHandleTypedefTest, IsNamedWithoutServerForEveryKind) {
  for (const std::string name : {"Get", "List", "Put", "Talk", "GetHere"}) {
    VariableMap vars = KindsVars();
    EXPECT_EQ(Printed([&](Printer* printer) {
                PrintHeaderServerMethodCallHandleTypedefs(
                    printer, KindsMethod(name), vars);
              }),
              "typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< "
              "::p::Answer> > " +
                  name + "CallHandle;\n");
    EXPECT_EQ(vars.at("Method"), name);
  }
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

TEST(ServiceTypedefsTest, GiveEveryMethodTwoCallPointersInOrder) {
  const auto* file = ParseFile("x.proto", FileHead("p") + R"(
message Ask {}
message Answer {}
service Kinds {
  rpc Talk(Ask) returns (Answer) {
    option (morvane.qarn.rpc.client_streaming) = true;
  }
  rpc Get(Answer) returns (Ask);
}
)");
  VariableMap vars = KindsVars();
  EXPECT_EQ(
      Printed([&](Printer* printer) {
        PrintHeaderServiceTypedefs(printer, file->service(0), &vars);
      }),
      "typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::p::Ask> > "
      "TalkClientCallPtr;\n"
      "typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::p::Answer> > "
      "TalkServerCallPtr;\n"
      "typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::p::Answer> > "
      "GetClientCallPtr;\n"
      "typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::p::Ask> > "
      "GetServerCallPtr;\n");
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
