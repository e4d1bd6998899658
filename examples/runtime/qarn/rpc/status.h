// Part of the example runtime (see qarn/rpc.h): how a call ended.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_STATUS_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_STATUS_H_

#include <cstdio>
#include <exception>
#include <string>

namespace qarn {
namespace rpc {

// The values are those of the wire.
enum class StatusCode {
  kOk = 0,
  kUnknownService = 1,  // no service of that name is registered at the server
  kUnknownMethod = 2,   // the service is there, the method is not
  kAbandoned = 3,       // the sender dropped its handle without closing it
  kBadMessage = 4,  // bytes arrived that are not a message of the right type
  kFailed = 5,      // the application says so
  kCancelled = 6,   // somebody called Cancel
  kDeadlinePassed = 7,  // the client's timeout passed before the answers ended
  kConnectionLost = 8,  // there is no connection, or it broke
  kOverloaded = 9,      // the sender went on though it had no room
  kStopping = 10,       // the server takes no new calls
  kTooLarge = 11,       // a message, or the label, is above the limit
  kLast = kTooLarge,
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

// In a catch block around a handler or an observer: says on standard error what
// was thrown. The result ends the call; what was thrown stays out of it, since
// it is not for the other side.
inline Status ReportException() {
  try {
    throw;
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "qarn rpc: a handler or observer threw: %s\n",
                 exception.what());
  } catch (...) {
    std::fprintf(stderr, "qarn rpc: a handler or observer threw\n");
  }
  return Status(StatusCode::kFailed, "a handler or observer threw");
}

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_STATUS_H_
