// must fail: the traits are defined for the service's methods only; expect: (incomplete type|undefined template)
// With -DMENDED it must compile. Needs kinds.proto, services_namespace=api.
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
