// The members of a service's class in BASE.rpc.h that every method has: the
// call typedefs, the client calls and descriptors of Stub, and the call-handle
// typedefs and handlers of Service.
//
// Each printer sets the variables of its method in the map before it prints,
// and reads no others.

#ifndef QARN_RPC_HEADER_METHOD_MEMBERS_H_
#define QARN_RPC_HEADER_METHOD_MEMBERS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include "naming/variables.h"

namespace qarn {
namespace rpc {

// Prints the two call-pointer typedefs of every method of `service`.
void PrintHeaderServiceTypedefs(
    google::protobuf::io::Printer* printer,
    const google::protobuf::ServiceDescriptor* service, VariableMap* vars);

// Prints the client calls of `method`: with a request argument, or, where the
// client streams, without one and with two batch calls besides. With
// `print_calls` false nothing is printed, only the variables are set.
void PrintHeaderClientMethod(google::protobuf::io::Printer* printer,
                             const google::protobuf::MethodDescriptor* method,
                             VariableMap* vars, bool print_calls);

// Prints the declaration of the method's descriptor, a static member of Stub.
void PrintHeaderClientMethodData(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap* vars);

// Prints the typedef of the handle through which a server answers a call.
void PrintHeaderServerMethodCallHandleTypedefs(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap& vars);

// Prints the pure virtual handler, which takes the request or, where the client
// streams, returns an observer of the requests.
void PrintHeaderServerMethodSync(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap& vars);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_HEADER_METHOD_MEMBERS_H_
