// Part of the runtime double (see qarn/rpc.h; not installed): what travels with
// a call beside its messages.
#ifndef QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_CONTEXT_H_
#define QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_CONTEXT_H_

#include <string>

namespace qarn {
namespace rpc {

// What the client says about a call. Here it is one label, so that a test can
// tell which context arrived; a real runtime has deadlines, metadata and so on.
class ClientContext {
 public:
  ClientContext() {}
  explicit ClientContext(const std::string& label) : label_(label) {}

  const std::string& label() const { return label_; }

 private:
  std::string label_;
};

// What the server's handler learns about a call. The handler gets a pointer: it
// holds until the handler returns or, when the handler returned an observer,
// until that observer is deleted. Copy the context to keep it longer.
class CallContext {
 public:
  CallContext(const std::string& method, const ClientContext& client)
      : method_(method), client_(client) {}

  // The method's full name, such as "a.b.Echo/Ping".
  const std::string& method() const { return method_; }
  // The context that the client made the call with.
  const ClientContext& client() const { return client_; }

 private:
  std::string method_;
  ClientContext client_;
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_CONTEXT_H_
