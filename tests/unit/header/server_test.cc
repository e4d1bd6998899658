#include "header/server.h"

#include <gtest/gtest.h>

#include <string>

#include "support/methods.h"
#include "support/print.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;
using testing::FileHead;
using testing::KindsMethod;
using testing::KindsService;
using testing::KindsVars;
using testing::ParseFile;
using testing::Printed;
using testing::PrintedFor;

std::string Server(const ServiceDescriptor* service) {
  return PrintedFor(service, PrintHeaderServer);
}

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

TEST(HeaderServerTest, DeclaresTheShellForAServiceWithoutMethods) {
  const auto* file = ParseFile("x.proto", FileHead("p") + "service Idle {}");
  EXPECT_EQ(Server(file->service(0)),
            "class Service : public ::qarn::rpc::ServiceBase {\n"
            " public:\n"
            "  Service() : _service(NULL) {}\n"
            "  virtual ~Service();\n"
            "\n"
            "\n"
            "\n"
            "\n"
            "  virtual ::qarn::rpc::RpcService* service();\n"
            "\n"
            " private:\n"
            "  ::qarn::rpc::RpcService* _service;\n"
            "};\n");
}

TEST(HeaderServerTest, DeclaresTypedefsHandlersAndAccessorInThisOrder) {
  const std::string text = Server(KindsService());
  std::size_t last = 0;
  for (const std::string piece :
       {"virtual ~Service();", "typedef ::p::Ask Ask;",
        "typedef ::qarn::rpc::CallObserver< ::p::Ask>*", "> > GetCallHandle;",
        "> > TalkCallHandle;", "virtual void Get(\n",
        "virtual AskCallObserverPtr Talk(\n",
        "virtual ::qarn::rpc::RpcService* service();", " private:\n"}) {
    const std::size_t position = text.find(piece, last);
    ASSERT_NE(position, std::string::npos) << piece;
    EXPECT_EQ(text.find(piece), position) << piece;
    last = position;
  }
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
