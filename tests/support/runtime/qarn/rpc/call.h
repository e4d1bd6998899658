// Part of the runtime double (see qarn/rpc.h; not installed): the two ends of
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
#ifndef QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_CALL_H_
#define QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_CALL_H_

#include <boost/intrusive_ptr.hpp>
#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "qarn/rpc/status.h"

namespace qarn {
namespace rpc {

// Receives one direction of a call: each message, then the end, once.
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

// A direction of a call as it crosses the channel: serialised messages.
typedef CallObserver<std::string> ByteObserver;
typedef std::unique_ptr<ByteObserver> ByteObserverPtr;

// What all handles share: the reference count, and the delivery of bytes in
// order, one at a time. Use CallHandle<T>.
class CallHandleBase {
 public:
  CallHandleBase(const CallHandleBase&) = delete;
  CallHandleBase& operator=(const CallHandleBase&) = delete;

  // Ends this direction. The observer sees the status, after all that was sent
  // before. A second Close has no effect.
  void Close(const Status& status = Status()) {
    if (closed_) return;
    closed_ = true;
    status_ = status;
    Deliver();
  }

  bool closed() const { return closed_; }

  friend void intrusive_ptr_add_ref(CallHandleBase* handle) {
    ++handle->references_;
  }
  friend void intrusive_ptr_release(CallHandleBase* handle) {
    if (--handle->references_ == 0) delete handle;
  }

 protected:
  // Without a receiver the handle is closed from the start.
  explicit CallHandleBase(ByteObserverPtr receiver)
      : references_(0),
        closed_(!receiver),
        delivering_(false),
        receiver_(std::move(receiver)) {}

  // A direction that nobody can close any more has ended, too. Nothing is left
  // to deliver here: a delivery under way holds a reference.
  virtual ~CallHandleBase() {
    if (!closed_) {
      receiver_->OnEnd(
          Status(StatusCode::kAbandoned, "the handle was dropped, not closed"));
    }
  }

  bool SendBytes(const std::string& bytes) {
    if (closed_) return false;
    pending_.push_back(bytes);
    Deliver();
    return true;
  }

 private:
  void Deliver() {
    if (delivering_) return;  // the delivery further up the stack goes on
    // An observer may drop the last reference to the handle that feeds it.
    boost::intrusive_ptr<CallHandleBase> self(this);
    delivering_ = true;
    while (!pending_.empty()) {
      const std::string bytes = std::move(pending_.front());
      pending_.pop_front();
      receiver_->OnMessage(bytes);
    }
    if (closed_) {
      // The receiver goes with its end, even if the handle is kept.
      const ByteObserverPtr receiver = std::move(receiver_);
      receiver->OnEnd(status_);
    }
    delivering_ = false;
  }

  long references_;
  bool closed_;
  bool delivering_;
  Status status_;
  std::deque<std::string> pending_;
  ByteObserverPtr receiver_;
};

// Sends one direction of a call. Held by boost::intrusive_ptr; may be kept for
// as long as one likes, also after the call has ended. When the last reference
// goes while the handle is open, the observer's end is kAbandoned.
template <class T>
class CallHandle : public CallHandleBase {
 public:
  // For the runtime: the caller must put the handle into an intrusive_ptr.
  explicit CallHandle(ByteObserverPtr receiver)
      : CallHandleBase(std::move(receiver)) {}

  // Any number of times. Returns false, and sends nothing, once it is closed.
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

#endif  // QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_CALL_H_
