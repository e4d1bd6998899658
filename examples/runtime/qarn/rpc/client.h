// Part of the example runtime (see qarn/rpc.h): the base of the
// generated Stub classes, and the functions with which a Stub makes its calls.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_CLIENT_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_CLIENT_H_

#include <boost/intrusive_ptr.hpp>
#include <boost/shared_ptr.hpp>
#include <string>
#include <utility>

#include "qarn/rpc/call.h"
#include "qarn/rpc/channel.h"
#include "qarn/rpc/context.h"
#include "qarn/rpc/method.h"

namespace qarn {
namespace rpc {

// Base of every generated Stub: what all its calls have in common.
class StubBase {
 public:
  // `channel` must not be null.
  StubBase(const std::string& client_name, const std::string& endpoint,
           const ClientContext& context,
           const boost::shared_ptr<Channel>& channel)
      : client_name_(client_name),
        endpoint_(endpoint),
        context_(context),
        channel_(channel) {}
  virtual ~StubBase() {}

  const std::string& client_name() const { return client_name_; }
  const std::string& endpoint() const { return endpoint_; }
  // The context of the calls that are made without one.
  const ClientContext& context() const { return context_; }
  const boost::shared_ptr<Channel>& channel() const { return channel_; }

 private:
  std::string client_name_;
  std::string endpoint_;
  ClientContext context_;
  boost::shared_ptr<Channel> channel_;
};

namespace client {

// Starts a call, and leaves it to the client to send requests through the
// handle and to close it. The observer must live until its OnEnd. The result is
// never null. A null observer means that the client does not look at the
// answers.
template <class Request, class Response>
boost::intrusive_ptr<CallHandle<Request>> AsyncStreamingCall(
    const boost::shared_ptr<Channel>& channel, const RpcMethod& method,
    const ClientContext& context, CallObserver<Response>* response_observer) {
  // The stub, whose pointer this is, may go in an OnEnd that Start calls.
  const boost::shared_ptr<Channel> kept = channel;
  ByteObserverPtr responses(new ParsingObserver<Response>(
      response_observer, HasOneResponse(method.type())));
  return boost::intrusive_ptr<CallHandle<Request>>(new CallHandle<Request>(
      kept->Start(method, context, std::move(responses))));
}

// The same, but sends every request of the container, in its order, and closes
// the handle. It waits for room as Send does; on a loop's thread, where that
// cannot be, a container that takes more than twice the room ends the call.
template <class Request, class Response, class Container>
boost::intrusive_ptr<CallHandle<Request>> AsyncBatchCall(
    const boost::shared_ptr<Channel>& channel, const RpcMethod& method,
    const ClientContext& context, const Container& requests,
    CallObserver<Response>* response_observer) {
  const boost::intrusive_ptr<CallHandle<Request>> handle =
      AsyncStreamingCall<Request, Response>(channel, method, context,
                                            response_observer);
  for (const Request& request : requests) {
    if (handle->Send(request) == SendResult::kEnded) break;
  }
  handle->Close();
  return handle;
}

// The same, but sends one request and closes the handle.
template <class Request, class Response>
boost::intrusive_ptr<CallHandle<Request>> AsyncSimpleCall(
    const boost::shared_ptr<Channel>& channel, const RpcMethod& method,
    const ClientContext& context, const Request& request,
    CallObserver<Response>* response_observer) {
  const boost::intrusive_ptr<CallHandle<Request>> handle =
      AsyncStreamingCall<Request, Response>(channel, method, context,
                                            response_observer);
  handle->Send(request);
  handle->Close();
  return handle;
}

}  // namespace client
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_CLIENT_H_
