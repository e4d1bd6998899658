// Part of the runtime double (see qarn/rpc.h; not installed): how a call ended.
#ifndef QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_STATUS_H_
#define QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_STATUS_H_

#include <string>

namespace qarn {
namespace rpc {

enum class StatusCode {
  kOk,
  kUnknownService,  // no service of that name is registered at the channel
  kUnknownMethod,   // the service is there, the method is not
  kAbandoned,       // the sender dropped its handle without closing it
  kBadMessage,      // bytes arrived that are not a message of the right type
  kFailed,          // the application says so
};

// How one direction of a call ended. A default Status is success.
class Status {
 public:
  Status() : code_(StatusCode::kOk) {}
  Status(StatusCode code, const std::string& message)
      : code_(code), message_(message) {}

  bool ok() const { return code_ == StatusCode::kOk; }
  StatusCode code() const { return code_; }
  // For people; empty on success.
  const std::string& message() const { return message_; }

 private:
  StatusCode code_;
  std::string message_;
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_STATUS_H_
