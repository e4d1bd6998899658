#include "header/typedefs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/methods.h"
#include "support/print.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;
using ::testing::ElementsAre;
using testing::FileHead;
using testing::KindsMethod;
using testing::KindsVars;
using testing::ParseFile;
using testing::Printed;
using testing::ProtoSources;
using ::testing::UnorderedElementsAre;

using TypedefPrinter = void (*)(Printer*, const MethodDescriptor*,
                                std::map<std::string, std::string>&,
                                TypedefSet&);

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

// What each method of `service` gets from `print`, with one set for the loop.
std::vector<std::string> PrintedForEach(TypedefPrinter print,
                                        const ServiceDescriptor* service,
                                        TypedefSet* printed) {
  std::vector<std::string> texts;
  VariableMap vars = KindsVars();
  for (int i = 0; i < service->method_count(); ++i) {
    texts.push_back(Printed([&](Printer* printer) {
      print(printer, service->method(i), vars, *printed);
    }));
    EXPECT_EQ(vars.at("Method"), service->method(i)->name());
  }
  return texts;
}

// Four methods that share messages, one of them of another package.
const ServiceDescriptor* SharingService() {
  static const ProtoSources sources(std::map<std::string, std::string>{
      {"other.proto", "syntax = \"proto2\"; package other; message Status {}"},
      {"demo.proto", FileHead("demo") + R"(
import "other.proto";
message Ping {}
message Pong {}
message Outer { message Inner {} }
service Sharing {
  rpc Check(Ping) returns (Pong);
  rpc Probe(Ping) returns (other.Status);
  rpc Upload(Ping) returns (Pong) {
    option (morvane.qarn.rpc.client_streaming) = true;
  }
  rpc Watch(Outer.Inner) returns (Outer.Inner) {
    option (morvane.qarn.rpc.client_streaming) = true;
    option (morvane.qarn.rpc.server_streaming) = true;
  }
}
)"}});
  return sources.File("demo.proto")->service(0);
}

TEST(ClientCallObserverTypedefTest, IsPrintedOnceForEachResponse) {
  TypedefSet printed;
  EXPECT_THAT(
      PrintedForEach(PrintHeaderClientMethodCallObserverTypedefs,
                     SharingService(), &printed),
      ElementsAre("typedef ::qarn::rpc::CallObserver< ::demo::Pong> "
                  "PongCallObserverPtr;\n",
                  "typedef ::qarn::rpc::CallObserver< ::other::Status> "
                  "StatusCallObserverPtr;\n",
                  "",
                  "typedef ::qarn::rpc::CallObserver< "
                  "::demo::Outer_Inner> Outer_InnerCallObserverPtr;\n"));
  EXPECT_THAT(printed, UnorderedElementsAre("Pong", "Status", "Outer_Inner"));
}

TEST(MessageTypedefTest, IsPrintedOnceForEachMessageRequestFirst) {
  TypedefSet printed;
  EXPECT_THAT(PrintedForEach(PrintHeaderServerMethodMessagesTypedefs,
                             SharingService(), &printed),
              ElementsAre("typedef ::demo::Ping Ping;\n"
                          "typedef ::demo::Pong Pong;\n",
                          "typedef ::other::Status Status;\n", "",
                          "typedef ::demo::Outer_Inner Outer_Inner;\n"));
  EXPECT_THAT(printed,
              UnorderedElementsAre("::demo::Ping", "::demo::Pong",
                                   "::other::Status", "::demo::Outer_Inner"));
}

TEST(ServerCallObserverTypedefTest, IsPrintedOnlyWhereTheClientStreams) {
  TypedefSet printed;
  EXPECT_THAT(
      PrintedForEach(PrintHeaderServerMethodCallObserverTypedefs,
                     SharingService(), &printed),
      ElementsAre("", "",
                  "typedef ::qarn::rpc::CallObserver< ::demo::Ping>* "
                  "PingCallObserverPtr;\n",
                  "typedef ::qarn::rpc::CallObserver< ::demo::Outer_Inner>* "
                  "Outer_InnerCallObserverPtr;\n"));
  EXPECT_THAT(printed, UnorderedElementsAre("Ping", "Outer_Inner"));
}

TEST(ServerCallObserverTypedefTest, IgnoresServerStreamingAndFalseOptions) {
  for (const std::string name : {"Get", "List", "NotPut", "GetHere"}) {
    TypedefSet printed;
    VariableMap vars = KindsVars();
    EXPECT_EQ(Printed([&](Printer* printer) {
                PrintHeaderServerMethodCallObserverTypedefs(
                    printer, KindsMethod(name), vars, printed);
              }),
              "");
    EXPECT_TRUE(printed.empty()) << name;
  }
}

TEST(SharedTypedefsTest, PrintNothingWhereTheSetHasTheKey) {
  VariableMap vars = KindsVars();
  TypedefSet local = {"Ask", "Answer"};
  TypedefSet qualified = {"::p::Ask", "::p::Answer"};
  EXPECT_EQ(Printed([&](Printer* printer) {
              const MethodDescriptor* method = KindsMethod("Put");
              PrintHeaderClientMethodCallObserverTypedefs(printer, method, vars,
                                                          local);
              PrintHeaderServerMethodCallObserverTypedefs(printer, method, vars,
                                                          local);
              PrintHeaderServerMethodMessagesTypedefs(printer, method, vars,
                                                      qualified);
            }),
            "");
}

// The two kinds of key differ on purpose.
TEST(SharedTypedefsTest, CountMessagesOfOneLocalNameOnceAsObserversOnly) {
  const ProtoSources sources(std::map<std::string, std::string>{
      {"b.proto", "syntax = \"proto2\"; package b; message Status {}"},
      {"a.proto", FileHead("a") + R"(
import "b.proto";
message Status {}
service Sharing {
  rpc First(Status) returns (Status);
  rpc Second(b.Status) returns (b.Status);
}
)"}});
  const ServiceDescriptor* service = sources.File("a.proto")->service(0);
  TypedefSet observers;
  EXPECT_THAT(PrintedForEach(PrintHeaderClientMethodCallObserverTypedefs,
                             service, &observers),
              ElementsAre("typedef ::qarn::rpc::CallObserver< ::a::Status> "
                          "StatusCallObserverPtr;\n",
                          ""));
  TypedefSet messages;
  EXPECT_THAT(PrintedForEach(PrintHeaderServerMethodMessagesTypedefs, service,
                             &messages),
              ElementsAre("typedef ::a::Status Status;\n",
                          "typedef ::b::Status Status;\n"));
}

TEST(SharedTypedefsTest, KeepANestedMessageApartFromATopLevelOne) {
  const auto* file = ParseFile("x.proto", FileHead("") + R"(
message Inner {}
message Outer { message Inner {} }
service Sharing {
  rpc First(Inner) returns (Inner);
  rpc Second(Outer.Inner) returns (Outer.Inner);
}
)");
  TypedefSet printed;
  EXPECT_THAT(PrintedForEach(PrintHeaderServerMethodMessagesTypedefs,
                             file->service(0), &printed),
              ElementsAre("typedef ::Inner Inner;\n",
                          "typedef ::Outer_Inner Outer_Inner;\n"));
  EXPECT_THAT(printed, UnorderedElementsAre("::Inner", "::Outer_Inner"));
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

}  // namespace
}  // namespace rpc
}  // namespace qarn
