// The linter without protoc: from descriptors to findings.

#ifndef QARN_RPC_LINT_LINT_H_
#define QARN_RPC_LINT_LINT_H_

#include <google/protobuf/descriptor.h>

#include <vector>

#include "lint/finding.h"
#include "lint/lint_parameters.h"

namespace qarn {
namespace rpc {

// What all rules find in `files`, the files to generate in one run: those of
// parameters first, then file by file in the order of `files`, each from top to
// bottom.
std::vector<Finding> Lint(
    const std::vector<const google::protobuf::FileDescriptor*>& files,
    const LintParameters& parameters);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_LINT_LINT_H_
