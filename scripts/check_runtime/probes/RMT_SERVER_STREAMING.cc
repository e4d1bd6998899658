#include "probe.h"

namespace probe {
struct Traits {
  static const ::qarn::rpc::RpcMethodType rpc_type =
      ::qarn::rpc::RMT_SERVER_STREAMING;
};
}  // namespace probe
