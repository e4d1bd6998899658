// What whole files cannot show of the source's printers: how they are called
// alone. The lines themselves are those of tests/golden.

#include <gtest/gtest.h>

#include <string>

#include "plugin/parameters.h"
#include "source/client_calls.h"
#include "source/server.h"
#include "source/services.h"
#include "source/stub.h"
#include "support/methods.h"
#include "support/print.h"
#include "support/proto_sources.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::MethodDescriptor;
using google::protobuf::io::Printer;
using testing::ExpectPieceOf;
using testing::FileHead;
using testing::KindsFile;
using testing::KindsMethod;
using testing::KindsService;
using testing::ParseFile;
using testing::Print;
using testing::Printed;

TEST(SourcePrintersTest, GiveTheirPieceWhenCalledAlone) {
  const std::string whole = GetSourceServices(KindsFile(), {"api"});
  ExpectPieceOf(whole, 0, {{"ns", "api::"}}, "Talk",
                [](Printer* printer, VariableMap* vars) {
                  PrintSourceService(printer, KindsService(), vars);
                });
  const auto expect = [&](const std::string& method, const Print& print) {
    ExpectPieceOf(whole, 0, {{"ns", "api::"}, {"Service", "Kinds"}}, method,
                  print);
  };
  expect("Talk", [](Printer* printer, VariableMap* vars) {
    PrintSourceStub(printer, KindsService(), vars);
  });
  expect("Talk", [](Printer* printer, VariableMap* vars) {
    PrintSourceServer(printer, KindsService(), vars);
  });
  for (const std::string name : {"Get", "List", "Put", "Talk"}) {
    const MethodDescriptor* method = KindsMethod(name);
    expect(name, [&](Printer* printer, VariableMap* vars) {
      PrintSourceClientMethodData(printer, method, vars);
    });
    expect(name, [&](Printer* printer, VariableMap* vars) {
      PrintSourceClientMethod(printer, method, vars);
    });
  }
}

// No template of the source reads "Package", "PackageDot", "prefix" or
// "ResponseStreamWriterPtr".
TEST(SourceServicesTest, LeaveAllVariablesToATemplateOfTheUser) {
  VariableMap vars;
  SetSourceFileVars(KindsFile(), {"x::y"}, &vars);
  EXPECT_EQ(vars, (VariableMap{{"Package", "p"},
                               {"PackageDot", "p."},
                               {"ns", "x::y::"},
                               {"prefix", "x::y"}}));
  const std::string text = Printed([&](Printer* printer) {
    PrintSourceService(printer, KindsService(), &vars);
    printer->Print(vars,
                   "$Package$ $PackageDot$ $ns$ $prefix$ $Service$ $Method$ "
                   "$ResponseStreamWriterPtr$");
  });
  EXPECT_EQ(text.substr(text.rfind('\n') + 1),
            "p p. x::y:: x::y Kinds Talk TalkAnswerStreamWriterPtr");
}

TEST(SourceServicesTest, HaveEmptyVariablesWithoutPackageAndNamespace) {
  VariableMap vars;
  SetSourceFileVars(ParseFile("x.proto", FileHead("")), Parameters(), &vars);
  EXPECT_EQ(
      vars,
      (VariableMap{
          {"Package", ""}, {"PackageDot", ""}, {"ns", ""}, {"prefix", ""}}));
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
