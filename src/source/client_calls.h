// The definitions in BASE.rpc.cpp of what header/client_calls declares.

#ifndef QARN_RPC_SOURCE_CLIENT_CALLS_H_
#define QARN_RPC_SOURCE_CLIENT_CALLS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include "naming/variables.h"

namespace qarn {
namespace rpc {

// Prints the two client calls of `method`: with a request argument, or, where
// the client streams, without one. Sets the variables of the method; `*vars`
// must hold "ns" and "Service".
void PrintSourceClientMethod(google::protobuf::io::Printer* printer,
                             const google::protobuf::MethodDescriptor* method,
                             VariableMap* vars);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_SOURCE_CLIENT_CALLS_H_
