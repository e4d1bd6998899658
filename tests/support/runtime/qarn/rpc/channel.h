// Part of the runtime double (see qarn/rpc.h; not installed): the way from a
// client to the services of a server.
#ifndef QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_CHANNEL_H_
#define QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_CHANNEL_H_

#include <map>
#include <string>
#include <utility>

#include "qarn/rpc/call.h"
#include "qarn/rpc/context.h"
#include "qarn/rpc/method.h"
#include "qarn/rpc/service.h"

namespace qarn {
namespace rpc {

// Carries calls to the services that were registered here. One channel is one
// server: two objects of the same service need two channels.
class Channel {
 public:
  Channel() {}
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  // Makes the service reachable under its full name. Returns false, and changes
  // nothing, if that name is taken. The service stays its owner's and must
  // outlive the last call over this channel.
  bool Register(RpcService* service) {
    return services_.insert(std::make_pair(service->full_name(), service))
        .second;
  }

  // Starts a call whose answers go to `responses`. The result takes the
  // requests. For an unknown service or method it is null, and `responses` has
  // seen its end.
  ByteObserverPtr Start(const RpcMethod& method, const ClientContext& context,
                        ByteObserverPtr responses) const {
    const std::map<std::string, RpcService*>::const_iterator service =
        services_.find(method.service());
    if (service == services_.end()) {
      responses->OnEnd(Status(
          StatusCode::kUnknownService,
          std::string("no service ") + method.service() + " is registered"));
      return ByteObserverPtr();
    }
    RpcServiceMethod* const target =
        service->second->FindMethod(method.full_name());
    if (!target) {
      responses->OnEnd(
          Status(StatusCode::kUnknownMethod,
                 std::string("no method ") + method.full_name() + " is known"));
      return ByteObserverPtr();
    }
    return target->Start(context, std::move(responses));
  }

 private:
  std::map<std::string, RpcService*> services_;  // by full name
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_CHANNEL_H_
