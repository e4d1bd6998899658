// Part of the example runtime (see qarn/rpc.h): the description
// of one method, made from the generated traits.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_METHOD_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_METHOD_H_

namespace qarn {
namespace rpc {

enum RpcMethodType {
  RMT_SIMPLE,
  RMT_CLIENT_STREAMING,
  RMT_SERVER_STREAMING,
  RMT_BIDI_STREAMING,
};

// Whether a call of that kind has one request, and one response, at most.
inline bool HasOneRequest(RpcMethodType type) {
  return type == RMT_SIMPLE || type == RMT_SERVER_STREAMING;
}
inline bool HasOneResponse(RpcMethodType type) {
  return type == RMT_SIMPLE || type == RMT_CLIENT_STREAMING;
}

// The side of a call that a description is made for.
enum CallSide {
  CS_CLIENT,
  CS_SERVER,
};

// A method's names and kind. Generated code keeps one a method as a static
// member, so this type holds nothing but pointers to string literals: no
// destructor runs at exit, and a copy is good for ever.
class RpcMethod {
 public:
  RpcMethod(const char* service, const char* name, const char* full_name,
            RpcMethodType type, CallSide side)
      : service_(service),
        name_(name),
        full_name_(full_name),
        type_(type),
        side_(side) {}

  // "a.b.Echo"
  const char* service() const { return service_; }
  // "Ping"
  const char* name() const { return name_; }
  // "a.b.Echo/Ping"
  const char* full_name() const { return full_name_; }
  RpcMethodType type() const { return type_; }
  CallSide side() const { return side_; }

 private:
  const char* service_;
  const char* name_;
  const char* full_name_;
  RpcMethodType type_;
  CallSide side_;
};

// Describes the method that Traits stands for. Traits::rpc_type has a value but
// no definition: it may be read here, but never bound to a reference.
template <class ServiceClass, class Traits>
RpcMethod make_rpc_method(CallSide side) {
  return RpcMethod(ServiceClass::full_name(), Traits::name(),
                   Traits::full_name(), Traits::rpc_type, side);
}

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_METHOD_H_
