// The generated header comes first here.
// clang-format off
#include "api.rpc.h"

#include <initializer_list>
// clang-format on

#define ENTRY(r, data, method) demo::method,

static int Count(std::initializer_list<demo::EchoMethod> methods) {
  return static_cast<int>(methods.size());
}

int main() { return Count({BOOST_PP_SEQ_ENUM(ECHO_METHODS)}); }
