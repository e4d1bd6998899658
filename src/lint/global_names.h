// The names that the headers in each generated file have at global scope.

#ifndef QARN_RPC_LINT_GLOBAL_NAMES_H_
#define QARN_RPC_LINT_GLOBAL_NAMES_H_

#include <string>

namespace qarn {
namespace rpc {

enum class GlobalKind {
  kNone,
  // A class, or a typedef. No class can have its name too.
  kType,
  // A function or a variable. A class may have its name, and is hidden then.
  kOther,
};

// What `name` is at global scope: "tm" -> kType, "time" -> kOther, "demo" ->
// kNone. Of functions and variables, those with an underscore are left out.
GlobalKind GlobalName(const std::string& name);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_LINT_GLOBAL_NAMES_H_
