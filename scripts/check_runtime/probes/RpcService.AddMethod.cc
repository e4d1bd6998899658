// Takes a method of each kind, by pointer.
#include "desk.h"

namespace probe {
void Register(::qarn::rpc::RpcService* registered, Desk::Service* service);

void Register(::qarn::rpc::RpcService* registered, Desk::Service* service) {
  registered->AddMethod(
      new ::qarn::rpc::RpcServiceMethodT<Desk, DeskMethods<Desk_Ask> >(
          service, &Desk::Service::Ask));
  registered->AddMethod(
      new ::qarn::rpc::RpcServiceMethodT<Desk, DeskMethods<Desk_Upload> >(
          service, &Desk::Service::Upload));
  registered->AddMethod(
      new ::qarn::rpc::RpcServiceMethodT<Desk, DeskMethods<Desk_Listen> >(
          service, &Desk::Service::Listen));
  registered->AddMethod(
      new ::qarn::rpc::RpcServiceMethodT<Desk, DeskMethods<Desk_Talk> >(
          service, &Desk::Service::Talk));
}
}  // namespace probe
