#include "source/client_calls.h"

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

std::string SourceMethod(const std::string& name) {
  VariableMap vars = KindsVars();
  const std::string text = Printed([&](Printer* printer) {
    PrintSourceClientMethod(printer, KindsMethod(name), &vars);
  });
  EXPECT_EQ(vars.at("Method"), name);
  return text;
}

std::string SimpleCalls(const std::string& name) {
  return "boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::p::Ask > >\n"
         "api::Kinds::Stub::" +
         name +
         "(\n"
         "    const ::p::Ask& request,\n"
         "    AnswerCallObserverPtr* response_observer) {\n"
         "  return ::qarn::rpc::client::AsyncSimpleCall(\n"
         "      channel(), _rpcmethod_" +
         name +
         ", context(), request, response_observer);\n"
         "}\n"
         "\n"
         "boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::p::Ask > >\n"
         "api::Kinds::Stub::" +
         name +
         "(\n"
         "    const ::qarn::rpc::ClientContext& context,\n"
         "    const ::p::Ask& request,\n"
         "    AnswerCallObserverPtr* response_observer) {\n"
         "  return ::qarn::rpc::client::AsyncSimpleCall(\n"
         "      channel(), _rpcmethod_" +
         name +
         ", context, request, response_observer);\n"
         "}\n"
         "\n";
}

std::string StreamingCalls(const std::string& name) {
  return "boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::p::Ask > >\n"
         "api::Kinds::Stub::" +
         name +
         "(\n"
         "    AnswerCallObserverPtr* response_observer) {\n"
         "  return ::qarn::rpc::client::AsyncStreamingCall<\n"
         "    ::p::Ask,\n"
         "    ::p::Answer >(\n"
         "      channel(), _rpcmethod_" +
         name +
         ", context(), response_observer);\n"
         "}\n"
         "\n"
         "boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::p::Ask > >\n"
         "api::Kinds::Stub::" +
         name +
         "(\n"
         "    const ::qarn::rpc::ClientContext& context,\n"
         "    AnswerCallObserverPtr* response_observer) {\n"
         "  return ::qarn::rpc::client::AsyncStreamingCall<\n"
         "    ::p::Ask,\n"
         "    ::p::Answer >(\n"
         "      channel(), _rpcmethod_" +
         name +
         ", context, response_observer);\n"
         "}\n"
         "\n";
}

TEST(SourceClientMethodTest, SendsOneRequestWhereTheClientDoesNotStream) {
  EXPECT_EQ(SourceMethod("Get"), SimpleCalls("Get"));
  EXPECT_EQ(SourceMethod("List"), SimpleCalls("List"));
  EXPECT_EQ(SourceMethod("NotPut"), SimpleCalls("NotPut"));
}

TEST(SourceClientMethodTest, OpensAStreamWhereTheClientStreams) {
  EXPECT_EQ(SourceMethod("Put"), StreamingCalls("Put"));
  EXPECT_EQ(SourceMethod("Talk"), StreamingCalls("Talk"));
}

TEST(SourceClientMethodTest, DoesNotReadRequiresLocalContext) {
  EXPECT_EQ(SourceMethod("GetHere"), SimpleCalls("GetHere"));
  EXPECT_EQ(SourceMethod("PutHere"), StreamingCalls("PutHere"));
}

TEST(SourceClientMethodTest, DefinesTheCallWithTheStubsContextFirst) {
  for (const std::string name : {"Get", "Put"}) {
    const std::string text = SourceMethod(name);
    EXPECT_LT(text.find("context(), "), text.find("context, ")) << name;
  }
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
