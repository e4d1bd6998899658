// The declarations in BASE.rpc.h of a method's client calls, members of Stub.
// The batch calls are defined here too, being templates; the definitions of all
// others are printed by source/client_calls.

#ifndef QARN_RPC_HEADER_CLIENT_CALLS_H_
#define QARN_RPC_HEADER_CLIENT_CALLS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include "naming/variables.h"

namespace qarn {
namespace rpc {

// Prints the client calls of `method`: with a request argument, or, where the
// client streams, without one and with two batch calls besides. Sets the
// variables of the method before it prints, and reads no others.
//
// With `print_calls` false nothing is printed, only the variables are set. Stub
// passes true always: every method that is declared can be called. The flag
// stays, as it is part of the printer's interface.
void PrintHeaderClientMethod(google::protobuf::io::Printer* printer,
                             const google::protobuf::MethodDescriptor* method,
                             VariableMap* vars, bool print_calls);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_HEADER_CLIENT_CALLS_H_
