// What the linter has found, and how it is written.

#ifndef QARN_RPC_LINT_FINDING_H_
#define QARN_RPC_LINT_FINDING_H_

#include <string>

#include "lint/place.h"

namespace qarn {
namespace rpc {

enum class Severity {
  // The generated code compiles, but means something else than it seems.
  kWarning,
  // No code is generated, or a compiler refuses it.
  kError,
};

struct Finding {
  Place place;
  Severity severity;
  // The limit as its user meets it, then what to do.
  std::string text;
  // The name of the rule.
  std::string rule;
};

// The finding in one line, in the form in which compilers write theirs, with a
// blank for each control character of a name:
//
//   shop/order.proto:12:3: error: TEXT [method-keyword]
//   shop/order.proto: shop.Orders.delete: error: TEXT [method-keyword]
//   services_namespace=new: error: TEXT [services-namespace-keyword]
//
// The second without source information, the third for a parameter.
std::string Format(const Finding& finding);

// Whether `one` stands ahead of `other` in the list of all findings, if they
// are of the same file: by line and column, or where these are not known by
// kind and index.
bool StandsAhead(const Finding& one, const Finding& other);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_LINT_FINDING_H_
