// Part of the example runtime (see qarn/rpc/websocket.h): one call, on the
// connection that it has for itself. Only websocket.cc includes it.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_SESSION_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_SESSION_H_

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "qarn/rpc/call.h"
#include "qarn/rpc/status.h"
#include "qarn/rpc/websocket.h"
#include "qarn/rpc/websocket/boost.h"
#include "qarn/rpc/websocket/outbox.h"
#include "qarn/rpc/websocket/wire.h"

namespace qarn::rpc::websocket {

// Runs on its loop's thread, but for what makes it. It lives for as long as
// something waits there for its connection or its timers.
class Session : public std::enable_shared_from_this<Session> {
 public:
  using Pointer = std::shared_ptr<Session>;

  // `on_done` sees the session's end, after its observer has.
  Session(tcp::socket socket, const Limits& limits,
          std::function<void(const Pointer&)> on_done)
      : limits_(limits),
        on_done_(std::move(on_done)),
        outbox_(std::make_shared<Outbox>(limits, [this] { PostWake(); })),
        deadline_timer_(socket.get_executor()),
        drop_timer_(socket.get_executor()),
        stream_(std::in_place, std::move(socket)) {}
  // Its handle may stay, and wakes nobody any more.
  ~Session() { outbox_->Detach(Status(StatusCode::kConnectionLost, "")); }

  const std::shared_ptr<Outbox>& outbox() const { return outbox_; }

  // Once. What comes from the other side goes to it. A null one ends the call.
  void SetObserver(ByteObserverPtr observer) {
    observer_ = std::move(observer);
    if (!observer_) End(Status(StatusCode::kFailed, "the handler threw"));
  }

  // Of a server: `start` sets the observer of the call that a request begins,
  // or ends the call.
  void Accept(std::function<void(const Request&, Session*)> start) {
    AskWhetherThere(limits_, &stream_->next_layer());
    DropAfter(limits_.upgrade);
    parser_.header_limit(limits_.headers);
    http::async_read_header(
        stream_->next_layer(), in_, parser_,
        [this, self = shared_from_this(), start](Error error,
                                                 std::size_t size) {
          // Nothing may come ahead of our answer.
          if (error || is_done_ || size > limits_.headers || in_.size() > 0) {
            return Lose(error);
          }
          stream_->async_accept(parser_.get(), [this, self, start](Error e) {
            Open(e);
            if (!is_done_) start(parser_.get(), this);
          });
        });
  }

  // Of a client: connects, and asks for the call. `fill` adds to the request.
  void Connect(const tcp::resolver::results_type& addresses,
               const std::string& host, const std::string& target,
               std::function<void(Request&)> fill) {
    is_client_ = true;
    stream_->set_option(stream_base::decorator(std::move(fill)));
    net::async_connect(stream_->next_layer(), addresses,
                       [this, self = shared_from_this(), host, target](
                           Error error, const tcp::endpoint&) {
                         if (error || is_done_) return Lose(error);
                         AskWhetherThere(limits_, &stream_->next_layer());
                         stream_->async_handshake(
                             host, target,
                             bind_front_handler(&Session::Open, self));
                       });
  }

  // From then on the call ends with kDeadlinePassed.
  void EndAt(Clock::time_point deadline) {
    deadline_timer_.expires_at(deadline);
    deadline_timer_.async_wait([this, self = shared_from_this()](Error error) {
      if (!error) End({StatusCode::kDeadlinePassed, "the deadline passed"});
    });
  }

  // Ends the call in both directions, as far as they have not ended. What was
  // sent before leaves, if the other side reads it within a second.
  void End(const Status& status) {
    if (is_done_ || is_ending_) return;
    if (!is_open_) return Done(status);
    is_ending_ = true;
    DropAfter(std::chrono::seconds(1));
    outbox_->Close(status);
    DeliverEnd(status);
    WriteNext();
  }

 private:
  // Ends what was begun, unless that is done in time.
  void DropAfter(std::chrono::milliseconds wait) {
    drop_timer_.expires_at(After(wait));
    drop_timer_.async_wait([this, self = shared_from_this()](Error error) {
      if (!error) Lose(net::error::timed_out);
    });
  }

  // Ends the call when the other side has vanished; also when it has closed, or
  // broken the rules, and does not go: for that Beast waits without end.
  void Watch() {
    drop_timer_.expires_at(After(std::min<std::chrono::milliseconds>(
        limits_.upgrade, std::chrono::seconds(limits_.ping_seconds))));
    drop_timer_.async_wait([this, self = shared_from_this()](Error error) {
      const bool has_ended = is_out_ended_ && !is_writing_ && !observer_;
      if (error || has_ended || is_ending_ || is_done_) return;
      const bool is_there = !HasVanished(limits_, &stream_->next_layer());
      if (is_there && stream_->is_open()) return Watch();
      Lose(net::error::timed_out);
    });
  }

  void Open(Error error) {
    if (error || is_done_) return Lose(error);
    is_open_ = true;
    Watch();
    // Beast's own limit would close the connection without an answer.
    in_.max_size(std::max<std::size_t>(limits_.message, kLongestEnd) + kPiece);
    stream_->read_message_max(0);
    stream_->auto_fragment(false);
    GoOn();
  }

  // A client always reads, so that the two never wait for each other.
  void ReadNext() {
    const bool waits = !is_client_ && !is_ending_ && !outbox_->HasRoom();
    if (!is_open_ || is_reading_ || is_closing_ || is_done_ || waits) return;
    is_reading_ = true;
    // By pieces: to read a whole message fails an assertion of Beast's (Boost
    // 1.74) when a close, begun meanwhile, has read on in its place.
    stream_->async_read_some(
        in_, kPiece, bind_front_handler(&Session::OnRead, shared_from_this()));
  }

