#include "header/stub.h"

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

std::string Stub(const ServiceDescriptor* service) {
  return PrintedFor(service, PrintHeaderStub);
}

TEST(HeaderStubTest, DeclaresTheShellForAServiceWithoutMethods) {
  const auto* file = ParseFile("x.proto", FileHead("p") + "service Idle {}");
  EXPECT_EQ(Stub(file->service(0)),
            "class Stub : public ::qarn::rpc::StubBase {\n"
            " public:\n"
            "  typedef Idle Service;\n"
            "\n"
            "\n"
            "  Stub(const std::string& client_name,\n"
            "       const std::string& endpoint,\n"
            "       const ::qarn::rpc::ClientContext& context,\n"
            "       const boost::shared_ptr< ::qarn::rpc::Channel>&);\n"
            "\n"
            "};\n");
}

TEST(HeaderStubTest,
     DeclaresTypedefsConstructorCallsAndDescriptorsInThisOrder) {
  const std::string text = Stub(KindsService());
  std::size_t last = 0;
  for (const std::string piece :
       {"typedef ::qarn::rpc::CallObserver< ::p::Answer>",
        "Stub(const std::string& client_name", "Get(\n", "Talk(\n",
        "RpcMethod _rpcmethod_Get;", "RpcMethod _rpcmethod_Talk;"}) {
    const std::size_t position = text.find(piece, last);
    ASSERT_NE(position, std::string::npos) << piece;
    EXPECT_EQ(text.find(piece), position) << piece;
    last = position;
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

}  // namespace
}  // namespace rpc
}  // namespace qarn
