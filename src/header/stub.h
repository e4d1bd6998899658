// The class Stub in BASE.rpc.h, through which a client calls one service. Its
// client calls are printed by header/client_calls.

#ifndef QARN_RPC_HEADER_STUB_H_
#define QARN_RPC_HEADER_STUB_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include "naming/variables.h"

namespace qarn {
namespace rpc {

// Prints the class Stub of `service` at the current indentation. `*vars` must
// hold "Service".
void PrintHeaderStub(google::protobuf::io::Printer* printer,
                     const google::protobuf::ServiceDescriptor* service,
                     VariableMap* vars);

// Prints the declaration of the method's descriptor, a static member of Stub.
// Sets the variables of the method before it prints, and reads no others.
void PrintHeaderClientMethodData(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap* vars);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_HEADER_STUB_H_
