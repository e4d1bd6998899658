// Part of the example runtime (see qarn/rpc.h): what travels with
// a call beside its messages.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_CONTEXT_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_CONTEXT_H_

#include <chrono>
#include <string>

namespace qarn {
namespace rpc {

// What the client says about a call: a label, which is there to show that the
// context arrives, and how long the client waits. A real runtime has metadata
// and so on.
class ClientContext {
 public:
  ClientContext() : timeout_(0) {}
  // A timeout of zero is none, a negative one has passed. LocalChannel has no
  // clock and only passes it on; over the network the call ends with it.
  explicit ClientContext(
      const std::string& label,
      std::chrono::milliseconds timeout = std::chrono::milliseconds(0))
      : label_(label), timeout_(timeout) {}

  const std::string& label() const { return label_; }
  std::chrono::milliseconds timeout() const { return timeout_; }

 private:
  std::string label_;
  std::chrono::milliseconds timeout_;
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

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_CONTEXT_H_
