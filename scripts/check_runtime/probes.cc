// What generated code does with each name that it uses of a runtime: a probe
// for each, in the order of the table in docs/runtime.md. check_runtime.sh cuts
// them apart and compiles each after probe.h, in the namespace probe.
//
// A probe begins with its name and the other names that it uses, whose probes
// stand above.

// probe: qarn/rpc.h
// All that it needs is in probe.h.

// probe: ClientContext needs qarn/rpc.h
void Take(const ::qarn::rpc::ClientContext& context);

inline void Pass(const ::qarn::rpc::ClientContext& context) { Take(context); }

// probe: Channel needs qarn/rpc.h
void Take(const boost::shared_ptr< ::qarn::rpc::Channel>& channel);

inline void Pass(const boost::shared_ptr< ::qarn::rpc::Channel>& channel) {
  Take(channel);
}

// probe: CallContext needs qarn/rpc.h
struct Service {
  virtual ~Service() {}
  virtual void Ask(::qarn::rpc::CallContext* context) = 0;
};

// probe: RpcMethodType needs qarn/rpc.h
// The type of a constant that is initialised inside its class.
struct Traits {
  static const ::qarn::rpc::RpcMethodType rpc_type =
      ::qarn::rpc::RpcMethodType();
};

// probe: RMT_SIMPLE needs RpcMethodType
struct Traits {
  static const ::qarn::rpc::RpcMethodType rpc_type = ::qarn::rpc::RMT_SIMPLE;
};

// probe: RMT_CLIENT_STREAMING needs RpcMethodType
struct Traits {
  static const ::qarn::rpc::RpcMethodType rpc_type =
      ::qarn::rpc::RMT_CLIENT_STREAMING;
};

// probe: RMT_SERVER_STREAMING needs RpcMethodType
struct Traits {
  static const ::qarn::rpc::RpcMethodType rpc_type =
      ::qarn::rpc::RMT_SERVER_STREAMING;
};

// probe: RMT_BIDI_STREAMING needs RpcMethodType
struct Traits {
  static const ::qarn::rpc::RpcMethodType rpc_type =
      ::qarn::rpc::RMT_BIDI_STREAMING;
};

// probe: CS_CLIENT needs qarn/rpc.h
template <class Side>
void Take(Side side);

inline void Pass() { Take(::qarn::rpc::CS_CLIENT); }

// probe: CallObserver needs qarn/rpc.h
// A class template of one type. Generated code only passes pointers on.
typedef ::qarn::rpc::CallObserver< ::check::Response> Observer;
typedef ::qarn::rpc::CallObserver< ::check::Request>* ObserverPtr;

void Take(Observer* observer);

inline ObserverPtr Pass(Observer* observer, ObserverPtr requests) {
  Take(observer);
  return requests;
}

// probe: CallHandle needs qarn/rpc.h
// A class template of one type, which boost::intrusive_ptr can point to.
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::check::Request> >
    Handle;

void Take(const Handle& handle);

inline void Pass(const Handle& handle) { Take(handle); }

// probe: intrusive_ptr_add_ref needs CallHandle
// Copying a handle. Nothing here lets one go.
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::check::Request> >
    Handle;

inline Handle* Copy(const Handle& handle) { return new Handle(handle); }

// probe: intrusive_ptr_release needs CallHandle
// Letting a handle go. Nothing here copies one.
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::check::Request> >
    Handle;

inline void LetGo(Handle* handle) { delete handle; }

// probe: StubBase needs ClientContext Channel
// The base of Stub, which hands its four arguments on and overrides nothing.
class Stub : public ::qarn::rpc::StubBase {
 public:
  Stub(const std::string& client_name, const std::string& endpoint,
       const ::qarn::rpc::ClientContext& context,
       const boost::shared_ptr< ::qarn::rpc::Channel>& channel)
      : ::qarn::rpc::StubBase(client_name, endpoint, context, channel) {}
};

inline void Make(const ::qarn::rpc::ClientContext& context,
                 const boost::shared_ptr< ::qarn::rpc::Channel>& channel) {
  Stub stub("client", "endpoint", context, channel);
  (void)stub;
}

// probe: StubBase::channel needs StubBase
// Called without arguments in the members of Stub; the result goes to the
// functions of the namespace client.
template <class Argument>
void Take(const Argument& argument);

struct Stub : public ::qarn::rpc::StubBase {
  void Call() { Take(channel()); }
};

// probe: StubBase::context needs StubBase
// Called without arguments in the members of Stub; the result goes to the
// functions of the namespace client.
template <class Argument>
void Take(const Argument& argument);

struct Stub : public ::qarn::rpc::StubBase {
  void Call() { Take(context()); }
};

// probe: RpcMethod needs qarn/rpc.h
// A constant of the class Stub, which is initialised from a result.
::qarn::rpc::RpcMethod Describe();

struct Stub {
  static const ::qarn::rpc::RpcMethod method;
};

const ::qarn::rpc::RpcMethod Stub::method = Describe();

