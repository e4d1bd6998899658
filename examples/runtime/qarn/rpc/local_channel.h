// Part of the example runtime (see qarn/rpc.h): a channel to a server in the
// same process.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_LOCAL_CHANNEL_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_LOCAL_CHANNEL_H_

#include <deque>
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
  // `other` is the other direction of the call, if Cancel shall end it, too.
  LocalSender(ByteObserverPtr receiver, const std::weak_ptr<ByteSender>& other)
      : other_(other),
        closed_(false),
        delivering_(false),
        receiver_(std::move(receiver)) {}

  bool Send(const std::string& bytes) override {
    std::unique_lock<std::mutex> lock(mutex_);
    if (closed_) return false;
    pending_.push_back(bytes);
    Deliver(&lock);
    return true;
  }

  void Close(const Status& status) override {
    std::unique_lock<std::mutex> lock(mutex_);
    if (closed_) return;
    closed_ = true;
    status_ = status;
    Deliver(&lock);
  }

  void Cancel() override {
    const Status status(StatusCode::kCancelled, "the call was cancelled");
    Close(status);
    if (const ByteSenderPtr other = other_.lock()) other->Close(status);
  }

  bool closed() const override {
    const std::lock_guard<std::mutex> lock(mutex_);
    return closed_;
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
      receiver_->OnMessage(bytes);
      lock->lock();
    }
    if (closed_) {
      // The receiver goes with its end, even if the handle is kept. Nothing is
      // sent any more, so `delivering_` may stay.
      const ByteObserverPtr receiver = std::move(receiver_);
      lock->unlock();
      receiver->OnEnd(status_);
      return;
    }
    delivering_ = false;
  }

  const std::weak_ptr<ByteSender> other_;
  mutable std::mutex mutex_;  // of what follows; not held while observers run
  bool closed_;
  bool delivering_;
  Status status_;
  std::deque<std::string> pending_;
  ByteObserverPtr receiver_;
};

// A server and the way to it in one object. A message is delivered before Send
// returns, so nothing has to wait and nothing bounds what waits for an observer
// that is called already.
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
    const std::shared_ptr<LocalSender> answers = std::make_shared<LocalSender>(
        std::move(responses), std::weak_ptr<ByteSender>());
    ByteObserverPtr requests = target->Start(context, answers);
    return std::make_shared<LocalSender>(std::move(requests), answers);
  }

 private:
  ServiceTable services_;
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_LOCAL_CHANNEL_H_
