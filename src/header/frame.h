// The parts of BASE.rpc.h around its services: banner, includes, the runtime's
// namespace alias, and the opening and closing of the package's namespaces. All
// section builders have one signature, so these take parameters that they do
// not read.

#ifndef QARN_RPC_HEADER_FRAME_H_
#define QARN_RPC_HEADER_FRAME_H_

#include <google/protobuf/descriptor.h>

#include <string>

#include "plugin/parameters.h"

namespace qarn {
namespace rpc {

// The banner, the include-once directive and the include of the file's message
// classes.
std::string GetHeaderPrologue(const google::protobuf::FileDescriptor* file,
                              const Parameters& parameters);

// The fixed includes, the alias `qarn_rpc`, and one opening line for each
// component of the package.
std::string GetHeaderIncludes(const google::protobuf::FileDescriptor* file,
                              const Parameters& parameters);

// One closing line for each component of the package, innermost first, and the
// empty lines that end the file.
std::string GetHeaderEpilogue(const google::protobuf::FileDescriptor* file,
                              const Parameters& parameters);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_HEADER_FRAME_H_
