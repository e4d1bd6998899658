// must fail: no such method; expect: incomplete type|undefined template
//
// The traits are defined for the methods of the service and for nothing else.
// With MENDED defined it must compile. Needs kinds.proto, namespace api.
#include "kinds.rpc.h"
#include "qarn/rpc.h"

#ifdef MENDED
const lab::kinds::api::OracleMethod kMethod = lab::kinds::api::Oracle_Ask;
#else
const lab::kinds::api::OracleMethod kMethod =
    static_cast<lab::kinds::api::OracleMethod>(1);
#endif

int main() {
  return lab::kinds::api::OracleMethods<kMethod>::name() == nullptr;
}
