// Called with the stub's context and with one that was passed. The template's
// arguments are deduced.
#include "probe.h"

namespace probe {
typedef ::qarn::rpc::CallObserver< ::check::Response> Observer;
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::check::Request> >
    Handle;

struct Stub : public ::qarn::rpc::StubBase {
  Handle Ask(const ::check::Request& request, Observer* response_observer);
  Handle Ask(const ::qarn::rpc::ClientContext& context,
             const ::check::Request& request, Observer* response_observer);
  static const ::qarn::rpc::RpcMethod method;
};

Handle Stub::Ask(const ::check::Request& request, Observer* response_observer) {
  return ::qarn::rpc::client::AsyncSimpleCall(channel(), method, context(),
                                              request, response_observer);
}

Handle Stub::Ask(const ::qarn::rpc::ClientContext& context,
                 const ::check::Request& request, Observer* response_observer) {
  return ::qarn::rpc::client::AsyncSimpleCall(channel(), method, context,
                                              request, response_observer);
}
}  // namespace probe
