// As little as fits, and as unlike the runtime of the example as may be: what
// docs/runtime.md leaves to a runtime is decided otherwise here. Carries no
// call.
#ifndef QARN_RPC_TESTS_BARE_RUNTIME_QARN_RPC_H_
#define QARN_RPC_TESTS_BARE_RUNTIME_QARN_RPC_H_

// Counts on what generated headers include before.
namespace qarn {
namespace rpc {
inline namespace bare {

struct Call;
struct CallContext;
class Channel;
template <class T>
class CallObserver;

struct Context {
  Context(const Context&) = delete;
};
typedef Context ClientContext;

enum class RpcMethodType : char { kOne = 'a', kTwo, kThree, kFour };
constexpr RpcMethodType RMT_SIMPLE = RpcMethodType::kFour;
constexpr RpcMethodType RMT_CLIENT_STREAMING = RpcMethodType::kThree;
constexpr RpcMethodType RMT_SERVER_STREAMING = RpcMethodType::kTwo;
constexpr RpcMethodType RMT_BIDI_STREAMING = RpcMethodType::kOne;

struct ClientSide {};
constexpr ClientSide CS_CLIENT = ClientSide();

template <class T, class Codec = void>
struct Handle {
  long references;
};
template <class T>
using CallHandle = Handle<T>;
template <class T, class Codec>
void intrusive_ptr_add_ref(Handle<T, Codec>* handle) {
  ++handle->references;
}
template <class T, class Codec>
void intrusive_ptr_release(Handle<T, Codec>* handle) {
  if (--handle->references == 0) delete handle;
}

class StubBase {
 protected:
  StubBase(std::string, const std::string&, const ClientContext& context,
           boost::shared_ptr<Channel> channel)
      : context_(&context), channel_(channel) {}
  ~StubBase() {}

  Channel* channel() { return channel_.get(); }
  const ClientContext& context() { return *context_; }

 private:
  const ClientContext* context_;
  boost::shared_ptr<Channel> channel_;
};

typedef const char* RpcMethod;
struct Described {
  operator RpcMethod() const { return name; }
  RpcMethod name;
};
template <class ServiceClass, class Traits, class Policy = void>
Described make_rpc_method(ClientSide) {
  const Described described = {Traits::full_name()};
  return described;
}

struct client {
  template <class Request, class Observer>
  static Handle<Request>* AsyncSimpleCall(Channel*, RpcMethod,
                                          const ClientContext&, Request const&,
                                          Observer*) {
    return new Handle<Request>();
  }
  template <class Request, class Response>
  static Handle<Request>* AsyncStreamingCall(Channel*, RpcMethod,
                                             const ClientContext&,
                                             CallObserver<Response>*) {
    return new Handle<Request>();
  }
  template <class Request, class Response, class Container>
  static Handle<Request>* AsyncBatchCall(Channel*, RpcMethod,
                                         const ClientContext&, const Container&,
                                         CallObserver<Response>*) {
    return new Handle<Request>();
  }
};

struct RpcService {
  RpcService(const char*) {}
  template <class Method>
  Method* AddMethod(Method* method) {
    return method;
  }
};

class ServiceBase {
 public:
  virtual RpcService* service() = 0;
  virtual void Started() = 0;

 protected:
  virtual ~ServiceBase() {}
};

template <class ServiceClass, class Traits>
struct RpcServiceMethodT {
  template <class Handler>
  RpcServiceMethodT(typename ServiceClass::Service*, Handler) {}
};

}  // namespace bare
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_BARE_RUNTIME_QARN_RPC_H_
