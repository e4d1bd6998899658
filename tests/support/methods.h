// The service that tests of single printers share, and the checks of a printer
// that is called alone.

#ifndef QARN_RPC_TESTS_SUPPORT_METHODS_H_
#define QARN_RPC_TESTS_SUPPORT_METHODS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "naming/variables.h"
#include "support/print.h"
#include "support/proto_sources.h"

namespace qarn {
namespace rpc {
namespace testing {

// Service Kinds in package p: the methods Get (simple), List (server
// streaming), Put (client streaming) and Talk (bidirectional). Each has
// messages of its own, such as GetAsk and GetAnswer, so that the text of one
// method is never that of another.
inline const google::protobuf::FileDescriptor* KindsFile() {
  static const google::protobuf::FileDescriptor* const file =
      ParseFile("kinds.proto", FileHead("p") + R"(
message GetAsk {}
message GetAnswer {}
message ListAsk {}
message ListAnswer {}
message PutAsk {}
message PutAnswer {}
message TalkAsk {}
message TalkAnswer {}
service Kinds {
  rpc Get(GetAsk) returns (GetAnswer);
  rpc List(ListAsk) returns (ListAnswer) {
    option (morvane.qarn.rpc.server_streaming) = true;
  }
  rpc Put(PutAsk) returns (PutAnswer) {
    option (morvane.qarn.rpc.client_streaming) = true;
  }
  rpc Talk(TalkAsk) returns (TalkAnswer) {
    option (morvane.qarn.rpc.client_streaming) = true;
    option (morvane.qarn.rpc.server_streaming) = true;
  }
}
)");
  return file;
}

inline const google::protobuf::ServiceDescriptor* KindsService() {
  return KindsFile()->service(0);
}

inline const google::protobuf::MethodDescriptor* KindsMethod(
    const std::string& name) {
  return KindsService()->FindMethodByName(name);
}

// A printer's call, with the caller's variables.
using Print = std::function<void(google::protobuf::io::Printer*, VariableMap*)>;

// `text` with each line that is not empty two spaces further in.
inline std::string Indented(const std::string& text) {
  std::string indented;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\n' && (i == 0 || text[i - 1] == '\n')) {
      indented += "  ";
    }
    indented += text[i];
  }
  return indented;
}

// Expects of `print`, called alone, the piece of `whole`, a section of a file,
// that it stands for: at `depth` indentations, with the variables `needed` that
// its contract asks for and no others, with those of another method beside, and
// at one indentation more. Afterwards the map must hold `method`, the last that
// was printed.
inline void ExpectPieceOf(const std::string& whole, int depth,
                          const VariableMap& needed, const std::string& method,
                          const Print& print) {
  const auto printed_at = [&](int depth_of_caller, VariableMap vars) {
    const std::string text =
        Printed([&](google::protobuf::io::Printer* printer) {
          for (int i = 0; i < depth_of_caller; ++i) {
            printer->Indent();
          }
          print(printer, &vars);
          for (int i = 0; i < depth_of_caller; ++i) {
            printer->Outdent();
          }
        });
    EXPECT_EQ(vars["Method"], method);
    return text;
  };
  const std::string text = printed_at(depth, needed);
  EXPECT_NE(text, "");
  EXPECT_NE(("\n" + whole).find("\n" + text), std::string::npos) << text;
  VariableMap of_another = needed;
  SetMethodVars(KindsMethod(method == "List" ? "Put" : "List"), of_another);
  EXPECT_EQ(printed_at(depth, of_another), text);
  EXPECT_EQ(printed_at(depth + 1, needed), Indented(text));
}

}  // namespace testing
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_SUPPORT_METHODS_H_
