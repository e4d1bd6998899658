// The definitions in BASE.rpc.cpp of what the class Stub declares.

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

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_SOURCE_STUB_H_
