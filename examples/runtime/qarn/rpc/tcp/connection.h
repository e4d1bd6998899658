// Part of the example runtime (see qarn/rpc/tcp.h): one connection and the
// calls that share it. Client and server have the same class.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_TCP_CONNECTION_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_TCP_CONNECTION_H_

#include <algorithm>
#include <atomic>
#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "qarn/rpc/call.h"
#include "qarn/rpc/context.h"
#include "qarn/rpc/method.h"
#include "qarn/rpc/service.h"
#include "qarn/rpc/status.h"
#include "qarn/rpc/tcp/frame.h"
#include "qarn/rpc/tcp/io_threads.h"

namespace qarn {
namespace rpc {

// What a channel or a server may be told.
struct TcpOptions {
  // No message may be longer. What is sent to the other side must keep to the
  // limit there, or the connection ends.
  std::size_t frame_limit = 4 << 20;
  // A server ends what is above that with kOverloaded.
  std::size_t calls_per_connection = 4096;
  // What may have come over a connection and not been seen by observers. More
  // ends the connection; well-behaved calls need 64 KiB each, or one message.
  std::size_t bytes_per_connection = 256 << 20;
};

namespace tcp {

// How much of a direction of a call may be on its way to its observer. The
// receiver gives credit again for what the observer has seen.
constexpr std::int64_t kWindow = 64 << 10;
// What a message takes of it, so that many empty ones are bounded, too.
inline std::int64_t Cost(std::size_t message) {
  return static_cast<std::int64_t>(message) + 64;
}
// While so much waits for the socket, new messages and calls wait.
constexpr std::size_t kQueueMark = 1 << 20;
// More than that is only there if the other side never reads.
constexpr std::size_t kQueueLimit = 16 << 20;
// What is held back, to be written with more, leaves after that ...
constexpr std::chrono::milliseconds kHoldTime(1);
// ... or when it is so much.
constexpr std::size_t kHoldSize = 16 << 10;

// What the connections of one channel or server share. The options and the
// services stay as they are once there is a connection.
struct Endpoint {
  TcpOptions options;
  ServiceTable services;
  std::atomic<bool> stopping{false};

