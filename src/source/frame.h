// The parts of BASE.rpc.cpp around its services: banner and includes, and the
// opening and closing of the package's namespaces. All section builders have
// one signature, so these take parameters that they do not read.

#ifndef QARN_RPC_SOURCE_FRAME_H_
#define QARN_RPC_SOURCE_FRAME_H_

#include <google/protobuf/descriptor.h>

#include <string>

#include "plugin/parameters.h"

namespace qarn {
namespace rpc {

// The banner and the two include directives.
std::string GetSourcePrologue(const google::protobuf::FileDescriptor* file,
                              const Parameters& parameters);

// One opening line for each component of the package, and an empty line. There
// is no include directive in it: those are part of the prologue.
std::string GetSourceIncludes(const google::protobuf::FileDescriptor* file,
                              const Parameters& parameters);

// One closing line for each component of the package, labelled in opening
// order, and an empty line; nothing for a file without a package.
std::string GetSourceEpilogue(const google::protobuf::FileDescriptor* file,
                              const Parameters& parameters);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_SOURCE_FRAME_H_
