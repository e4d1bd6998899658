// Comments in .proto files that switch off a rule:
//
//   // qarn-rpc-lint: off method-keyword because no C++ server has it.
//   rpc delete(Order) returns (Reply);
//
// Such a comment stands ahead of an element, and counts for it and all in it;
// ahead of `syntax`, `edition` or `package`, for the whole file.

#ifndef QARN_RPC_LINT_SUPPRESSIONS_H_
#define QARN_RPC_LINT_SUPPRESSIONS_H_

#include <google/protobuf/descriptor.h>

#include <set>
#include <string>
#include <vector>

#include "lint/finding.h"

namespace qarn {
namespace rpc {

// Takes the findings that comments of `files` switch off out of `*findings`,
// and adds one for each such comment that switches off nothing, names no rule
// or gives no reason. A comment about a rule of `off`, which was not asked,
// switches off nothing and is right all the same.
void ApplySuppressions(
    const std::vector<const google::protobuf::FileDescriptor*>& files,
    const std::set<std::string>& off, std::vector<Finding>* findings);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_LINT_SUPPRESSIONS_H_
