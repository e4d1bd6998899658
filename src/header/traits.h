// What stands ahead of a service's class in BASE.rpc.h: the description of the
// service that users enumerate at compile time, as macros and as templates.

#ifndef QARN_RPC_HEADER_TRAITS_H_
#define QARN_RPC_HEADER_TRAITS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include "naming/variables.h"

namespace qarn {
namespace rpc {

// Prints the macros, the method enumeration and one traits structure for each
// method. `vars` must hold "Service" and "PackageDot"; afterwards it holds
// the variables of the last method.
void PrintHeaderServiceTypeTraits(
    google::protobuf::io::Printer* printer,
    const google::protobuf::ServiceDescriptor* service, VariableMap& vars);

// Prints the body of a method-list macro, a Boost.Preprocessor sequence with
// one line for each method, and the empty line that ends it. An entry is
// "(Echo_Ping)" if `qualified`, for which `vars` must hold "Service", else
// "(Ping)".
void PrintHeaderServiceMethodSeq(
    google::protobuf::io::Printer* printer,
    const google::protobuf::ServiceDescriptor* service, VariableMap& vars,
    bool qualified);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_HEADER_TRAITS_H_
