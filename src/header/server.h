// The class Service in BASE.rpc.h, which a server derives from, with one pure
// virtual handler for each method.

#ifndef QARN_RPC_HEADER_SERVER_H_
#define QARN_RPC_HEADER_SERVER_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include "naming/variables.h"

namespace qarn {
namespace rpc {

// Prints the class Service of `service` at the current indentation.
void PrintHeaderServer(google::protobuf::io::Printer* printer,
                       const google::protobuf::ServiceDescriptor* service,
                       VariableMap* vars);

// Prints the handler of `method`, which takes the request or, where the client
// streams, returns an observer of the requests. Sets the variables of the
// method before it prints, and reads no others.
void PrintHeaderServerMethodSync(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap& vars);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_HEADER_SERVER_H_
