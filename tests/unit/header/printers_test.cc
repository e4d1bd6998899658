// What whole files cannot show of the header's printers: how they are called
// alone. The lines themselves are those of tests/golden.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "header/client_calls.h"
#include "header/server.h"
#include "header/services.h"
#include "header/stub.h"
#include "header/traits.h"
#include "header/typedefs.h"
#include "plugin/parameters.h"
#include "support/methods.h"
#include "support/print.h"
#include "support/proto_sources.h"

namespace qarn {
namespace rpc {
namespace {

using google::protobuf::MethodDescriptor;
using google::protobuf::io::Printer;
using ::testing::Each;
using testing::ExpectPieceOf;
using testing::FileHead;
using testing::KindsFile;
using testing::KindsMethod;
using testing::KindsService;
using testing::ParseFile;
using testing::Print;
using testing::Printed;
using ::testing::UnorderedElementsAre;

TEST(HeaderPrintersTest, OfAServiceGiveTheirPieceWhenCalledAlone) {
  const std::string whole = GetHeaderServices(KindsFile(), Parameters());
  const auto expect = [&](int depth, const VariableMap& needed,
                          const Print& print) {
    ExpectPieceOf(whole, depth, needed, "Talk", print);
  };
  const auto* service = KindsService();
  expect(0, {{"Package", "p"}, {"PackageDot", "p."}},
         [&](Printer* printer, VariableMap* vars) {
           PrintHeaderService(printer, service, vars);
         });
  expect(0, {{"Service", "Kinds"}, {"PackageDot", "p."}},
         [&](Printer* printer, VariableMap* vars) {
           PrintHeaderServiceTypeTraits(printer, service, *vars);
         });
  expect(0, {}, [&](Printer* printer, VariableMap* vars) {
    PrintHeaderServiceMethodSeq(printer, service, *vars, false);
  });
  expect(0, {{"Service", "Kinds"}}, [&](Printer* printer, VariableMap* vars) {
    PrintHeaderServiceMethodSeq(printer, service, *vars, true);
  });
  expect(1, {}, [&](Printer* printer, VariableMap* vars) {
    PrintHeaderServiceTypedefs(printer, service, vars);
  });
  expect(1, {{"Service", "Kinds"}}, [&](Printer* printer, VariableMap* vars) {
    PrintHeaderStub(printer, service, vars);
  });
  expect(1, {}, [&](Printer* printer, VariableMap* vars) {
    PrintHeaderServer(printer, service, vars);
  });
}

TEST(HeaderPrintersTest, OfAMethodGiveTheirPieceWhenCalledAlone) {
  const std::string whole = GetHeaderServices(KindsFile(), Parameters());
  for (const std::string name : {"Get", "List", "Put", "Talk"}) {
    const MethodDescriptor* method = KindsMethod(name);
    const auto expect = [&](const Print& print) {
      ExpectPieceOf(whole, 2, {}, name, print);
    };
    expect([&](Printer* printer, VariableMap* vars) {
      PrintHeaderClientMethod(printer, method, vars, true);
    });
    expect([&](Printer* printer, VariableMap* vars) {
      PrintHeaderClientMethodData(printer, method, vars);
    });
    expect([&](Printer* printer, VariableMap* vars) {
      PrintHeaderServerMethodSync(printer, method, *vars);
    });
    expect([&](Printer* printer, VariableMap* vars) {
      PrintHeaderServerMethodCallHandleTypedefs(printer, method, *vars);
    });
    expect([&](Printer* printer, VariableMap* vars) {
      TypedefSet printed;
      PrintHeaderClientMethodCallObserverTypedefs(printer, method, *vars,
                                                  printed);
    });
    expect([&](Printer* printer, VariableMap* vars) {
      TypedefSet printed;
      PrintHeaderServerMethodMessagesTypedefs(printer, method, *vars, printed);
    });
    if (name == "Put" || name == "Talk") {
      expect([&](Printer* printer, VariableMap* vars) {
        TypedefSet printed;
        PrintHeaderServerMethodCallObserverTypedefs(printer, method, *vars,
                                                    printed);
      });
    }
  }
}

TEST(HeaderPrintersTest, SetTheVariablesAlsoWhenNothingIsPrinted) {
  for (const std::string name : {"Get", "List", "Put", "Talk"}) {
    const MethodDescriptor* method = KindsMethod(name);
    VariableMap vars;
    EXPECT_EQ(Printed([&](Printer* printer) {
                PrintHeaderClientMethod(printer, method, &vars, false);
              }),
              "");
    EXPECT_EQ(vars.at("Method"), name);
  }
  VariableMap vars;
  TypedefSet printed;
  EXPECT_EQ(Printed([&](Printer* printer) {
              PrintHeaderServerMethodCallObserverTypedefs(
                  printer, KindsMethod("Get"), vars, printed);
            }),
            "");
  EXPECT_EQ(vars.at("Method"), "Get");
}

// The sets of a caller, one for each kind of typedef.
struct Sets {
  TypedefSet client_observers;
  TypedefSet messages;
  TypedefSet server_observers;
};

// What the three printers print that take a set.
std::vector<std::string> SharedTypedefs(const std::string& name, Sets* sets) {
  const MethodDescriptor* method = KindsMethod(name);
  VariableMap vars;
  return {Printed([&](Printer* printer) {
            PrintHeaderClientMethodCallObserverTypedefs(printer, method, vars,
                                                        sets->client_observers);
          }),
          Printed([&](Printer* printer) {
            PrintHeaderServerMethodMessagesTypedefs(printer, method, vars,
                                                    sets->messages);
          }),
          Printed([&](Printer* printer) {
            PrintHeaderServerMethodCallObserverTypedefs(printer, method, vars,
                                                        sets->server_observers);
          })};
}

TEST(SharedTypedefsTest, LeaveTheirKeysInTheSets) {
  Sets sets;
  SharedTypedefs("Get", &sets);
  SharedTypedefs("Put", &sets);
  EXPECT_THAT(sets.client_observers,
              UnorderedElementsAre("GetAnswer", "PutAnswer"));
  EXPECT_THAT(sets.messages,
              UnorderedElementsAre("::p::GetAsk", "::p::GetAnswer",
                                   "::p::PutAsk", "::p::PutAnswer"));
  EXPECT_THAT(sets.server_observers, UnorderedElementsAre("PutAsk"));
}

TEST(SharedTypedefsTest, AreNotPrintedWhereTheSetIsHandedOverWithTheKey) {
  Sets sets = {{"PutAnswer"}, {"::p::PutAsk", "::p::PutAnswer"}, {"PutAsk"}};
  EXPECT_THAT(SharedTypedefs("Put", &sets), Each(""));
}

TEST(HeaderServicesTest, LeaveAllVariablesToATemplateOfTheUser) {
  VariableMap vars;
  SetHeaderFileVars(KindsFile(), {"api"}, &vars);
  EXPECT_EQ(vars, (VariableMap{{"Package", "p"},
                               {"PackageDot", "p."},
                               {"services_namespace", "api"}}));
  const std::string text = Printed([&](Printer* printer) {
    PrintHeaderService(printer, KindsService(), &vars);
    printer->Print(vars,
                   "$Package$ $PackageDot$ $services_namespace$ $Service$ "
                   "$Method$ $ResponseStreamWriterPtr$");
  });
  EXPECT_EQ(text.substr(text.rfind('\n') + 1),
            "p p. api Kinds Talk TalkAnswerStreamWriterPtr");
}

TEST(HeaderServicesTest, HaveNoVariableForAServicesNamespaceThatIsNotThere) {
  VariableMap vars;
  SetHeaderFileVars(ParseFile("x.proto", FileHead("")), Parameters(), &vars);
  EXPECT_EQ(vars, (VariableMap{{"Package", ""}, {"PackageDot", ""}}));
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
