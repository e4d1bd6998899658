// Templates written as raw string literals, so that they read like the text
// that they print and can be found by a search for a piece of it.

#ifndef QARN_RPC_TEXT_TEMPLATE_H_
#define QARN_RPC_TEXT_TEMPLATE_H_

#include <cstddef>

namespace qarn {
namespace rpc {

// The text of `literal` without the newline that it starts with, which is there
// so that the first line of the text stands at the margin like all others. A
// literal that starts with something else is returned whole. A constant
// expression: nothing is copied, the result points into the literal.
//
//   printer->Print(vars, Template(R"(
//   class $Service$ {
//    public:
//   )"));  // "class $Service$ {\n public:\n"
//
// It takes arrays only: a text whose life may end cannot be passed by mistake
// as the pointer that c_str() returns.
template <std::size_t size>
constexpr const char* Template(const char (&literal)[size]) {
  return literal[0] == '\n' ? &literal[1] : &literal[0];
}

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TEXT_TEMPLATE_H_