  void OnRead(Error error, std::size_t) {
    is_reading_ = false;
    if (is_done_ || (is_closing_ && !error)) return;
    if (error) return Lose(error);
    // The text of an end has a limit of its own.
    const auto limit = stream_->got_text() ? kLongestEnd : limits_.message;
    if (!is_ending_ && in_.size() > limit) {
      End(Status(StatusCode::kTooLarge, "a message is above the limit"));
    }
    if (is_ending_) {
      in_.clear();
    } else if (stream_->is_message_done()) {
      const std::string bytes = boost::beast::buffers_to_string(in_.data());
      in_.clear();
      if (in_.capacity() > kPiece) in_.shrink_to_fit();
      const Status status = Take(bytes);
      if (!status.ok()) End(status);
    }
    GoOn();
  }

  // Hands a message on. If the result is not ok, the call ends with it.
  Status Take(const std::string& bytes) {
    const StatusCode bad = StatusCode::kBadMessage;
    if (!observer_) return Status(bad, "a message came after the end");
    if (stream_->got_binary()) return observer_->OnMessage(bytes);
    const std::optional<Status> end = ParseEnd(bytes);
    if (!end) return Status(bad, "a text came that is no end");
    DeliverEnd(*end);
    return Status();
  }

  // The outbox has changed. Its lock is held, also against our destructor.
  void PostWake() {
    net::post(deadline_timer_.get_executor(), [weak = weak_from_this()] {
      if (const Pointer self = weak.lock()) self->OnWake();
    });
  }

  void OnWake() {
    const std::optional<Status> end = outbox_->Look();
    if (end) End(*end);
    GoOn();
  }

  // With what there is room for.
  void GoOn() {
    // It may hold the last handle, which goes after what is thrown was said.
    const Outbox::Callback callback = outbox_->TakeCallback();
    try {
      if (callback) callback();
    } catch (...) {
      End(ReportException());
    }
    ReadNext();
    WriteNext();
  }

  void WriteNext() {
    if (!is_open_ || is_writing_ || is_closing_ || is_done_) return;
    if (is_out_ended_) return CloseIfEnded();
    std::optional<Status> end;
    const std::optional<std::string> message = outbox_->TakeMessage(&end);
    if (!message && !end) return;
    is_out_ended_ = end.has_value();
    out_ = end ? FormatEnd(*end) : *message;
    stream_->text(is_out_ended_);
    is_writing_ = true;
    stream_->async_write(
        net::buffer(out_),
        bind_front_handler(&Session::OnWritten, shared_from_this()));
  }

  void OnWritten(Error error, std::size_t) {
    if (is_done_) return;
    if (error && !is_reading_) return Lose(error);
    if (error) return;  // what the other side said last is still to be read
    is_writing_ = false;
    if (!is_out_ended_) outbox_->Written(out_.size());
    if (out_.capacity() > kPiece) std::string().swap(out_);
    GoOn();
  }

  // When both directions have ended, the server closes the connection. What was
  // written arrives also if the socket is closed before it was read.
  void CloseIfEnded() {
    if (!is_ending_ && observer_) return;
    if (!is_ending_) DropAfter(limits_.upgrade);
    if (!is_ending_ && is_client_) return;
    is_closing_ = true;
    stream_->async_close(
        close_code::normal,
        bind_front_handler(&Session::Lose, shared_from_this()));
  }

  // The observer goes with its end.
  void DeliverEnd(const Status& status) {
    const ByteObserverPtr observer = std::move(observer_);
    if (!observer) return;
    const Status result = observer->OnEnd(status);
    if (!result.ok()) outbox_->Close(result);
  }

  void Lose(Error error) {
    Done(Status(StatusCode::kConnectionLost,
                "there is no connection: " + error.message()));
  }

  void Done(const Status& status) {
    if (is_done_) return;
    is_done_ = true;
    Error ignored;
    stream_->next_layer().close(ignored);
    // With the stream goes what waits inside it: a read and a close can wait
    // for each other. What still runs has a weak pointer to the stream's state.
    net::post(stream_->get_executor(),
              [this, self = shared_from_this()] { stream_.reset(); });
    deadline_timer_.cancel();
    drop_timer_.cancel();
    outbox_->Detach(status);
    DeliverEnd(status);
    GoOn();
    on_done_(shared_from_this());
  }

  // What is read at once. A longer buffer is given back after each message.
  static constexpr std::size_t kPiece = 16 << 10;

  const Limits limits_;
  const std::function<void(const Pointer&)> on_done_;
  const std::shared_ptr<Outbox> outbox_;
  ByteObserverPtr observer_;  // until the other side's end
  boost::beast::flat_buffer in_;
  std::string out_;  // is being written
  http::request_parser<http::empty_body> parser_;
  net::steady_timer deadline_timer_;
  net::steady_timer drop_timer_;
  std::optional<boost::beast::websocket::stream<tcp::socket, false>> stream_;
  bool is_client_ = false;
  bool is_open_ = false;  // the upgrade is done
  bool is_reading_ = false;
  bool is_writing_ = false;
  bool is_out_ended_ = false;  // our end was written, or is being written
  bool is_ending_ = false;     // End was called
  bool is_closing_ = false;    // we have begun to close
  bool is_done_ = false;
};

}  // namespace qarn::rpc::websocket

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_SESSION_H_
