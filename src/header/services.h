// The services section of BASE.rpc.h: one class for each service of the file,
// with its nested classes Stub and Service.

#ifndef QARN_RPC_HEADER_SERVICES_H_
#define QARN_RPC_HEADER_SERVICES_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include <string>

#include "naming/variables.h"
#include "plugin/parameters.h"

namespace qarn {
namespace rpc {

// Sets the file-level variables of the section: "Package", "PackageDot" and,
// unless the parameter is empty, "services_namespace".
void SetHeaderFileVars(const google::protobuf::FileDescriptor* file,
                       const Parameters& parameters, VariableMap* vars);

// The traits and the class of every service, in declaration order, inside the
// services namespace if there is one.
std::string GetHeaderServices(const google::protobuf::FileDescriptor* file,
                              const Parameters& parameters);

// Prints the traits and the class of `service` at the current indentation.
// `*vars` must hold the file-level variables of the section.
void PrintHeaderService(google::protobuf::io::Printer* printer,
                        const google::protobuf::ServiceDescriptor* service,
                        VariableMap* vars);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_HEADER_SERVICES_H_
