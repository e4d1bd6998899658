#include "source/services.h"

#include <gtest/gtest.h>

#include <string>

#include "support/print.h"
#include "support/proto_sources.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::FileDescriptor;
using google::protobuf::io::Printer;
using testing::FileHead;
using testing::ParseFile;
using testing::Printed;

const FileDescriptor* FileOf(const std::string& package,
                             const std::string& declarations) {
  return ParseFile("x.proto", FileHead(package) + declarations);
}

// The definitions of service Idle, which has no methods, with its classes
// reached by `ns`.
std::string IdleService(const std::string& ns) {
  return "\n" + ns +
         "Idle::Stub::Stub(\n"
         "    const std::string& client_name,\n"
         "    const std::string& endpoint,\n"
         "    const ::qarn::rpc::ClientContext& context,\n"
         "    const boost::shared_ptr< ::qarn::rpc::Channel>& channel)\n"
         "  : ::qarn::rpc::StubBase(client_name, endpoint, context, channel)\n"
         "{}\n"
         "\n" +
         ns +
         "Idle::Service::~Service() {\n"
         "  delete _service;\n"
         "}\n"
         "\n"
         "::qarn::rpc::RpcService* " +
         ns +
         "Idle::Service::service() {\n"
         "  if (_service) {\n"
         "    return _service;\n"
         "  }\n"
         "  _service = new ::qarn::rpc::RpcService(Idle::full_name());\n"
         "  return _service;\n"
         "}\n"
         "\n"
         "\n";
}

TEST(SourceServicesTest, DefineTheShellOfAServiceWithoutMethods) {
  EXPECT_EQ(GetSourceServices(FileOf("p", "service Idle {}"), Parameters()),
            IdleService(""));
}

TEST(SourceServicesTest, ReachTheClassesThroughTheServicesNamespaceAsItStands) {
  for (const std::string name : {"api", "x::y", "a.b", " x y "}) {
    EXPECT_EQ(GetSourceServices(FileOf("p", "service Idle {}"), {name}),
              IdleService(name + "::"));
  }
}

TEST(SourceServicesTest, PrintNothingWithoutServices) {
  EXPECT_EQ(GetSourceServices(FileOf("p", ""), Parameters()), "");
  EXPECT_EQ(GetSourceServices(FileOf("p", ""), {"api"}), "");
}

TEST(SourceServicesTest, QualifySomeNamesAndNotOthers) {
  const std::string text =
      GetSourceServices(FileOf("p",
                               "message Msg {}\n"
                               "service S { rpc A(Msg) returns (Msg);\n"
                               "            rpc B(Msg) returns (Msg); }"),
                        {"api"});
  // In order: the descriptors ahead of the constructor, the registrations
  // inside service().
  EXPECT_EQ(text.substr(0, text.find("api::S::Stub::Stub(")),
            "const ::qarn::rpc::RpcMethod api::S::Stub::_rpcmethod_A =\n"
            "  ::qarn::rpc::make_rpc_method<S, api::SMethods<S_A> >"
            "(::qarn::rpc::CS_CLIENT);\n"
            "const ::qarn::rpc::RpcMethod api::S::Stub::_rpcmethod_B =\n"
            "  ::qarn::rpc::make_rpc_method<S, api::SMethods<S_B> >"
            "(::qarn::rpc::CS_CLIENT);\n"
            "\n");
  EXPECT_EQ(text.substr(text.find("::qarn::rpc::RpcService* api")),
            "::qarn::rpc::RpcService* api::S::Service::service() {\n"
            "  if (_service) {\n"
            "    return _service;\n"
            "  }\n"
            "  _service = new ::qarn::rpc::RpcService(S::full_name());\n"
            "  _service->AddMethod(new ::qarn::rpc::RpcServiceMethodT<\n"
            "      api::S, api::SMethods<S_A> >(\n"
            "          this, &api::S::Service::A));\n"
            "  _service->AddMethod(new ::qarn::rpc::RpcServiceMethodT<\n"
            "      api::S, api::SMethods<S_B> >(\n"
            "          this, &api::S::Service::B));\n"
            "  return _service;\n"
            "}\n"
            "\n"
            "\n");
}

TEST(SourceServicesTest, PrintServicesInDeclarationOrder) {
  const auto services = [](const std::string& declarations) {
    return GetSourceServices(FileOf("", declarations), Parameters());
  };
  EXPECT_EQ(services("service Zeta {} service Idle {}"),
            services("service Zeta {}") + IdleService(""));
}

TEST(SourceServicesTest, DoNotDetectAServiceNamedLikeANestedClass) {
  for (const std::string name : {"Service", "Stub"}) {
    const std::string text =
        GetSourceServices(FileOf("", "service " + name + " {}"), Parameters());
    for (const std::string& line :
         {name + "::Stub::Stub(\n", name + "::Service::~Service() {\n",
          "  _service = new ::qarn::rpc::RpcService(" + name +
              "::full_name());\n"}) {
      EXPECT_NE(text.find(line), std::string::npos) << line;
    }
  }
}

TEST(PrintSourceServiceTest, LeavesTheServiceAndItsLastMethodInTheMap) {
  const FileDescriptor* file =
      FileOf("",
             "message Msg {} service S { rpc A(Msg) returns (Msg); rpc B(Msg) "
             "returns (Msg); }");
  VariableMap vars = {{"ns", ""}, {"Service", "Old"}};
  Printed([&](Printer* printer) {
    PrintSourceService(printer, file->service(0), &vars);
  });
  EXPECT_EQ(vars.at("Service"), "S");
  EXPECT_EQ(vars.at("Method"), "B");
}

// No template reads "Package", "PackageDot" or "prefix", yet they are set.
TEST(SourceFileVarsTest, HoldEveryFileLevelKey) {
  VariableMap vars;
  SetSourceFileVars(FileOf("a.b", ""), {"x::y"}, &vars);
  EXPECT_EQ(vars, (VariableMap{{"Package", "a.b"},
                               {"PackageDot", "a.b."},
                               {"ns", "x::y::"},
                               {"prefix", "x::y"}}));
  SetSourceFileVars(FileOf("", ""), Parameters(), &vars);
  EXPECT_EQ(
      vars,
      (VariableMap{
          {"Package", ""}, {"PackageDot", ""}, {"ns", ""}, {"prefix", ""}}));
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
