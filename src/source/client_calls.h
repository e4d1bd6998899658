// The definitions in BASE.rpc.cpp of what header/client_calls declares: a
// method's descriptor and its client calls.
//
// Each printer sets the variables of its method; the map must hold "ns" and
// "Service".

#ifndef QARN_RPC_SOURCE_CLIENT_CALLS_H_
#define QARN_RPC_SOURCE_CLIENT_CALLS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include "naming/variables.h"

namespace qarn {
namespace rpc {

// Prints the definition of the method's descriptor, a static member of Stub.
void PrintSourceClientMethodData(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap* vars);

// Prints the two client calls of `method`: with a request argument, or, where
// the client streams, without one.
void PrintSourceClientMethod(google::protobuf::io::Printer* printer,
                             const google::protobuf::MethodDescriptor* method,
                             VariableMap* vars);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_SOURCE_CLIENT_CALLS_H_