  void CallStarted() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++calls_;
  }
  void CallFinished() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (--calls_ == 0) idle_.notify_all();
  }
  // Waits until no call runs, but not for longer than `until`.
  void WaitUntilIdle(std::chrono::steady_clock::time_point until) {
    std::unique_lock<std::mutex> lock(mutex_);
    idle_.wait_until(lock, until, [this] { return calls_ == 0; });
  }
  void WaitUntilIdle() {
    std::unique_lock<std::mutex> lock(mutex_);
    idle_.wait(lock, [this] { return calls_ == 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable idle_;
  std::size_t calls_ = 0;
};

class Connection;
typedef std::shared_ptr<Connection> ConnectionPtr;

// One call: the sender of its handle, and what is to come to its observer. All
// of it but `connection` and `number` is guarded by the connection's mutex, and
// changed by the connection.
class Call : public ByteSender, public std::enable_shared_from_this<Call> {
 public:
  Call(ConnectionPtr connection, std::uint32_t number)
      : connection_(std::move(connection)), number_(number) {}

  bool Send(const std::string& bytes) override;
  void Close(const Status& status) override;
  void Cancel() override;
  bool closed() const override;

 private:
  friend class Connection;

  const ConnectionPtr connection_;
  const std::uint32_t number_;

  // What goes out.
  bool sending_ = true;
  std::int64_t credit_ = kWindow;

  // What comes in. The thread that has set `running_` calls the observer, and
  // is the only one that uses `receiver_`.
  bool running_ = false;
  bool peer_ended_ = false;           // it may send nothing any more
  bool ended_ = false;                // `end_` is there; set once
  bool receiving_ = true;             // the observer has not seen the end
  std::atomic<bool> discard_{false};  // the inbox does not matter any more
  bool finished_ = false;
  Status end_;
  std::vector<std::string> inbox_;
  std::int64_t unseen_ = 0;  // cost of what came and has no credit again
  std::int64_t seen_ = 0;    // of it, what the observer has seen
  ByteObserverPtr receiver_;
  RpcServiceMethod* method_ = nullptr;  // at the server, until it has started
  ClientContext context_;
  std::optional<boost::asio::steady_timer> deadline_;  // at the client
};
typedef std::shared_ptr<Call> CallPtr;

// While one lives, what its thread sends is held back, to be written together,
// but for no longer than kHoldTime.
class Gathering {
 public:
  Gathering() { Start(); }
  ~Gathering() { Stop(); }
  Gathering(const Gathering&) = delete;
  Gathering& operator=(const Gathering&) = delete;

  static void Start() { ++held().depth; }
  static void Stop();
  // Takes over the connection's Flush, if this thread gathers.
  static bool Take(Connection* connection);

 private:
  struct Held {
    int depth = 0;
    std::vector<ConnectionPtr> connections;
  };
  static Held& held() {
    static thread_local Held mine;
    return mine;
  }
};

// The mutex guards the connection and its calls. It is not held while handlers
// and observers run, nor while a thread waits. Asio's objects are only touched
// with it, since they are not made for several threads.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  // `own` is the direction of what this side sends.
  Connection(boost::asio::io_context* io, boost::asio::ip::tcp::socket socket,
             Direction own, std::shared_ptr<Endpoint> endpoint)
      : io_(io),
        own_(own),
        endpoint_(std::move(endpoint)),
        reader_(endpoint_->options.frame_limit),
        socket_(std::move(socket)),
        hold_timer_(*io) {}

  // Starts to read. `on_closed` is called once, with no lock held, by whichever
  // thread closes the connection.
  void Open(std::function<void(Connection*)> on_closed) {
    std::unique_lock<std::mutex> lock(mutex_);
    on_closed_ = std::move(on_closed);
    if (closed_) {
      TellClosed(&lock);
      return;
    }
    boost::system::error_code ignored;
    socket_->set_option(boost::asio::ip::tcp::no_delay(true), ignored);
    socket_->set_option(boost::asio::socket_base::keep_alive(true), ignored);
    // The writes depend on it.
    socket_->non_blocking(true, ignored);
    Read();
  }

  // Ends the connection: of all calls, both directions. What waits for the
  // socket is written before, as far as the other side takes it until then.
  void Close(const std::string& why,
             std::chrono::steady_clock::time_point until = {}) {
    std::unique_lock<std::mutex> lock(mutex_);
    FlushLocked();
    closing_ = true;
    writable_.wait_until(lock, until,
                         [this] { return closed_ || queue_.empty(); });
    CloseLocked(why);
    Unlock(&lock);
  }

  // For a client: starts a call.
  ByteSenderPtr Start(const RpcMethod& method, const ClientContext& context,
                      ByteObserverPtr responses) {
    std::unique_lock<std::mutex> lock(mutex_);
    Status refusal(StatusCode::kConnectionLost, why_closed_);
    if (!closed_ && QueueFull()) {
      FlushLocked();
      const IoThreads::Waiting waiting;
      if (waiting.allowed()) {
        writable_.wait(lock, [this] { return closed_ || !QueueFull(); });
        refusal = Status(StatusCode::kConnectionLost, why_closed_);
      } else {
        refusal = Status(StatusCode::kOverloaded, kNoThread);
      }
    }
    if (closed_ || QueueFull() || last_number_ == UINT32_MAX) {
      Unlock(&lock);
      responses->OnEnd(refusal);
      return ByteSenderPtr();
    }
    const CallPtr call =
        std::make_shared<Call>(shared_from_this(), ++last_number_);
    call->receiver_ = std::move(responses);
    calls_.emplace(call->number_, call);
    endpoint_->CallStarted();
    StartPayload start;
    start.timeout = context.timeout();
    start.service = method.service();
    start.method = method.full_name();
    start.label = context.label();
    Append(FrameKind::kStart, StatusCode::kOk, call->number_,
           StartBytes(start));
    if (context.timeout().count() > 0) {
      call->deadline_.emplace(*io_, context.timeout());
      call->deadline_->async_wait(
          [self = shared_from_this(), late = std::weak_ptr<Call>(call)](
              const boost::system::error_code& error) {
            const CallPtr expired = late.lock();
            if (error || !expired) return;
            self->Abort(expired.get(), Status(StatusCode::kDeadlinePassed,
                                              "the client's timeout passed"));
          });
    }
    Unlock(&lock);
    return call;
  }

 private:
  friend class Call;
  friend class Gathering;

  static constexpr const char* kNoThread =
      "no thread is left that could wait in Send";

  // ---------------------------------------------------------------------------
  // What the handles do.

  bool Send(Call* call, const std::string& bytes) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!call->sending_) return false;
    if (bytes.size() > endpoint_->options.frame_limit) {
      EndSending(call, Status(StatusCode::kTooLarge,
                              "a message of " + std::to_string(bytes.size()) +
                                  " bytes is above the limit"));
      Unlock(&lock);
      return false;
    }
    const auto can_go_on = [this, call] {
      return !call->sending_ || (call->credit_ > 0 && !QueueFull());
    };
    if (!can_go_on()) FlushLocked();
    if (!can_go_on()) {
      const IoThreads::Waiting waiting;
      if (waiting.allowed()) {
        writable_.wait(lock, can_go_on);
      } else {
        EndSending(call, Status(StatusCode::kOverloaded, kNoThread));
      }
    }
    const bool may_send = call->sending_;
    if (may_send) {
      call->credit_ -= Cost(bytes.size());
      Append(FrameKind::kMessage, StatusCode::kOk, call->number_, bytes);
    }
    Unlock(&lock);
    return may_send;
  }

