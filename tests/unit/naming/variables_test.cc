#include "naming/variables.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/proto_sources.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::MethodDescriptor;
using testing::FileHead;
using testing::ParseFile;
using testing::ProtoSources;

std::string Streams(const std::string& client, const std::string& server) {
  return "{ option (morvane.qarn.rpc.client_streaming) = " + client +
         "; option (morvane.qarn.rpc.server_streaming) = " + server + "; }";
}

// The twelve variables, every one of them, for `method` and `kind` with the
// class names of its request and response.
VariableMap Expected(const std::string& method, const std::string& kind,
                     const std::string& request,
                     const std::string& local_request,
                     const std::string& response,
                     const std::string& local_response) {
  return {
      {"Method", method},
      {"MethodRpcType", "::qarn::rpc::" + kind},
      {"Request", request},
      {"RequestNoNs", local_request},
      {"RequestCallObserverPtr", local_request + "CallObserverPtr"},
      {"ClientCallPtr", method + "ClientCallPtr"},
      {"ServerCallPtr", method + "ServerCallPtr"},
      {"ServerCallHandle", method + "CallHandle"},
      {"Response", response},
      {"ResponseNoNs", local_response},
      {"ResponseStreamWriterPtr", local_response + "StreamWriterPtr"},
      {"ResponseCallObserver", local_response + "CallObserverPtr"},
  };
}

VariableMap VarsOf(const MethodDescriptor* method) {
  VariableMap vars;
  SetMethodVars(method, vars);
  return vars;
}

TEST(SetMethodVarsTest, TakesTheRequestFromAnotherPackageAndANestedResponse) {
  const ProtoSources sources(std::map<std::string, std::string>{
      {"c.proto", "syntax = \"proto2\"; package c.d; message Filter {}"},
      {"a.proto",
       FileHead("a.b") +
           "import \"c.proto\";\n"
           "message Event { message Update {} }\n"
           "service Echo { rpc Watch(c.d.Filter) returns (Event.Update) { "
           "option (morvane.qarn.rpc.server_streaming) = true; } }"}});
  EXPECT_EQ(VarsOf(sources.File("a.proto")->service(0)->method(0)),
            Expected("Watch", "RMT_SERVER_STREAMING", "::c::d::Filter",
                     "Filter", "::a::b::Event_Update", "Event_Update"));
}

struct KindCase {
  std::string body;
  std::string kind;
};

TEST(SetMethodVarsTest, SetsAllTwelveKeysForEveryKind) {
  const std::vector<KindCase> cases = {
      {";", "RMT_SIMPLE"},
      {Streams("false", "false"), "RMT_SIMPLE"},
      {Streams("true", "false"), "RMT_CLIENT_STREAMING"},
      {Streams("false", "true"), "RMT_SERVER_STREAMING"},
      {Streams("true", "true"), "RMT_BIDI_STREAMING"},
      {"{ option (morvane.qarn.rpc.requires_local_context) = true; }",
       "RMT_SIMPLE"},
  };
  for (const KindCase& row : cases) {
    const auto* file =
        ParseFile("x.proto", FileHead("") +
                                 "message Msg {}\n"
                                 "service S { rpc getThing(Msg) returns (Msg)" +
                                 row.body + " }");
    EXPECT_EQ(VarsOf(file->service(0)->method(0)),
              Expected("getThing", row.kind, "::Msg", "Msg", "::Msg", "Msg"))
        << row.body;
  }
}

TEST(SetMethodVarsTest, OverwritesTheMethodBeforeAndNothingElse) {
  const auto* file = ParseFile(
      "x.proto", FileHead("p") +
                     "message LongRequestName {} message LongReplyName {}\n"
                     "message In { message Put {} } message Out {}\n"
                     "service S {\n"
                     "  rpc First(LongRequestName) returns (LongReplyName) " +
                     Streams("true", "true") +
                     "\n"
                     "  rpc Second(In.Put) returns (Out);\n"
                     "}");
  VariableMap vars = {{"Service", "S"}, {"PackageDot", "p."}, {"aa", "zz"}};
  SetMethodVars(file->service(0)->method(0), vars);
  SetMethodVars(file->service(0)->method(1), vars);

  VariableMap expected = Expected("Second", "RMT_SIMPLE", "::p::In_Put",
                                  "In_Put", "::p::Out", "Out");
  expected.insert({{"Service", "S"}, {"PackageDot", "p."}, {"aa", "zz"}});
  EXPECT_EQ(vars, expected);
}

TEST(SetFilenameVarsTest, SetsTheNameAndTheBase) {
  VariableMap vars = {{"filename", "old"}};
  SetFilenameVars(ParseFile("a/b/svc.protodevel", FileHead("p")), &vars);
  EXPECT_EQ(vars, (VariableMap{{"filename", "a/b/svc.protodevel"},
                               {"filename_base", "a/b/svc"}}));
}

TEST(SetPackageVarsTest, AddsADotToAPackageOnly) {
  VariableMap vars;
  SetPackageVars(ParseFile("x.proto", FileHead("demo.chat")), &vars);
  EXPECT_EQ(vars, (VariableMap{{"Package", "demo.chat"},
                               {"PackageDot", "demo.chat."}}));
  SetPackageVars(ParseFile("x.proto", FileHead("")), &vars);
  EXPECT_EQ(vars, (VariableMap{{"Package", ""}, {"PackageDot", ""}}));
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
