// Called with the stub's context and with one that was passed.
#include "probe.h"

namespace probe {
typedef ::qarn::rpc::CallObserver< ::check::Response> Observer;
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::check::Request> >
    Handle;

struct Stub : public ::qarn::rpc::StubBase {
  Handle Upload(Observer* response_observer);
  Handle Upload(const ::qarn::rpc::ClientContext& context,
                Observer* response_observer);
  static const ::qarn::rpc::RpcMethod method;
};

Handle Stub::Upload(Observer* response_observer) {
  return ::qarn::rpc::client::AsyncStreamingCall< ::check::Request,
                                                  ::check::Response>(
      channel(), method, context(), response_observer);
}

Handle Stub::Upload(const ::qarn::rpc::ClientContext& context,
                    Observer* response_observer) {
  return ::qarn::rpc::client::AsyncStreamingCall< ::check::Request,
                                                  ::check::Response>(
      channel(), method, context, response_observer);
}
}  // namespace probe