  void EndSending(Call* call, const Status& status) {
    call->sending_ = false;
    Append(FrameKind::kEnd, status.code(), call->number_, status.message());
    FinishIfDone(call);
  }

  void Close(Call* call, const Status& status) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!call->sending_) return;
    // The text must fit into a frame, too.
    EndSending(call, Status(status.code(), Shortened(status.message())));
    Unlock(&lock);
  }

  // Ends both directions and says so to the other side.
  void Abort(Call* call, const Status& status) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (call->finished_ || (call->ended_ && !call->sending_)) return;
    Append(FrameKind::kAbort, status.code(), call->number_, status.message());
    call->sending_ = false;
    End(call, status, /*discard=*/true);
    FinishIfDone(call);
    writable_.notify_all();
    Unlock(&lock);
  }

  bool IsClosed(const Call& call) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return !call.sending_;
  }

  std::string Shortened(const std::string& text) const {
    return text.substr(
        0, std::min<std::size_t>(1024, endpoint_->options.frame_limit));
  }

  // ---------------------------------------------------------------------------
  // Writing. The mutex is held.

  bool QueueFull() const { return queue_.size() - written_ >= kQueueMark; }

  void Append(FrameKind kind, StatusCode status, std::uint32_t number,
              std::string_view payload) {
    if (closed_) return;
    Frame frame;
    frame.kind = kind;
    frame.direction = own_;
    frame.status = status;
    frame.call = number;
    frame.payload = payload;
    AppendFrame(frame, &queue_);
    if (queue_.size() - written_ >
        kQueueLimit + endpoint_->options.frame_limit) {
      CloseLocked("the other side does not read");
      return;
    }
    if (blocked_) return;
    if (Gathering::Take(this)) {
      Hold();
    } else if (kind == FrameKind::kMessage && wrote_message_ &&
               queue_.size() - written_ < kHoldSize) {
      // The first message after something was read leaves at once; it may be
      // what the other side waits for. Others may go together.
      Hold();
    } else {
      wrote_message_ = wrote_message_ || kind == FrameKind::kMessage;
      FlushLocked();
    }
  }

  // Has what is in the queue written soon, and helps where a handler keeps
  // other calls waiting.
  void Hold() {
    if (holding_) return;
    holding_ = true;
    hold_timer_->expires_after(kHoldTime);
    hold_timer_->async_wait(
        [self = shared_from_this()](const boost::system::error_code&) {
          std::unique_lock<std::mutex> lock(self->mutex_);
          self->holding_ = false;
          self->wrote_message_ = false;
          self->FlushLocked();
          const BatchPtr batch = self->UnfinishedBatch();
          self->Unlock(&lock);
          if (batch) batch->Work();
        });
  }

  void Flush() {
    std::unique_lock<std::mutex> lock(mutex_);
    FlushLocked();
    Unlock(&lock);
  }

  // Writes what the socket takes now, and the rest when it takes more.
  void FlushLocked() {
    const bool was_full = QueueFull();
    while (!closed_ && !blocked_ && written_ < queue_.size()) {
      boost::system::error_code error;
      written_ +=
          socket_->write_some(boost::asio::buffer(queue_.data() + written_,
                                                  queue_.size() - written_),
                              error);
      if (error == boost::asio::error::would_block ||
          error == boost::asio::error::try_again) {
        blocked_ = true;
        socket_->async_wait(
            boost::asio::ip::tcp::socket::wait_write,
            [self = shared_from_this()](const boost::system::error_code&) {
              std::unique_lock<std::mutex> lock(self->mutex_);
              self->blocked_ = false;
              self->FlushLocked();
              self->Unlock(&lock);
            });
      } else if (error) {
        CloseLocked("the connection broke: " + error.message());
        return;
      }
    }
    if (written_ == queue_.size()) {
      queue_.clear();
      written_ = 0;
      if (queue_.capacity() > kQueueMark) queue_.shrink_to_fit();
    } else if (written_ > kQueueMark) {
      queue_.erase(0, written_);
      written_ = 0;
    }
    if ((was_full && !QueueFull()) || closing_) writable_.notify_all();
  }

  // ---------------------------------------------------------------------------
  // Reading.

  // The mutex is held.
  void Read() {
    char* const room = reader_.room();
    socket_->async_read_some(
        boost::asio::buffer(room, reader_.room_size()),
        [self = shared_from_this()](const boost::system::error_code& error,
                                    std::size_t count) {
          self->OnRead(error, count);
        });
  }

  void OnRead(const boost::system::error_code& error, std::size_t count) {
    BatchPtr batch;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      if (closed_) return;
      if (error) {
        CloseLocked(error == boost::asio::error::eof
                        ? "the other side closed the connection"
                        : "the connection broke: " + error.message());
      } else {
        reader_.Filled(count);
        wrote_message_ = false;
        if (!TakeFrames()) {
          CloseLocked("the other side sent what it may not");
        }
        // From here on another thread may read.
        if (!closed_) Read();
      }
      batch = MakeBatch();
      TellClosed(&lock);
    }
    batch->Work();
  }

  bool TakeFrames() {
    Frame frame;
    for (;;) {
      switch (reader_.Next(&frame)) {
        case FrameReader::Result::kIncomplete:
          return true;
        case FrameReader::Result::kMalformed:
          return false;
        case FrameReader::Result::kFrame:
          if (frame.direction == own_ || !TakeFrame(frame)) return false;
          if (closed_) return true;
      }
    }
  }

  // False if the other side may not send that.
  bool TakeFrame(const Frame& frame) {
    if (frame.kind == FrameKind::kStart) return TakeStart(frame);
    if (frame.call == 0 || frame.call > last_number_) return false;
    const auto found = calls_.find(frame.call);
    // It has ended here, which the other side could not know.
    if (found == calls_.end()) return true;
    // What follows may finish the call.
    const CallPtr call = found->second;
    switch (frame.kind) {
      case FrameKind::kMessage: {
        if (call->peer_ended_ || call->unseen_ >= kWindow) return false;
        if (call->ended_) return true;
        call->unseen_ += Cost(frame.payload.size());
        unseen_ += Cost(frame.payload.size());
        if (unseen_ > static_cast<std::int64_t>(
                          endpoint_->options.bytes_per_connection)) {
          return false;
        }
        call->inbox_.emplace_back(frame.payload);
        Schedule(call);
        return true;
      }
      case FrameKind::kEnd:
        if (call->peer_ended_) return false;
        call->peer_ended_ = true;
        End(call.get(), Status(frame.status, std::string(frame.payload)),
            /*discard=*/false);
        return true;
      case FrameKind::kAbort:
        call->peer_ended_ = true;
        call->sending_ = false;
        End(call.get(), Status(frame.status, std::string(frame.payload)),
            /*discard=*/true);
        FinishIfDone(call.get());
        writable_.notify_all();
        return true;
      case FrameKind::kCredit: {
        if (frame.payload.size() != 4) return false;
        call->credit_ += ReadNumber(frame.payload.data());
        writable_.notify_all();
        return call->credit_ <= kWindow;
      }
      case FrameKind::kStart:
        break;
    }
    return false;
  }

  bool TakeStart(const Frame& frame) {
    StartPayload start;
    if (own_ == Direction::kToServer || frame.call <= last_number_ ||
        !ParseStart(frame.payload, &start)) {
      return false;
    }
    last_number_ = frame.call;
    Status status;
    RpcServiceMethod* method = nullptr;
    if (endpoint_->stopping) {
      status = Status(StatusCode::kStopping, "the server is being stopped");
    } else if (calls_.size() >= endpoint_->options.calls_per_connection) {
      status =
          Status(StatusCode::kOverloaded, "the connection has too many calls");
    } else {
      method = endpoint_->services.Find(std::string(start.service),
                                        std::string(start.method), &status);
    }
    if (!method) {
      Append(FrameKind::kAbort, status.code(), frame.call,
             Shortened(status.message()));
      return true;
    }
    const CallPtr call = std::make_shared<Call>(shared_from_this(), frame.call);
    call->method_ = method;
    call->context_ = ClientContext(std::string(start.label), start.timeout);
    calls_.emplace(frame.call, call);
    endpoint_->CallStarted();
    Schedule(call);
    return true;
  }

  // ---------------------------------------------------------------------------
  // Calls. The mutex is held, but in Run.

  // Sets how the incoming direction ends, if that is not known yet.
  void End(Call* call, const Status& status, bool discard) {
    if (call->ended_) return;
    call->ended_ = true;
    call->end_ = status;
    call->discard_ = discard;
    if (call->deadline_) call->deadline_->cancel();
    Schedule(call->shared_from_this());
  }

  void Schedule(const CallPtr& call) {
    if (call->running_) return;  // the thread there sees what is new
    call->running_ = true;
    ready_.push_back(call);
  }

  void FinishIfDone(Call* call) {
    if (call->sending_ || call->receiving_ || call->running_ ||
        call->finished_) {
      return;
    }
    call->finished_ = true;
    call->deadline_.reset();
    endpoint_->CallFinished();
    calls_.erase(call->number_);
  }

  void CloseLocked(const std::string& why) {
    if (closed_) return;
    closed_ = true;
    why_closed_ = why;
    boost::system::error_code ignored;
    socket_->close(ignored);
    // Handles may outlive the threads; nothing of Asio may.
    socket_.reset();
    hold_timer_.reset();
    queue_ = std::string();
    written_ = 0;
    std::unordered_map<std::uint32_t, CallPtr> calls = calls_;
    for (const auto& entry : calls) {
      entry.second->sending_ = false;
      End(entry.second.get(), Status(StatusCode::kConnectionLost, why),
          /*discard=*/false);
      entry.second->deadline_.reset();
      FinishIfDone(entry.second.get());
    }
    writable_.notify_all();
  }

  // Ends a stretch of work under the mutex: what became ready is run by the
  // pool, since this may be a thread of the user's.
  void Unlock(std::unique_lock<std::mutex>* lock) {
    for (CallPtr& call : ready_) {
      boost::asio::post(*io_, [ready = std::move(call)] {
        const Gathering gathering;
        ready->connection_->Run(ready);
      });
    }
    ready_.clear();
    TellClosed(lock);
  }

  // Unlocks.
  void TellClosed(std::unique_lock<std::mutex>* lock) {
    std::function<void(Connection*)> on_closed;
    if (closed_) on_closed.swap(on_closed_);
    lock->unlock();
    if (on_closed) on_closed(this);
  }

  // Calls whose frames arrived together. The thread that read them runs them
  // one after the other, which is fastest as long as their handlers are quick.
  // When one is not, another thread takes those that are left.
  struct Batch {
    explicit Batch(std::vector<CallPtr> all) : calls(std::move(all)) {}
    void Work() {
      const Gathering gathering;
      for (std::size_t i = next++; i < calls.size(); i = next++) {
        const CallPtr call = std::move(calls[i]);
        call->connection_->Run(call);
      }
    }

    std::vector<CallPtr> calls;
    std::atomic<std::size_t> next{0};
  };
  typedef std::shared_ptr<Batch> BatchPtr;

  // Makes a batch of what is ready, and sees to it that it gets help.
  BatchPtr MakeBatch() {
    const BatchPtr batch = std::make_shared<Batch>(std::move(ready_));
    ready_.clear();
    if (batch->calls.size() > 1) {
      batches_.push_back(batch);
      WatchBatches();
    }
    return batch;
  }

  // A batch with calls that no thread has taken, or null.
  BatchPtr UnfinishedBatch() {
    while (!batches_.empty() &&
           batches_.front()->next >= batches_.front()->calls.size()) {
      batches_.pop_front();
    }
    if (batches_.empty()) return BatchPtr();
    WatchBatches();
    return batches_.front();
  }

  void WatchBatches() {
    if (!closed_) {
      Hold();
      return;
    }
    boost::asio::post(*io_, [self = shared_from_this()] {
      std::unique_lock<std::mutex> lock(self->mutex_);
      const BatchPtr batch = self->UnfinishedBatch();
      lock.unlock();
      if (batch) batch->Work();
    });
  }

  // Calls the observer with all that is there. Only for the thread that set
  // `running_`, or to which it was given.
  void Run(const CallPtr& call) {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      if (call->method_) {
        RpcServiceMethod* const method = std::exchange(call->method_, nullptr);
        lock.unlock();
        call->receiver_ = method->Start(call->context_, call);
        lock.lock();
      } else if (!call->inbox_.empty()) {
        std::vector<std::string> inbox;
        inbox.swap(call->inbox_);
        lock.unlock();
        std::int64_t cost = 0;
        for (const std::string& bytes : inbox) {
          cost += Cost(bytes.size());
          if (!call->discard_) call->receiver_->OnMessage(bytes);
        }
        lock.lock();
        unseen_ -= cost;
        GiveCredit(call.get(), cost);
      } else if (call->ended_ && call->receiving_) {
        call->receiving_ = false;
        lock.unlock();
        call->receiver_->OnEnd(call->end_);
        call->receiver_.reset();
        lock.lock();
      } else {
        break;
      }
    }
    call->running_ = false;
    FinishIfDone(call.get());
    Unlock(&lock);
  }

  void GiveCredit(Call* call, std::int64_t cost) {
    call->seen_ += cost;
    if (call->ended_ || call->seen_ < kWindow / 2) return;
    std::string payload;
    AppendNumber(static_cast<std::uint32_t>(call->seen_), &payload);
    call->unseen_ -= std::exchange(call->seen_, 0);
    Append(FrameKind::kCredit, StatusCode::kOk, call->number_, payload);
  }

  boost::asio::io_context* const io_;  // used until the connection is closed
  const Direction own_;
  const std::shared_ptr<Endpoint> endpoint_;

  mutable std::mutex mutex_;          // of all that follows
  std::condition_variable writable_;  // a Send that waits may go on, perhaps
  bool closing_ = false;              // Close waits until all is written
  bool closed_ = false;
  std::string why_closed_;
  std::function<void(Connection*)> on_closed_;
  std::uint32_t last_number_ = 0;  // of the calls that were started
  std::unordered_map<std::uint32_t, CallPtr> calls_;
  std::vector<CallPtr> ready_;    // to be run when the mutex is free
  std::deque<BatchPtr> batches_;  // the oldest first; some may be done
  std::int64_t unseen_ = 0;       // of all calls

  std::string queue_;  // what is to be written, of which ...
  std::size_t written_ = 0;
  bool blocked_ = false;        // until the socket takes more
  bool holding_ = false;        // until the timer says to flush
  bool wrote_message_ = false;  // since something was read

  FrameReader reader_;
  std::optional<boost::asio::ip::tcp::socket> socket_;  // until it is closed
  std::optional<boost::asio::steady_timer> hold_timer_;
};

inline bool Gathering::Take(Connection* connection) {
  Held& mine = held();
  if (mine.depth == 0) return false;
  for (const ConnectionPtr& other : mine.connections) {
    if (other.get() == connection) return true;
  }
  mine.connections.push_back(connection->shared_from_this());
  return true;
}

inline void Gathering::Stop() {
  Held& mine = held();
  if (--mine.depth > 0) return;
  for (const ConnectionPtr& connection : mine.connections) connection->Flush();
  mine.connections.clear();
}

inline bool Call::Send(const std::string& bytes) {
  return connection_->Send(this, bytes);
}
inline void Call::Close(const Status& status) {
  connection_->Close(this, status);
}
inline void Call::Cancel() {
  connection_->Abort(this,
                     Status(StatusCode::kCancelled, "the call was cancelled"));
}
inline bool Call::closed() const { return connection_->IsClosed(*this); }

}  // namespace tcp
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_TCP_CONNECTION_H_
