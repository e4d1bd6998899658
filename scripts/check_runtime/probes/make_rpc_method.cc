#include "desk.h"

namespace probe {
struct Client {
  static const ::qarn::rpc::RpcMethod ask;
  static const ::qarn::rpc::RpcMethod upload;
  static const ::qarn::rpc::RpcMethod listen;
  static const ::qarn::rpc::RpcMethod talk;
};

const ::qarn::rpc::RpcMethod Client::ask =
    ::qarn::rpc::make_rpc_method<Desk, DeskMethods<Desk_Ask> >(
        ::qarn::rpc::CS_CLIENT);
const ::qarn::rpc::RpcMethod Client::upload =
    ::qarn::rpc::make_rpc_method<Desk, DeskMethods<Desk_Upload> >(
        ::qarn::rpc::CS_CLIENT);
const ::qarn::rpc::RpcMethod Client::listen =
    ::qarn::rpc::make_rpc_method<Desk, DeskMethods<Desk_Listen> >(
        ::qarn::rpc::CS_CLIENT);
const ::qarn::rpc::RpcMethod Client::talk =
    ::qarn::rpc::make_rpc_method<Desk, DeskMethods<Desk_Talk> >(
        ::qarn::rpc::CS_CLIENT);
}  // namespace probe
