// Part of the example runtime (see qarn/rpc/websocket.h): what a handle has
// sent and its session has not written yet. It is all that a handle knows of
// the session, so the handle may outlive it, and the loop.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_OUTBOX_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_OUTBOX_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "qarn/rpc/call.h"
#include "qarn/rpc/status.h"
#include "qarn/rpc/websocket.h"

namespace qarn::rpc::websocket {

// Whether the calling thread is a loop's.
inline thread_local bool on_loop_thread = false;

class Outbox : public ByteSender {
 public:
  using Callback = std::function<void()>;

  // `wake` makes the session look here, later. It is called with a lock held,
  // from any thread, and not after Detach.
  Outbox(const Limits& limits, Callback wake)
      : limits_(limits), wake_(std::move(wake)) {}

  // Of ByteSender, for any thread.

  SendResult Send(const std::string& bytes) override {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!on_loop_thread) {
      changed_.wait(lock, [this] { return end_ || !IsFull(); });
    }
    if (end_) return SendResult::kEnded;
    const std::uint64_t used = used_ + bytes.size() + kMessageOverhead;
    if (bytes.size() > limits_.message) {
      EndCall(Status(StatusCode::kTooLarge,
                     "the sender's message is above its limit"));
    } else if (IsFull() && used > 2 * std::uint64_t{limits_.room}) {
      EndCall(Status(StatusCode::kOverloaded,
                     "the sender went on though it had no room"));
    }
    if (end_) return SendResult::kEnded;
    used_ = used;
    queue_.push_back(bytes);
    Wake();
    return IsFull() && on_loop_thread ? SendResult::kFull : SendResult::kSent;
  }

  void WhenRoom(Callback callback) override {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (wake_) {
        callback.swap(when_room_);  // what was there goes after the lock
        return Wake();
      }
    }
    callback();
  }

  void Close(const Status& status) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    CloseLocked(status);
  }

  void Cancel() override {
    const std::lock_guard<std::mutex> lock(mutex_);
    EndCall(Status(StatusCode::kCancelled, "the call was cancelled"));
  }

  bool closed() const override {
    const std::lock_guard<std::mutex> lock(mutex_);
    return end_.has_value();
  }

  // For the session.

  // What it is woken for: how the whole call shall end, if it shall.
  std::optional<Status> Look() {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_woken_ = false;
    return call_end_;
  }

  // What to write next: a message, or how the direction ends, or nothing.
  std::optional<std::string> TakeMessage(std::optional<Status>* end) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (queue_.empty()) {
      *end = end_;
      return std::nullopt;
    }
    std::string message = std::move(queue_.front());
    queue_.pop_front();
    return message;
  }

  // A message of that size has been written.
  void Written(std::size_t size) {
    const std::lock_guard<std::mutex> lock(mutex_);
    used_ -= size + kMessageOverhead;
    if (HasRoom()) changed_.notify_all();
  }

  // Whether it holds half of what it may at most.
  bool HasRoom() const { return used_ <= limits_.room / 2; }

  // The callback of WhenRoom if its time has come, else an empty one.
  Callback TakeCallback() {
    Callback callback;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (end_ || HasRoom()) callback.swap(when_room_);
    return callback;
  }

  // The session is over: nothing is held any more.
  void Detach(const Status& status) {
    const std::lock_guard<std::mutex> lock(mutex_);
    CloseLocked(status);
    wake_ = nullptr;
    std::deque<std::string>().swap(queue_);
  }

 private:
  // What a message takes beside its bytes, at least. Without it empty messages
  // would be without bound.
  static constexpr std::size_t kMessageOverhead = 64;

  bool IsFull() const { return used_ > limits_.room; }

  // The mutex is held by whoever calls these.
  void CloseLocked(const Status& status) {
    if (end_) return;
    end_ = status;
    changed_.notify_all();
    Wake();
  }
  void EndCall(const Status& status) {
    if (!call_end_) call_end_ = status;
    CloseLocked(status);
    Wake();
  }
  void Wake() {
    if (wake_ && !std::exchange(is_woken_, true)) wake_();
  }

  const Limits limits_;

  // With the message that is being written. It changes under the mutex.
  std::atomic<std::uint64_t> used_{0};
  mutable std::mutex mutex_;  // of all that follows
  std::condition_variable changed_;
  std::deque<std::string> queue_;
  std::optional<Status> end_;  // how this direction ends
  std::optional<Status> call_end_;
  Callback when_room_;
  Callback wake_;  // until Detach
  bool is_woken_ = false;
};

}  // namespace qarn::rpc::websocket

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_OUTBOX_H_
