// The definitions in BASE.rpc.cpp of what header/stub declares: the methods'
// descriptors and the constructor of Stub. Its client calls are printed by
// source/client_calls.

#ifndef QARN_RPC_SOURCE_STUB_H_
#define QARN_RPC_SOURCE_STUB_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include "naming/variables.h"

namespace qarn {
namespace rpc {

// Prints the definitions of the members of Stub: the methods' descriptors, the
// constructor and the client calls. `*vars` must hold "ns" and "Service".
void PrintSourceStub(google::protobuf::io::Printer* printer,
                     const google::protobuf::ServiceDescriptor* service,
                     VariableMap* vars);

// Prints the definition of the method's descriptor, a static member of Stub.
// Sets the variables of the method; `*vars` must hold "ns" and "Service".
void PrintSourceClientMethodData(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap* vars);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_SOURCE_STUB_H_
