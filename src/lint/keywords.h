// The keywords of C++, and what protobuf makes of names that are keywords.

#ifndef QARN_RPC_LINT_KEYWORDS_H_
#define QARN_RPC_LINT_KEYWORDS_H_

#include <google/protobuf/descriptor.h>

#include <string>

namespace qarn {
namespace rpc {

// Whether `name` is a keyword of that standard of C++, or an alternative token
// such as `and`: ("requires", 17) -> false, ("requires", 20) -> true.
bool IsKeyword(const std::string& name, int standard);

// The name of the class that protobuf's own C++ generator makes of `message`,
// without its namespace. It differs from MessageClassName, which our files
// print, where the message or one around it is called like a keyword that
// protobuf knows:
//
//   class       -> "class_"
//   class.Inner -> "class__Inner"
std::string ProtobufClassName(const google::protobuf::Descriptor* message);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_LINT_KEYWORDS_H_
