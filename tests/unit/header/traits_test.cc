#include "header/traits.h"

#include <gtest/gtest.h>

#include <string>

#include "naming/variables.h"
#include "support/print.h"
#include "support/proto_sources.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;
using testing::FileHead;
using testing::ParseFile;
using testing::Printed;

const ServiceDescriptor* ServiceOf(const std::string& name,
                                   const std::string& methods) {
  return ParseFile("x.proto", FileHead("a.b") +
                                  "message PingRequest {} "
                                  "message PingReply {} "
                                  "message Filter {} message Event {}\n"
                                  "service " +
                                  name + " {" + methods + "}")
      ->service(0);
}

std::string TypeTraits(const ServiceDescriptor* service) {
  VariableMap vars = {{"Service", std::string(service->name())},
                      {"PackageDot", "a.b."}};
  return Printed([&](Printer* printer) {
    PrintHeaderServiceTypeTraits(printer, service, vars);
  });
}

std::string MethodSeq(const ServiceDescriptor* service, bool qualified) {
  VariableMap vars = {{"Service", std::string(service->name())}};
  return Printed([&](Printer* printer) {
    PrintHeaderServiceMethodSeq(printer, service, vars, qualified);
  });
}

constexpr char kPing[] = "rpc Ping(PingRequest) returns (PingReply);";
constexpr char kWatch[] =
    "rpc Watch(Filter) returns (Event) {"
    " option (morvane.qarn.rpc.server_streaming) = true; }";

TEST(TypeTraitsTest, DescribeTheServiceAndEachMethod) {
  EXPECT_EQ(TypeTraits(ServiceOf("Echo", std::string(kPing) + kWatch)),
            "#define ECHO Echo\n"
            "\n"
            "#define ECHO_METHOD_NAMES \\\n"
            "  (Ping) \\\n"
            "  (Watch)\n"
            "\n"
            "#define ECHO_METHODS \\\n"
            "  (Echo_Ping) \\\n"
            "  (Echo_Watch)\n"
            "\n"
            "#define ECHO_METHOD(NAME) \\\n"
            "  BOOST_PP_CAT(RPCTEST, BOOST_PP_CAT(_, NAME))\n"
            "\n"
            "enum EchoMethod {\n"
            "  Echo_Ping,\n"
            "  Echo_Watch,\n"
            "}; // enum EchoMethod\n"
            "\n"
            "template <EchoMethod>\n"
            "struct EchoMethods;\n"
            "\n"
            "template <>\n"
            "struct EchoMethods<Echo_Ping> {\n"
            "  static const char* name()      { return \"Ping\"; }\n"
            "  static const char* full_name() { return \"a.b.Echo/Ping\"; }\n"
            "  static const ::qarn::rpc::RpcMethodType rpc_type = "
            "::qarn::rpc::RMT_SIMPLE;\n"
            "\n"
            "  typedef ::a::b::PingRequest request;\n"
            "  typedef ::a::b::PingReply response;\n"
            "};\n"
            "\n"
            "template <>\n"
            "struct EchoMethods<Echo_Watch> {\n"
            "  static const char* name()      { return \"Watch\"; }\n"
            "  static const char* full_name() { return \"a.b.Echo/Watch\"; }\n"
            "  static const ::qarn::rpc::RpcMethodType rpc_type = "
            "::qarn::rpc::RMT_SERVER_STREAMING;\n"
            "\n"
            "  typedef ::a::b::Filter request;\n"
            "  typedef ::a::b::Event response;\n"
            "};\n"
            "\n");
}

TEST(TypeTraitsTest, KeepTheFixedWordInTheMethodMacroOfEveryService) {
  for (const std::string name : {"Echo", "Other"}) {
    EXPECT_NE(TypeTraits(ServiceOf(name, kPing))
                  .find("_METHOD(NAME) \\\n"
                        "  BOOST_PP_CAT(RPCTEST, BOOST_PP_CAT(_, NAME))\n\n"),
              std::string::npos);
  }
}

TEST(TypeTraitsTest, LeaveMacrosAndEnumEmptyWithoutMethods) {
  EXPECT_EQ(TypeTraits(ServiceOf("Idle", "")),
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
            "\n");
}

TEST(TypeTraitsTest, PutOnlyTheMacrosInUpperCase) {
  const std::string text = TypeTraits(ServiceOf("Echo_v2", kPing));
  EXPECT_EQ(text.substr(0, text.find("  static")),
            "#define ECHO_V2 Echo_v2\n"
            "\n"
            "#define ECHO_V2_METHOD_NAMES \\\n"
            "  (Ping)\n"
            "\n"
            "#define ECHO_V2_METHODS \\\n"
            "  (Echo_v2_Ping)\n"
            "\n"
            "#define ECHO_V2_METHOD(NAME) \\\n"
            "  BOOST_PP_CAT(RPCTEST, BOOST_PP_CAT(_, NAME))\n"
            "\n"
            "enum Echo_v2Method {\n"
            "  Echo_v2_Ping,\n"
            "}; // enum Echo_v2Method\n"
            "\n"
            "template <Echo_v2Method>\n"
            "struct Echo_v2Methods;\n"
            "\n"
            "template <>\n"
            "struct Echo_v2Methods<Echo_v2_Ping> {\n");
}

TEST(TypeTraitsTest, GiveNamesThatDifferInCaseOnlyTheSameMacros) {
  const auto* file =
      ParseFile("x.proto", FileHead("a.b") + "service Echo {} service ECHO {}");
  for (const std::string define :
       {"#define ECHO ", "#define ECHO_METHOD_NAMES ", "#define ECHO_METHODS ",
        "#define ECHO_METHOD(NAME) "}) {
    for (int i = 0; i < 2; ++i) {
      EXPECT_NE(TypeTraits(file->service(i)).find(define), std::string::npos)
          << define;
    }
  }
}

TEST(TypeTraitsTest, LeaveTheLastMethodInTheMap) {
  VariableMap vars = {{"Service", "Echo"}, {"PackageDot", "a.b."}};
  Printed([&](Printer* printer) {
    PrintHeaderServiceTypeTraits(
        printer, ServiceOf("Echo", std::string(kPing) + kWatch), vars);
  });
  EXPECT_EQ(vars.at("Method"), "Watch");
}

TEST(MethodSeqTest, EndsTheMacroWithTheLastEntry) {
  const ServiceDescriptor* one = ServiceOf("Echo", kPing);
  EXPECT_EQ(MethodSeq(one, false), "  (Ping)\n\n");
  EXPECT_EQ(MethodSeq(one, true), "  (Echo_Ping)\n\n");
}

TEST(MethodSeqTest, KeepsDeclarationOrder) {
  const ServiceDescriptor* two = ServiceOf("Echo", std::string(kWatch) + kPing);
  EXPECT_EQ(MethodSeq(two, false), "  (Watch) \\\n  (Ping)\n\n");
  EXPECT_EQ(MethodSeq(two, true), "  (Echo_Watch) \\\n  (Echo_Ping)\n\n");
}

TEST(MethodSeqTest, IsAnEmptyLineWithoutMethods) {
  EXPECT_EQ(MethodSeq(ServiceOf("Idle", ""), false), "\n");
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
