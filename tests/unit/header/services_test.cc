#include "header/services.h"

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

constexpr char kIdleService[] =
    "#define IDLE Idle\n"
    "\n"
    "#define IDLE_METHOD_NAMES \\\n"
    "\n"
    "#define IDLE_METHODS \\\n"
    "\n"
    "#define IDLE_METHOD(NAME) \\\n"
    "  BOOST_PP_CAT(RPCTEST, BOOST_PP_CAT(_, NAME))\n"
    "\n"
    "enum IdleMethod {\n"
    "}; // enum IdleMethod\n"
    "\n"
    "template <IdleMethod>\n"
    "struct IdleMethods;\n"
    "\n"
    "\n"
    "class Idle {\n"
    " public:\n"
    "\n"
    "  static const char* package()   { return \"\"; }\n"
    "  static const char* name()      { return \"Idle\"; }\n"
    "  static const char* full_name() { return \"Idle\"; }\n"
    "\n"
    "  class Stub : public ::qarn::rpc::StubBase {\n"
    "   public:\n"
    "    typedef Idle Service;\n"
    "\n"
    "\n"
    "    Stub(const std::string& client_name,\n"
    "         const std::string& endpoint,\n"
    "         const ::qarn::rpc::ClientContext& context,\n"
    "         const boost::shared_ptr< ::qarn::rpc::Channel>&);\n"
    "\n"
    "  };\n"
    "\n"
    "  class Service : public ::qarn::rpc::ServiceBase {\n"
    "   public:\n"
    "    Service() : _service(NULL) {}\n"
    "    virtual ~Service();\n"
    "\n"
    "\n"
    "\n"
    "\n"
    "    virtual ::qarn::rpc::RpcService* service();\n"
    "\n"
    "   private:\n"
    "    ::qarn::rpc::RpcService* _service;\n"
    "  };\n"
    "};\n";

TEST(HeaderServicesTest, PrintTheWholeShellOfAServiceWithoutMethods) {
  EXPECT_EQ(GetHeaderServices(FileOf("", "service Idle {}"), Parameters()),
            std::string(kIdleService) + "\n");
}

TEST(HeaderServicesTest, StandInTheServicesNamespaceWithoutIndentation) {
  EXPECT_EQ(GetHeaderServices(FileOf("", "service Idle {}"), {"api"}),
            "\n"
            "namespace api {\n"
            "\n" +
                std::string(kIdleService) +
                "\n"
                "}  // namespace api\n"
                "\n");
}

TEST(HeaderServicesTest, PrintOnlyTheNamespaceWithoutServices) {
  EXPECT_EQ(GetHeaderServices(FileOf("a.b", ""), Parameters()), "");
  EXPECT_EQ(GetHeaderServices(FileOf("a.b", ""), {"api"}),
            "\nnamespace api {\n\n}  // namespace api\n\n");
}

TEST(HeaderServicesTest, TakeTheNamespaceAsItStands) {
  for (const std::string name : {"a::b", "a.b", " x y ", "$", "\xC3\xA4"}) {
    EXPECT_EQ(GetHeaderServices(FileOf("", ""), {name}),
              "\nnamespace " + name + " {\n\n}  // namespace " + name + "\n\n");
  }
}

TEST(HeaderServicesTest, PrintTheIdentityOfThePackage) {
  const auto identity = [](const std::string& package) {
    const std::string text =
        GetHeaderServices(FileOf(package, "service Greeter {}"), Parameters());
    const size_t begin = text.find("  static const char* package()");
    return text.substr(begin, text.find("\n\n", begin) - begin + 1);
  };
  EXPECT_EQ(identity("demo.chat"),
            "  static const char* package()   { return \"demo.chat\"; }\n"
            "  static const char* name()      { return \"Greeter\"; }\n"
            "  static const char* full_name() { return "
            "\"demo.chat.Greeter\"; }\n");
  EXPECT_EQ(identity(""),
            "  static const char* package()   { return \"\"; }\n"
            "  static const char* name()      { return \"Greeter\"; }\n"
            "  static const char* full_name() { return \"Greeter\"; }\n");
}

TEST(HeaderServicesTest, PrintServicesInDeclarationOrderEachWithItsTypedefs) {
  const std::string text =
      GetHeaderServices(FileOf("p",
                               "message Msg {}\n"
                               "service Zeta { rpc M(Msg) returns (Msg); }\n"
                               "service Alpha { rpc M(Msg) returns (Msg); }"),
                        Parameters());
  const std::string observer =
      "    typedef ::qarn::rpc::CallObserver< ::p::Msg> "
      "MsgCallObserverPtr;\n";
  const std::string message = "    typedef ::p::Msg Msg;\n";
  const size_t zeta = text.find("class Zeta {");
  const size_t alpha = text.find("class Alpha {");
  ASSERT_LT(zeta, alpha);
  ASSERT_NE(alpha, std::string::npos);
  for (const std::string& line : {observer, message}) {
    const size_t first = text.find(line);
    const size_t second = text.find(line, first + 1);
    EXPECT_TRUE(zeta < first && first < alpha) << line;
    EXPECT_TRUE(alpha < second && second != std::string::npos) << line;
    EXPECT_EQ(text.find(line, second + 1), std::string::npos) << line;
  }
}

TEST(HeaderServicesTest, KeepMethodDescriptorsInThePublicPartOfStub) {
  const std::string text = GetHeaderServices(
      FileOf("", "message Msg {} service S { rpc M(Msg) returns (Msg); }"),
      Parameters());
  const size_t descriptor =
      text.find("    static const ::qarn::rpc::RpcMethod");
  ASSERT_NE(descriptor, std::string::npos);
  EXPECT_EQ(text.substr(descriptor - 2, 2), "\n\n");
  const size_t stub = text.find("  class Stub");
  for (const char* label : {"private:", "protected:"}) {
    EXPECT_EQ(text.substr(stub, descriptor - stub).find(label),
              std::string::npos);
  }
}

TEST(HeaderServicesTest, DoNotDetectAServiceNamedLikeANestedClass) {
  for (const std::string name : {"Service", "Stub"}) {
    const std::string text =
        GetHeaderServices(FileOf("", "service " + name + " {}"), Parameters());
    EXPECT_NE(text.find("class " + name + " {\n public:\n"), std::string::npos);
    EXPECT_NE(text.find("    typedef " + name + " Service;\n"),
              std::string::npos);
  }
}

TEST(PrintHeaderServiceTest, LeavesTheServiceAndItsLastMethodInTheMap) {
  const FileDescriptor* file =
      FileOf("",
             "message Msg {} service S { rpc A(Msg) returns (Msg); rpc B(Msg) "
             "returns (Msg); }");
  VariableMap vars = {{"Package", ""}, {"PackageDot", ""}, {"Service", "Old"}};
  Printed([&](Printer* printer) {
    PrintHeaderService(printer, file->service(0), &vars);
  });
  EXPECT_EQ(vars.at("Service"), "S");
  EXPECT_EQ(vars.at("Method"), "B");
}

TEST(HeaderFileVarsTest, HoldTheServicesNamespaceOnlyIfThereIsOne) {
  VariableMap vars;
  SetHeaderFileVars(FileOf("a.b", ""), Parameters(), &vars);
  EXPECT_EQ(vars, (VariableMap{{"Package", "a.b"}, {"PackageDot", "a.b."}}));
  SetHeaderFileVars(FileOf("", ""), {"api"}, &vars);
  EXPECT_EQ(vars, (VariableMap{{"Package", ""},
                               {"PackageDot", ""},
                               {"services_namespace", "api"}}));
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
