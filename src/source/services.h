// The services section of BASE.rpc.cpp: the definitions of what the classes of
// BASE.rpc.h declare. It stands outside the services namespace and reaches the
// classes by qualified names.

#ifndef QARN_RPC_SOURCE_SERVICES_H_
#define QARN_RPC_SOURCE_SERVICES_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include <string>

#include "naming/variables.h"
#include "plugin/parameters.h"

namespace qarn {
namespace rpc {

// Sets the file-level variables of the section: "Package", "PackageDot", "ns"
// and "prefix".
void SetSourceFileVars(const google::protobuf::FileDescriptor* file,
                       const Parameters& parameters, VariableMap* vars);

// The definitions of every service, in declaration order; nothing for a file
// without services.
std::string GetSourceServices(const google::protobuf::FileDescriptor* file,
                              const Parameters& parameters);

// Prints the definitions of `service`. `*vars` must hold the file-level
// variables of the section.
void PrintSourceService(google::protobuf::io::Printer* printer,
                        const google::protobuf::ServiceDescriptor* service,
                        VariableMap* vars);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_SOURCE_SERVICES_H_
