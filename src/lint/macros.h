// The macros of the headers that meet generated files.

#ifndef QARN_RPC_LINT_MACROS_H_
#define QARN_RPC_LINT_MACROS_H_

#include <string>

namespace qarn {
namespace rpc {

// How a macro is written where it is used.
enum class MacroKind { kNone, kObject, kFunction };

// What `name` is in each generated file, since a header that it includes
// defines it: "NULL" -> kObject, "assert" -> kFunction, "Ping" -> kNone. The
// names that begin with an underscore, and those of protobuf and Boost, are
// left out.
MacroKind IncludedMacro(const std::string& name);

// The system header that defines the macro `name`, if programs often include it
// by themselves: "ECHO" -> "<termios.h>"; "" for all other names.
std::string HeaderOfSystemMacro(const std::string& name);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_LINT_MACROS_H_
