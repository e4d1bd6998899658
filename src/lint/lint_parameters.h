// The parameters of protoc-gen-qarn-rpc-lint.

#ifndef QARN_RPC_LINT_LINT_PARAMETERS_H_
#define QARN_RPC_LINT_LINT_PARAMETERS_H_

#include <set>
#include <string>

namespace qarn {
namespace rpc {

struct LintParameters {
  // What the generator gets: the whole item, and the value that it makes of it.
  std::string services_namespace_item;
  std::string services_namespace;
  // The C++ standard: 11, 14, 17 or 20.
  int standard = 17;
  // The names of the rules that are switched off.
  std::set<std::string> off;
  // The names of the rules whose findings are errors, besides those that are by
  // themselves.
  std::set<std::string> errors;
};

// Reads the comma-separated items of `text` into `*parameters`:
//
//   services_namespace=api,standard=20,off=stream-keyword,error=all
//
// `off` and `error` may be repeated; of the others the last value wins.
// services_namespace is read as the generator reads it. Returns false, with
// what is wrong and what there is in `*error`, for an item, a standard or a
// rule that does not exist.
bool ParseLintParameters(const std::string& text, LintParameters* parameters,
                         std::string* error);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_LINT_LINT_PARAMETERS_H_
