// A constant of the class Stub, which is initialised from a result.
#include "probe.h"

namespace probe {
::qarn::rpc::RpcMethod Describe();

struct Stub {
  static const ::qarn::rpc::RpcMethod method;
};

const ::qarn::rpc::RpcMethod Stub::method = Describe();
}  // namespace probe
