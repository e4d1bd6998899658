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
#include <functional>
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

// What became of a message that was to be sent.
enum class SendResult {
  kSent,   // it was taken, and there is room for more
  kFull,   // it was taken, but send no more until WhenRoom calls
  kEnded,  // it was not taken: the direction has ended
};

// A direction of a call as it crosses the channel: serialised messages. What
// comes in goes to an observer, what goes out to a sender.
//
// If one of the two returns a status that is not ok, the channel ends the call
// with it in both directions. Neither throws.
class ByteObserver {
 public:
  virtual ~ByteObserver() {}
  virtual Status OnMessage(const std::string& bytes) = 0;
  virtual Status OnEnd(const Status& status) = 0;
};
typedef std::unique_ptr<ByteObserver> ByteObserverPtr;

// Any thread may call it. See CallHandle for what the members do.
class ByteSender {
 public:
  virtual ~ByteSender() {}
  virtual SendResult Send(const std::string& bytes) = 0;
  virtual void WhenRoom(std::function<void()> callback) = 0;
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

  // Calls `callback` once: when there is room for more, or this direction has
  // ended. Over the network that is on the loop's thread, and later than this
  // returns unless the call is over; LocalChannel always has room, and calls it
  // at once. A second callback replaces one that waits.
  void WhenRoom(std::function<void()> callback) {
    if (sender_) {
      sender_->WhenRoom(std::move(callback));
    } else {
      callback();
    }
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

  SendResult SendBytes(const std::string& bytes) {
    return sender_ ? sender_->Send(bytes) : SendResult::kEnded;
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

  // Any number of times. While the other side is behind, there is no room: on a
  // loop's thread the result is then kFull, and whoever sends on, beyond twice
  // the room, ends the call. On any other thread Send waits for room, until the
  // call ends or its deadline passes, and the result is never kFull.
  SendResult Send(const T& message) {
    return SendBytes(message.SerializePartialAsString());
  }
};

// Turns the bytes of one direction into messages for an observer, which it
// either borrows or owns; a null one looks at nothing. With `has_one`, a second
// message is an error.
template <class T>
class ParsingObserver : public ByteObserver {
 public:
  ParsingObserver(CallObserver<T>* borrowed, bool has_one)
      : observer_(borrowed), has_one_(has_one) {}
  ParsingObserver(std::unique_ptr<CallObserver<T>> owned, bool has_one)
      : owned_(std::move(owned)), observer_(owned_.get()), has_one_(has_one) {}

  Status OnMessage(const std::string& bytes) override {
    if (has_one_ && has_come_) {
      return Status(StatusCode::kBadMessage,
                    "a second message came, and the method has one");
    }
    has_come_ = true;
    if (!observer_) return Status();
    try {
      T message;
      if (!message.ParsePartialFromString(bytes)) {
        return Status(StatusCode::kBadMessage,
                      "the bytes are not a message of the method's type");
      }
      observer_->OnMessage(message);
    } catch (...) {
      return ReportException();
    }
    return Status();
  }

  Status OnEnd(const Status& status) override {
    try {
      if (observer_) observer_->OnEnd(status);
    } catch (...) {
      return ReportException();
    }
    return Status();
  }

 private:
  const std::unique_ptr<CallObserver<T>> owned_;
  CallObserver<T>* const observer_;
  const bool has_one_;
  bool has_come_ = false;
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_CALL_H_
