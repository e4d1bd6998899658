// Part of the example runtime (see qarn/rpc.h): a channel to a server in the
// same process.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_LOCAL_CHANNEL_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_LOCAL_CHANNEL_H_

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "qarn/rpc/call.h"
#include "qarn/rpc/channel.h"
#include "qarn/rpc/context.h"
#include "qarn/rpc/method.h"
#include "qarn/rpc/service.h"
#include "qarn/rpc/status.h"

namespace qarn {
namespace rpc {

// Hands the messages of one direction to its observer, in order and one at a
// time: by the thread that sends or, if a delivery is under way, by that one,
// further up the stack or in another thread.
class LocalSender : public ByteSender,
                    public std::enable_shared_from_this<LocalSender> {
 public:
  // Once, before the call is known to others. `other` is the other direction.
  void SetOther(const std::shared_ptr<LocalSender>& other) { other_ = other; }

  // Once: from here on the receiver is called. What was sent before waits for
  // it. A null one means that there will be none: the direction must be closed.
  void Open(ByteObserverPtr receiver) {
    std::unique_lock<std::mutex> lock(mutex_);
    receiver_ = std::move(receiver);
    delivering_ = false;
    Deliver(&lock);
  }

  SendResult Send(const std::string& bytes) override {
    std::unique_lock<std::mutex> lock(mutex_);
    if (closed_) return SendResult::kEnded;
    pending_.push_back(bytes);
    Deliver(&lock);
    return SendResult::kSent;
  }

  void WhenRoom(std::function<void()> callback) override { callback(); }

  void Close(const Status& status) override {
    std::unique_lock<std::mutex> lock(mutex_);
    if (closed_) return;
    closed_ = true;
    status_ = status;
    Deliver(&lock);
  }

  void Cancel() override {
    CloseBoth(Status(StatusCode::kCancelled, "the call was cancelled"));
  }

  bool closed() const override {
    const std::lock_guard<std::mutex> lock(mutex_);
    return closed_;
  }

  void CloseBoth(const Status& status) {
    // Whoever sees the end of one direction may let go of the other.
    const std::shared_ptr<LocalSender> other = other_.lock();
    Close(status);
    if (other) other->Close(status);
  }

 private:
  void Deliver(std::unique_lock<std::mutex>* lock) {
    if (delivering_) return;
    // An observer may drop the last handle that feeds it.
    const std::shared_ptr<LocalSender> self = shared_from_this();
    delivering_ = true;
    while (!pending_.empty()) {
      const std::string bytes = std::move(pending_.front());
      pending_.pop_front();
      lock->unlock();
      const Status result = receiver_ ? receiver_->OnMessage(bytes) : Status();
      if (!result.ok()) CloseBoth(result);
      lock->lock();
      if (!result.ok()) {
        pending_.clear();
        status_ = result;
      }
    }
    if (!closed_) {
      delivering_ = false;
      return;
    }
    // The receiver goes with its end, even if the handle is kept. Nothing is
    // sent any more, so `delivering_` may stay.
    const ByteObserverPtr receiver = std::move(receiver_);
    const Status status = status_;
    lock->unlock();
    const Status result = receiver ? receiver->OnEnd(status) : Status();
    if (!result.ok()) CloseBoth(result);
  }

  std::weak_ptr<LocalSender> other_;
  mutable std::mutex mutex_;  // of what follows; not held while observers run
  bool closed_ = false;
  bool delivering_ = true;  // until Open
  Status status_;
  std::deque<std::string> pending_;
  ByteObserverPtr receiver_;
};

// A server and the way to it in one object. A message, and the end, is
// delivered before Send, Close or the Stub's method returns, so nothing has to
// wait and nothing bounds what waits for an observer that is called already. An
// observer that starts a call in its end does so inside the call that ended.
class LocalChannel : public Channel {
 public:
  // See ServiceTable. The service must outlive the last call.
  bool Register(RpcService* service) { return services_.Register(service); }

  ByteSenderPtr Start(const RpcMethod& method, const ClientContext& context,
                      ByteObserverPtr responses) override {
    Status status;
    RpcServiceMethod* const target =
        services_.Find(method.service(), method.full_name(), &status);
    if (!target) {
      responses->OnEnd(status);
      return ByteSenderPtr();
    }
    const std::shared_ptr<LocalSender> requests =
        std::make_shared<LocalSender>();
    const std::shared_ptr<LocalSender> answers =
        std::make_shared<LocalSender>();
    requests->SetOther(answers);
    answers->SetOther(requests);
    answers->Open(std::move(responses));
    ByteObserverPtr receiver = target->Start(context, answers);
    if (!receiver) requests->Close(Status(StatusCode::kFailed, ""));
    requests->Open(std::move(receiver));
    return requests;
  }

 private:
  ServiceTable services_;
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_LOCAL_CHANNEL_H_
