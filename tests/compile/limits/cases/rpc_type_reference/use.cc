#include "api.rpc.h"

static bool IsSimple(const ::qarn::rpc::RpcMethodType& type) {
  return type == ::qarn::rpc::RMT_SIMPLE;
}

int main() {
  return IsSimple(demo::EchoMethods<demo::Echo_Ping>::rpc_type) ? 0 : 1;
}