// probe: RpcService needs qarn/rpc.h
// Made from the service's full name, and deleted.
struct Service {
  static const char* full_name() { return "probe.Service"; }
  Service() : _service(NULL) {}
  ~Service() { delete _service; }
  ::qarn::rpc::RpcService* service() {
    _service = new ::qarn::rpc::RpcService(Service::full_name());
    return _service;
  }
  ::qarn::rpc::RpcService* _service;
};

// probe: ServiceBase needs RpcService
// The base of Service, which has a virtual destructor and a member service().
// No object of it is made: what the base leaves abstract is for the user's
// server.
class Service : public ::qarn::rpc::ServiceBase {
 public:
  Service() : _service(NULL) {}
  virtual ~Service();
  virtual ::qarn::rpc::RpcService* service();

 private:
  ::qarn::rpc::RpcService* _service;
};

Service::~Service() {}

::qarn::rpc::RpcService* Service::service() { return _service; }

// probe: make_rpc_method needs ClientContext Channel CallContext RpcMethodType RMT_SIMPLE RMT_CLIENT_STREAMING RMT_SERVER_STREAMING RMT_BIDI_STREAMING CS_CLIENT CallObserver CallHandle StubBase RpcMethod RpcService ServiceBase
#include "desk.h"

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

// probe: client::AsyncSimpleCall needs ClientContext CallObserver CallHandle intrusive_ptr_add_ref intrusive_ptr_release StubBase StubBase::channel StubBase::context RpcMethod
// Called with the stub's context and with one that was passed. The template's
// arguments are deduced.
typedef ::qarn::rpc::CallObserver< ::check::Response> Observer;
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::check::Request> >
    Handle;

struct Stub : public ::qarn::rpc::StubBase {
  Handle Ask(const ::check::Request& request, Observer* response_observer) {
    return ::qarn::rpc::client::AsyncSimpleCall(channel(), method, context(),
                                                request, response_observer);
  }
  Handle Ask(const ::qarn::rpc::ClientContext& context,
             const ::check::Request& request, Observer* response_observer) {
    return ::qarn::rpc::client::AsyncSimpleCall(channel(), method, context,
                                                request, response_observer);
  }
  static const ::qarn::rpc::RpcMethod method;
};

// probe: client::AsyncStreamingCall needs ClientContext CallObserver CallHandle intrusive_ptr_add_ref intrusive_ptr_release StubBase StubBase::channel StubBase::context RpcMethod
// Called with the stub's context and with one that was passed.
typedef ::qarn::rpc::CallObserver< ::check::Response> Observer;
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::check::Request> >
    Handle;

struct Stub : public ::qarn::rpc::StubBase {
  Handle Upload(Observer* response_observer) {
    return ::qarn::rpc::client::AsyncStreamingCall< ::check::Request,
                                                    ::check::Response>(
        channel(), method, context(), response_observer);
  }
  Handle Upload(const ::qarn::rpc::ClientContext& context,
                Observer* response_observer) {
    return ::qarn::rpc::client::AsyncStreamingCall< ::check::Request,
                                                    ::check::Response>(
        channel(), method, context, response_observer);
  }
  static const ::qarn::rpc::RpcMethod method;
};

// probe: client::AsyncBatchCall needs ClientContext CallObserver CallHandle intrusive_ptr_add_ref intrusive_ptr_release StubBase StubBase::channel StubBase::context RpcMethod
// Called from a template, with the stub's context and with one that was passed.
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

inline void Call(Stub* stub, const ::qarn::rpc::ClientContext& context,
                 const std::vector< ::check::Request>& requests,
                 Observer* observer) {
  stub->Upload(requests, observer);
  stub->Upload(context, requests, observer);
}

// probe: RpcServiceMethodT needs ClientContext Channel CallContext RpcMethodType RMT_SIMPLE RMT_CLIENT_STREAMING RMT_SERVER_STREAMING RMT_BIDI_STREAMING CallObserver CallHandle intrusive_ptr_add_ref intrusive_ptr_release StubBase RpcMethod RpcService ServiceBase
#include "desk.h"

// One for a handler of each kind.
template <class Adapter>
void Take(Adapter* adapter);

inline void Register(Desk::Service* service) {
  Take(new ::qarn::rpc::RpcServiceMethodT<Desk, DeskMethods<Desk_Ask> >(
      service, &Desk::Service::Ask));
  Take(new ::qarn::rpc::RpcServiceMethodT<Desk, DeskMethods<Desk_Upload> >(
      service, &Desk::Service::Upload));
  Take(new ::qarn::rpc::RpcServiceMethodT<Desk, DeskMethods<Desk_Listen> >(
      service, &Desk::Service::Listen));
  Take(new ::qarn::rpc::RpcServiceMethodT<Desk, DeskMethods<Desk_Talk> >(
      service, &Desk::Service::Talk));
}

// probe: RpcService::AddMethod needs RpcService RpcServiceMethodT
#include "desk.h"

// Takes a method of each kind, by pointer.
inline void Register(::qarn::rpc::RpcService* registered,
                     Desk::Service* service) {
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
