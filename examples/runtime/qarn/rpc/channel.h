// Part of the example runtime (see qarn/rpc.h): the way from a
// client to the services of a server.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_CHANNEL_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_CHANNEL_H_

#include "qarn/rpc/call.h"
#include "qarn/rpc/context.h"
#include "qarn/rpc/method.h"

namespace qarn {
namespace rpc {

// Carries calls to the services of one server. LocalChannel does so within the
// process, WebSocketChannel over the network.
class Channel {
 public:
  Channel() {}
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;
  virtual ~Channel() {}

  // Starts a call whose answers go to `responses`. The result takes the
  // requests. If the call cannot be started, it is null, and `responses` has
  // seen its end.
  virtual ByteSenderPtr Start(const RpcMethod& method,
                              const ClientContext& context,
                              ByteObserverPtr responses) = 0;
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_CHANNEL_H_
