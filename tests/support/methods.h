// The service that tests of single printers share, and what they start from.

#ifndef QARN_RPC_TESTS_SUPPORT_METHODS_H_
#define QARN_RPC_TESTS_SUPPORT_METHODS_H_

#include <google/protobuf/descriptor.h>

#include <string>

#include "naming/variables.h"
#include "support/print.h"
#include "support/proto_sources.h"

namespace qarn {
namespace rpc {
namespace testing {

// Service Kinds in package p: the methods Get (simple), List (server
// streaming), Put (client streaming) and Talk (bidirectional), each from Ask to
// Answer; then GetHere and PutHere, which are Get and Put with
// requires_local_context, and NotPut, whose client_streaming is false.
inline const google::protobuf::ServiceDescriptor* KindsService() {
  static const google::protobuf::FileDescriptor* const file =
      ParseFile("kinds.proto", FileHead("p") + R"(
message Ask {}
message Answer {}
service Kinds {
  rpc Get(Ask) returns (Answer);
  rpc List(Ask) returns (Answer) {
    option (morvane.qarn.rpc.server_streaming) = true;
  }
  rpc Put(Ask) returns (Answer) {
    option (morvane.qarn.rpc.client_streaming) = true;
  }
  rpc Talk(Ask) returns (Answer) {
    option (morvane.qarn.rpc.client_streaming) = true;
    option (morvane.qarn.rpc.server_streaming) = true;
  }
  rpc GetHere(Ask) returns (Answer) {
    option (morvane.qarn.rpc.requires_local_context) = true;
  }
  rpc PutHere(Ask) returns (Answer) {
    option (morvane.qarn.rpc.client_streaming) = true;
    option (morvane.qarn.rpc.requires_local_context) = true;
  }
  rpc NotPut(Ask) returns (Answer) {
    option (morvane.qarn.rpc.client_streaming) = false;
  }
}
)");
  return file->service(0);
}

inline const google::protobuf::MethodDescriptor* KindsMethod(
    const std::string& name) {
  return KindsService()->FindMethodByName(name);
}

// The variables that the callers of the printers set.
inline VariableMap KindsVars() {
  return {{"Package", "p"},
          {"PackageDot", "p."},
          {"Service", "Kinds"},
          {"ns", "api::"},
          {"prefix", "api"}};
}

// What `print` prints for `service`, with the variables of KindsVars() and the
// name of the service.
inline std::string PrintedFor(
    const google::protobuf::ServiceDescriptor* service,
    void (*print)(google::protobuf::io::Printer*,
                  const google::protobuf::ServiceDescriptor*, VariableMap*)) {
  VariableMap vars = KindsVars();
  vars["Service"] = std::string(service->name());
  return Printed([&](google::protobuf::io::Printer* printer) {
    print(printer, service, &vars);
  });
}

}  // namespace testing
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_SUPPORT_METHODS_H_
