// Called from a template, with the stub's context and with one that was passed.
#include <vector>

#include "probe.h"

namespace probe {
typedef ::qarn::rpc::CallObserver< ::check::Response> Observer;
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::check::Request> >
    Handle;

struct Stub : public ::qarn::rpc::StubBase {
  template <class Container>
  Handle Upload(const ::qarn::rpc::ClientContext& context,
                const Container& requests, Observer* response_observer) {
    return ::qarn::rpc::client::AsyncBatchCall< ::check::Request,
                                                ::check::Response, Container>(
        channel(), method, context, requests, response_observer);
  }

  template <class Container>
  Handle Upload(const Container& requests, Observer* response_observer) {
    return ::qarn::rpc::client::AsyncBatchCall< ::check::Request,
                                                ::check::Response, Container>(
        channel(), method, context(), requests, response_observer);
  }

  static const ::qarn::rpc::RpcMethod method;
};

void Call(Stub* stub, const ::qarn::rpc::ClientContext& context,
          const std::vector< ::check::Request>& requests, Observer* observer);

void Call(Stub* stub, const ::qarn::rpc::ClientContext& context,
          const std::vector< ::check::Request>& requests, Observer* observer) {
  stub->Upload(requests, observer);
  stub->Upload(context, requests, observer);
}
}  // namespace probe
