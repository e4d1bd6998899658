#include "probe.h"

namespace probe {
struct Traits {
  static const ::qarn::rpc::RpcMethodType rpc_type = ::qarn::rpc::RMT_SIMPLE;
};
}  // namespace probe
