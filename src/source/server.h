// The definitions in BASE.rpc.cpp of what header/server declares. The handlers
// have none: a server defines them.

#ifndef QARN_RPC_SOURCE_SERVER_H_
#define QARN_RPC_SOURCE_SERVER_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include "naming/variables.h"

namespace qarn {
namespace rpc {

// Prints the definitions of the members of Service: the destructor, and the
// accessor that registers the methods. `*vars` must hold "ns" and "Service".
void PrintSourceServer(google::protobuf::io::Printer* printer,
                       const google::protobuf::ServiceDescriptor* service,
                       VariableMap* vars);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_SOURCE_SERVER_H_
