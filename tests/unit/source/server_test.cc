#include "source/server.h"

#include <gtest/gtest.h>

#include <string>

#include "support/methods.h"
#include "support/print.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::io::Printer;
using testing::FileHead;
using testing::KindsVars;
using testing::ParseFile;
using testing::Printed;

TEST(SourceServerTest, RegistersEveryMethodInDeclarationOrder) {
  const auto* file =
      ParseFile("x.proto", FileHead("p") +
                               "message Msg {}\n"
                               "service S { rpc B(Msg) returns (Msg);\n"
                               "            rpc A(Msg) returns (Msg); }");
  VariableMap vars = KindsVars();
  vars["Service"] = "S";
  EXPECT_EQ(Printed([&](Printer* printer) {
              PrintSourceServer(printer, file->service(0), &vars);
            }),
            "api::S::Service::~Service() {\n"
            "  delete _service;\n"
            "}\n"
            "\n"
            "::qarn::rpc::RpcService* api::S::Service::service() {\n"
            "  if (_service) {\n"
            "    return _service;\n"
            "  }\n"
            "  _service = new ::qarn::rpc::RpcService(S::full_name());\n"
            "  _service->AddMethod(new ::qarn::rpc::RpcServiceMethodT<\n"
            "      api::S, api::SMethods<S_B> >(\n"
            "          this, &api::S::Service::B));\n"
            "  _service->AddMethod(new ::qarn::rpc::RpcServiceMethodT<\n"
            "      api::S, api::SMethods<S_A> >(\n"
            "          this, &api::S::Service::A));\n"
            "  return _service;\n"
            "}\n"
            "\n");
  EXPECT_EQ(vars.at("Method"), "A");
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
