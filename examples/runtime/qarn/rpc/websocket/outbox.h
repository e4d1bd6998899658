// Part of the example runtime (see qarn/rpc/websocket.h): what a handle has sent
// and its session has not written yet. It is all that handles and sessions
// share, so a handle may outlive its session and the loop.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_OUTBOX_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_OUTBOX_H_

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include "qarn/rpc/call.h"
#include "qarn/rpc/status.h"
#include "qarn/rpc/websocket.h"

namespace qarn {
namespace rpc {
namespace websocket {

using Clock = std::chrono::steady_clock;

// Whether the calling thread is a loop's.
inline thread_local bool on_loop_thread = false;

// `wait` from now, at least nothing and at most ten years: the clock has that.
inline Clock::time_point After(std::chrono::milliseconds wait) {
  return Clock::now() +
         std::clamp<std::chrono::milliseconds>(wait, std::chrono::hours(0),
                                               std::chrono::hours(24 * 3650));
}

class Outbox : public ByteSender {
 public:
  // What a session writes next.
  enum class Next { kNothing, kMessage, kEnd };

  // `wake` posts to the session that it look here. It is called with a lock
  // held, from any thread, and not after Detach.
  Outbox(const Limits& limits, std::function<void()> wake)
      : message_limit_(limits.message),
        room_(limits.room),
        wake_(std::move(wake)) {}

  // Before the outbox is known to others: when a Send that waits gives up.
  void SetDeadline(Clock::time_point deadline) { deadline_ = deadline; }

  // Of ByteSender, for any thread.

  SendResult Send(const std::string& bytes) override {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!on_loop_thread) {
      const auto may_go_on = [this] { return is_closed_ || used_ < room_; };
      if (!changed_.wait_until(lock, deadline_, may_go_on)) {
        return SendResult::kEnded;
      }
    }
    if (is_closed_) return SendResult::kEnded;
    const std::size_t cost = bytes.size() + kMessageOverhead;
    if (bytes.size() > message_limit_) {
      CloseCall(Status(StatusCode::kTooLarge,
                       "the sender's message is above its limit"));
      return SendResult::kEnded;
    }
    if (used_ >= room_ &&
        (used_ - room_ > room_ || cost > room_ - (used_ - room_))) {
      CloseCall(Status(StatusCode::kOverloaded,
                       "the sender went on though it had no room"));
      return SendResult::kEnded;
    }
    queue_.push_back(bytes);
    used_ += cost;
    Wake();
    return used_ >= room_ && on_loop_thread ? SendResult::kFull
                                            : SendResult::kSent;
  }

  void WhenRoom(std::function<void()> callback) override {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (!is_detached_) {
        callback.swap(when_room_);
        Wake();
        return;  // the lock goes before what was there
      }
    }
    callback();
  }

  void Close(const Status& status) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    CloseDirection(status);
  }

  void Cancel() override {
    const std::lock_guard<std::mutex> lock(mutex_);
    CloseCall(Status(StatusCode::kCancelled, "the call was cancelled"));
  }

  bool closed() const override {
    const std::lock_guard<std::mutex> lock(mutex_);
    return is_closed_;
  }

  // For the session.

  // Answers a wake. Whether the whole call shall end, and how.
  bool EndsCall(Status* status) {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_woken_ = false;
    *status = call_status_;
    return ends_call_;
  }

  // Moves what is to be written next to `text`.
  Next Take(std::string* text, Status* status) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!queue_.empty()) {
      *text = std::move(queue_.front());
      queue_.pop_front();
      return Next::kMessage;
    }
    *status = status_;
    return is_closed_ ? Next::kEnd : Next::kNothing;
  }

  // A message of that size has been written.
  void Written(std::size_t size) {
    const std::lock_guard<std::mutex> lock(mutex_);
    used_ -= size + kMessageOverhead;
    if (HasRoom()) changed_.notify_all();
  }

  bool IsFull() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return used_ >= room_;
  }

  // The callback of WhenRoom, if its time has come; else an empty one. With it,
  // whether there is room.
  std::function<void()> TakeCallback(bool* has_room) {
    std::function<void()> callback;
    const std::lock_guard<std::mutex> lock(mutex_);
    *has_room = HasRoom();
    if (is_closed_ || *has_room) callback.swap(when_room_);
    return callback;
  }

  // The session is over: nothing is held any more, and nothing posted.
  void Detach(const Status& status) {
    std::deque<std::string> unsent;
    const std::lock_guard<std::mutex> lock(mutex_);
    CloseDirection(status);
    is_detached_ = true;
    unsent.swap(queue_);
  }

 private:
  // What a message takes beside its bytes, at least: without it empty messages
  // would be without bound.
  static constexpr std::size_t kMessageOverhead = 64;

  // The mutex is held by whoever calls these.
  bool HasRoom() const { return used_ <= room_ / 2; }
  void CloseDirection(const Status& status) {
    if (is_closed_) return;
    is_closed_ = true;
    status_ = status;
    changed_.notify_all();
    Wake();
  }
  void CloseCall(const Status& status) {
    if (ends_call_) return;
    ends_call_ = true;
    call_status_ = status;
    CloseDirection(status);
    Wake();
  }
  void Wake() {
    if (is_woken_ || is_detached_) return;
    is_woken_ = true;
    wake_();
  }

  const std::size_t message_limit_;
  const std::size_t room_;
  const std::function<void()> wake_;
  Clock::time_point deadline_ = After(std::chrono::milliseconds::max());

  mutable std::mutex mutex_;  // of all that follows
  std::condition_variable changed_;
  std::deque<std::string> queue_;
  std::size_t used_ = 0;  // with the message that is being written
  bool is_closed_ = false;
  Status status_;
  bool ends_call_ = false;
  Status call_status_;
  bool is_woken_ = false;
  bool is_detached_ = false;
  std::function<void()> when_room_;
};

}  // namespace websocket
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_OUTBOX_H_
