// One for a handler of each kind.
#include "desk.h"

namespace probe {
template <class Adapter>
void Take(Adapter* adapter);
void Register(Desk::Service* service);

void Register(Desk::Service* service) {
  Take(new ::qarn::rpc::RpcServiceMethodT<Desk, DeskMethods<Desk_Ask> >(
      service, &Desk::Service::Ask));
  Take(new ::qarn::rpc::RpcServiceMethodT<Desk, DeskMethods<Desk_Upload> >(
      service, &Desk::Service::Upload));
  Take(new ::qarn::rpc::RpcServiceMethodT<Desk, DeskMethods<Desk_Listen> >(
      service, &Desk::Service::Listen));
  Take(new ::qarn::rpc::RpcServiceMethodT<Desk, DeskMethods<Desk_Talk> >(
      service, &Desk::Service::Talk));
}
}  // namespace probe
