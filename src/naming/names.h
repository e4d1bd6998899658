// The text rules that turn protobuf names into C++ names. They keep no state,
// and one loop over the dots serves them all.

#ifndef QARN_RPC_NAMING_NAMES_H_
#define QARN_RPC_NAMING_NAMES_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <string_view>

namespace qarn {
namespace rpc {

// Every "." becomes "_": ".Mid.In" -> "_Mid_In".
std::string DotsToUnderscores(const std::string& name);

// Every "." becomes "::": "a.b.Outer" -> "a::b::Outer".
std::string DotsToColons(const std::string& name);

// The name that protobuf's own C++ generator gives the class of `message`:
// nested messages are joined to the outermost one by "_". With `qualified`,
// the name comes with its namespaces and a leading "::"; without, the package
// is dropped. For the message Inner, nested in Outer, in package a.b:
//
//   MessageClassName(message, true)  -> "::a::b::Outer_Inner"
//   MessageClassName(message, false) -> "Outer_Inner"
std::string MessageClassName(const google::protobuf::Descriptor* message,
                             bool qualified);

// Gives both names at once but builds only one text: `*text` becomes the
// qualified name, and the result is the other name, which is the last part of
// it. The result is valid until `*text` changes. A text that is overwritten
// again and again keeps its memory.
std::string_view AssignMessageClassName(
    const google::protobuf::Descriptor* message, std::string* text);

// What the names of a service's macros begin with, "Echo_v2" -> "ECHO_V2". The
// program's global locale at the time of the call says what changes. In the
// plugins, which do not set it, that is "a" to "z"; other bytes are kept.
std::string MacroPrefix(const std::string& service_name);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_NAMING_NAMES_H_
