// Part of the example runtime (see qarn/rpc.h): the adapter from
// a call's bytes to a handler of a generated Service. The generated traits say
// at compile time which of the two forms the handler has.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_SERVICE_METHOD_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_SERVICE_METHOD_H_

#include <boost/intrusive_ptr.hpp>
#include <memory>
#include <type_traits>
#include <utility>

#include "qarn/rpc/call.h"
#include "qarn/rpc/context.h"
#include "qarn/rpc/method.h"
#include "qarn/rpc/service.h"
#include "qarn/rpc/status.h"

namespace qarn {
namespace rpc {
namespace server {

// The handler gets the one request.
template <class Service, class Request, class Response>
class OneRequestCall : public CallObserver<Request> {
 public:
  typedef boost::intrusive_ptr<CallHandle<Response>> HandlePtr;
  typedef void (Service::*Handler)(CallContext*, const Request&,
                                   const HandlePtr&);

  OneRequestCall(Service* service, Handler handler, const CallContext& context,
                 const HandlePtr& handle)
      : service_(service),
        handler_(handler),
        context_(context),
        handle_(handle) {}

  void OnMessage(const Request& request) override {
    // Only the handler decides from here on how long the handle lives.
    HandlePtr handle;
    handle.swap(handle_);
    if (!handle) return;
    try {
      (service_->*handler_)(&context_, request, handle);
    } catch (...) {
      handle->Close(ReportException());  // before it goes
    }
  }

  void OnEnd(const Status& status) override {
    // A call that ended before its request arrived never reaches the handler.
    if (handle_) handle_->Close(status);
  }

 private:
  Service* const service_;
  const Handler handler_;
  CallContext context_;
  HandlePtr handle_;
};

// The handler returns an observer for the requests. The call owns it; null
// means that the server does not look at the requests.
template <class Service, class Request, class Response>
class RequestStreamCall : public CallObserver<Request> {
 public:
  typedef boost::intrusive_ptr<CallHandle<Response>> HandlePtr;
  typedef CallObserver<Request>* (Service::*Handler)(CallContext*,
                                                     const HandlePtr&);

  RequestStreamCall(Service* service, Handler handler,
                    const CallContext& context, const HandlePtr& handle)
      : context_(context), observer_((service->*handler)(&context_, handle)) {}

  void OnMessage(const Request& request) override {
    if (observer_) observer_->OnMessage(request);
  }

  void OnEnd(const Status& status) override {
    if (observer_) observer_->OnEnd(status);
  }

 private:
  CallContext context_;  // outlives the observer, which may point to it
  const std::unique_ptr<CallObserver<Request>> observer_;
};

// The server's end of a call of the kind `type`: hands the requests that arrive
// to the handler. Its member type Handler is the handler's form. Kinds whose
// server may answer many times differ from the others in nothing here.
template <RpcMethodType type, class Service, class Request, class Response>
using Call = typename std::conditional<
    type == RMT_SIMPLE || type == RMT_SERVER_STREAMING,
    OneRequestCall<Service, Request, Response>,
    RequestStreamCall<Service, Request, Response>>::type;

}  // namespace server

// Binds a method, described by its generated traits, to the handler of one
// Service object. The object must outlive the adapter.
template <class ServiceClass, class Traits>
class RpcServiceMethodT : public RpcServiceMethod {
 public:
  typedef typename ServiceClass::Service Service;
  typedef typename Traits::request Request;
  typedef typename Traits::response Response;
  typedef server::Call<Traits::rpc_type, Service, Request, Response> Call;
  typedef typename Call::Handler Handler;

  RpcServiceMethodT(Service* service, Handler handler)
      : RpcServiceMethod(make_rpc_method<ServiceClass, Traits>(CS_SERVER)),
        service_(service),
        handler_(handler) {}

  ByteObserverPtr Start(const ClientContext& context,
                        ByteSenderPtr responses) override {
    const boost::intrusive_ptr<CallHandle<Response>> handle(
        new CallHandle<Response>(std::move(responses)));
    try {
      std::unique_ptr<CallObserver<Request>> call(
          new Call(service_, handler_,
                   CallContext(method().full_name(), context), handle));
      return ByteObserverPtr(new ParsingObserver<Request>(
          std::move(call), HasOneRequest(Traits::rpc_type)));
    } catch (...) {
      handle->Close(ReportException());
      return ByteObserverPtr();
    }
  }

 private:
  Service* const service_;
  const Handler handler_;
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_SERVICE_METHOD_H_
