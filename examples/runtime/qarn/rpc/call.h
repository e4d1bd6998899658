// Part of the example runtime (see qarn/rpc.h): the two ends of
// one direction of a call. A handle sends, an observer receives.
//
// A call has two directions. The client holds a CallHandle<Request> and owns a
// CallObserver<Response>; the server holds a CallHandle<Response> and, when the
// client streams, hands out a CallObserver<Request>. Ownership runs one way
// only, so a call can never keep itself alive:
//
//   client's handle -> server's observer -> server's handle ..> client's
//   observer
//                owns                  owns               borrows
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_CALL_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_CALL_H_

#include <atomic>
#include <boost/intrusive_ptr.hpp>
#include <memory>
#include <string>
#include <utility>

#include "qarn/rpc/status.h"

namespace qarn {
namespace rpc {

// Receives one direction of a call: each message, then the end, once. It is
// called by one thread at a time.
//
// The client's observer stays the client's: it must live until its OnEnd. The
// server's observer, which a handler returned, belongs to the call: the runtime
// deletes it right after its OnEnd.
template <class T>
class CallObserver {
 public:
  virtual ~CallObserver() {}
  virtual void OnMessage(const T& message) = 0;
  virtual void OnEnd(const Status& status) = 0;
};

// A direction of a call as it crosses the channel: serialised messages. What
// comes in goes to an observer, what goes out to a sender.
typedef CallObserver<std::string> ByteObserver;
typedef std::unique_ptr<ByteObserver> ByteObserverPtr;

// Any thread may call it. See CallHandle for what the members do.
class ByteSender {
 public:
  virtual ~ByteSender() {}
  virtual bool Send(const std::string& bytes) = 0;
  virtual void Close(const Status& status) = 0;
  virtual void Cancel() = 0;
  virtual bool closed() const = 0;
};
typedef std::shared_ptr<ByteSender> ByteSenderPtr;

// What all handles share. Use CallHandle<T>.
class CallHandleBase {
 public:
  CallHandleBase(const CallHandleBase&) = delete;
  CallHandleBase& operator=(const CallHandleBase&) = delete;

  // Ends this direction. The observer sees the status, after all that was sent
  // before. A second Close has no effect.
  void Close(const Status& status = Status()) {
    if (sender_) sender_->Close(status);
  }

  // Ends both directions with kCancelled, as far as they have not ended.
  void Cancel() {
    if (sender_) sender_->Cancel();
  }

  // Whether this direction has ended, by Close or because the call is over.
  bool closed() const { return !sender_ || sender_->closed(); }

  friend void intrusive_ptr_add_ref(CallHandleBase* handle) {
    ++handle->references_;
  }
  friend void intrusive_ptr_release(CallHandleBase* handle) {
    if (--handle->references_ == 0) delete handle;
  }

 protected:
  // Without a sender the handle is closed from the start.
  explicit CallHandleBase(ByteSenderPtr sender)
      : references_(0), sender_(std::move(sender)) {}

  // A direction that nobody can close any more has ended, too.
  virtual ~CallHandleBase() {
    Close(Status(StatusCode::kAbandoned, "the handle was dropped, not closed"));
  }

  bool SendBytes(const std::string& bytes) {
    return sender_ && sender_->Send(bytes);
  }

 private:
  std::atomic<long> references_;
  const ByteSenderPtr sender_;
};

// Sends one direction of a call. Held by boost::intrusive_ptr; may be kept for
// as long as one likes, also after the call has ended. When the last reference
// goes while the handle is open, the observer's end is kAbandoned.
template <class T>
class CallHandle : public CallHandleBase {
 public:
  // For the runtime: the caller must put the handle into an intrusive_ptr.
  explicit CallHandle(ByteSenderPtr sender)
      : CallHandleBase(std::move(sender)) {}

  // Any number of times. Over TCP it waits while the other side is behind.
  // Returns false, and sends nothing, once the direction has ended.
  bool Send(const T& message) {
    return SendBytes(message.SerializePartialAsString());
  }
};

// Turns the bytes of one direction into messages for an observer, which it
// either borrows or owns. Bytes that do not parse end the direction.
template <class T>
class ParsingObserver : public ByteObserver {
 public:
  explicit ParsingObserver(CallObserver<T>* borrowed) : observer_(borrowed) {}
  explicit ParsingObserver(std::unique_ptr<CallObserver<T>> owned)
      : owned_(std::move(owned)), observer_(owned_.get()) {}

  void OnMessage(const std::string& bytes) override {
    if (!observer_) return;
    T message;
    if (message.ParsePartialFromString(bytes)) {
      observer_->OnMessage(message);
    } else {
      OnEnd(Status(StatusCode::kBadMessage,
                   "the bytes are not a message of the method's type"));
    }
  }

  void OnEnd(const Status& status) override {
    CallObserver<T>* const observer = observer_;
    observer_ = nullptr;
    if (observer) observer->OnEnd(status);
  }

 private:
  std::unique_ptr<CallObserver<T>> owned_;
  CallObserver<T>* observer_;  // null after its end
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_CALL_H_
