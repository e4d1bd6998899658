#include "source/stub.h"

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
  return PrintedFor(service, PrintSourceStub);
}

TEST(SourceStubTest, DefinesOnlyTheConstructorForAServiceWithoutMethods) {
  const auto* file = ParseFile("x.proto", FileHead("p") + "service Idle {}");
  EXPECT_EQ(
      Stub(file->service(0)),
      "\n"
      "api::Idle::Stub::Stub(\n"
      "    const std::string& client_name,\n"
      "    const std::string& endpoint,\n"
      "    const ::qarn::rpc::ClientContext& context,\n"
      "    const boost::shared_ptr< ::qarn::rpc::Channel>& channel)\n"
      "  : ::qarn::rpc::StubBase(client_name, endpoint, context, channel)\n"
      "{}\n"
      "\n");
}

TEST(SourceStubTest, DefinesDescriptorsConstructorAndCallsInThisOrder) {
  const std::string text = Stub(KindsService());
  std::size_t last = 0;
  for (const std::string piece :
       {"Stub::_rpcmethod_Get =", "Stub::_rpcmethod_Talk =", "Stub::Stub(\n",
        "Stub::Get(\n", "Stub::Talk(\n"}) {
    const std::size_t position = text.find(piece, last);
    ASSERT_NE(position, std::string::npos) << piece;
    EXPECT_EQ(text.find(piece), position) << piece;
    last = position;
  }
}

TEST(SourceClientMethodDataTest, DefinesADescriptorForEveryKind) {
  for (const std::string name : {"Get", "List", "Put", "Talk", "GetHere"}) {
    VariableMap vars = KindsVars();
    EXPECT_EQ(Printed([&](Printer* printer) {
                PrintSourceClientMethodData(printer, KindsMethod(name), &vars);
              }),
              "const ::qarn::rpc::RpcMethod api::Kinds::Stub::_rpcmethod_" +
                  name +
                  " =\n"
                  "  ::qarn::rpc::make_rpc_method<Kinds, "
                  "api::KindsMethods<Kinds_" +
                  name + "> >(::qarn::rpc::CS_CLIENT);\n");
    EXPECT_EQ(vars.at("Method"), name);
  }
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
