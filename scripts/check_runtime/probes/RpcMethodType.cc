// The type of a constant that is initialised inside its class.
#include "probe.h"

namespace probe {
struct Traits {
  static const ::qarn::rpc::RpcMethodType rpc_type =
      ::qarn::rpc::RpcMethodType();
};
}  // namespace probe
