// Part of the example runtime (see qarn/rpc/websocket.h): one call, on the
// connection that it has for itself. It includes Boost.Beast, which takes
// seconds to compile, so websocket.cc alone includes it.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_SESSION_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_SESSION_H_

#include <algorithm>
#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "qarn/rpc/call.h"
#include "qarn/rpc/status.h"
#include "qarn/rpc/websocket.h"
#include "qarn/rpc/websocket/outbox.h"
#include "qarn/rpc/websocket/wire.h"

namespace qarn {
namespace rpc {
namespace websocket {

namespace net = boost::asio;
namespace beast = boost::beast;
using tcp = net::ip::tcp;
using Error = boost::system::error_code;
using Request = beast::http::request<beast::http::empty_body>;

// Runs on its loop's thread, but for Make and outbox(). It lives for as long as
// something waits there for its connection or its timers.
class Session : public std::enable_shared_from_this<Session> {
 public:
  using Pointer = std::shared_ptr<Session>;
  // What sees the session's end, after its observer has.
  using OnDone = std::function<void(const Pointer&)>;
  // Makes the observer of the call that a request begins, or says in the status
  // why there is none.
  using Starter =
      std::function<ByteObserverPtr(const Request&, Session*, Status*)>;

  static Pointer Make(net::io_context* io, tcp::socket socket,
                      const Limits& limits, OnDone on_done) {
    const Pointer session(
        new Session(io, std::move(socket), limits, std::move(on_done)));
    const std::weak_ptr<Session> weak = session;
    session->outbox_ = std::make_shared<Outbox>(limits, [io, weak] {
      net::post(*io, [weak] {
        if (const Pointer self = weak.lock()) self->OnWake();
      });
    });
    return session;
  }

  const std::shared_ptr<Outbox>& outbox() const { return outbox_; }

  // From then on the call ends with kDeadlinePassed.
  void EndAt(Clock::time_point deadline) {
    deadline_timer_.expires_at(deadline);
    deadline_timer_.async_wait([self = shared_from_this()](Error error) {
      if (error) return;
      self->End(Status(StatusCode::kDeadlinePassed, "the deadline passed"));
    });
  }

  // Of a server: reads the request of the upgrade, and starts the call.
  void Accept(Starter starter) {
    Prepare();
    DropAfter(limits_.upgrade);
    parser_.emplace();
    parser_->header_limit(static_cast<std::uint32_t>(
        std::min<std::size_t>(limits_.headers, UINT32_MAX)));
    beast::http::async_read_header(
        stream_.next_layer(), in_, *parser_,
        [self = shared_from_this(), starter](Error error, std::size_t) {
          // Nothing may come ahead of our answer.
          if (error || self->in_.size() > 0) return self->Lose(error);
          self->stream_.async_accept(
              self->parser_->get(),
              [self, starter](Error e) { self->OnAccepted(e, starter); });
        });
  }

  // Of a client: connects, and asks for the call. `fill` adds to the request.
  void Connect(const std::string& host, unsigned short port,
               const std::string& target, std::function<void(Request&)> fill,
               ByteObserverPtr responses) {
    is_client_ = true;
    observer_ = std::move(responses);
    DropAfter(limits_.ping * (1 + limits_.unanswered_pings));
    const std::string service = std::to_string(port);
    const auto connect = [self = shared_from_this(), host, service, target,
                          fill](Error error, const Addresses& addresses) {
      if (error || self->is_done_) return self->Lose(error);
      net::async_connect(
          self->stream_.next_layer(), addresses,
          [self, host, service, target, fill](Error e, const tcp::endpoint&) {
            if (e || self->is_done_) return self->Lose(e);
            self->Prepare();
            self->stream_.set_option(
                beast::websocket::stream_base::decorator(fill));
            self->stream_.async_handshake(
                host + ":" + service, target, [self](Error handshake_error) {
                  if (handshake_error) return self->Lose(handshake_error);
                  self->Open();
                });
          });
    };
    Error no_address;
    const auto address = net::ip::make_address(host, no_address);
    if (!no_address) {
      return connect(Error(), Addresses::create(tcp::endpoint(address, port),
                                                host, service));
    }
    try {
      resolver_.async_resolve(host, service, connect);
    } catch (const boost::system::system_error& error) {
      Lose(error.code());  // there is no thread for the one that looks names up
    }
  }

  // Ends the call in both directions, as far as they have not ended. What was
  // sent before leaves, if the other side reads it within a second.
  void End(const Status& status) {
    if (is_done_ || is_ending_) return;
    outbox_->Close(status);
    if (!is_open_) return Done(status);
    is_ending_ = true;
    DropAfter(std::chrono::seconds(1));
    DeliverEnd(status);
    WriteNext();
  }

 private:
  using Addresses = tcp::resolver::results_type;

  Session(net::io_context* io, tcp::socket socket, const Limits& limits,
          OnDone on_done)
      : limits_(limits),
        on_done_(std::move(on_done)),
        in_(std::max(limits.message, limits.headers) + 1),
        stream_(std::move(socket)),
        resolver_(*io),
        deadline_timer_(*io),
        drop_timer_(*io) {}

  // Ends what was begun, unless that is done in time.
  void DropAfter(std::chrono::milliseconds wait) {
    drop_timer_.expires_at(After(wait));
    drop_timer_.async_wait([self = shared_from_this()](Error error) {
      if (!error) self->Lose(net::error::timed_out);
    });
  }

  // What holds for a connection from its beginning.
  void Prepare() {
    Error ignored;
    tcp::socket& socket = stream_.next_layer();
    socket.set_option(tcp::no_delay(true), ignored);
    socket.set_option(net::socket_base::keep_alive(true), ignored);
#ifdef TCP_KEEPIDLE
    using net::detail::socket_option::integer;
    const int ping = static_cast<int>(limits_.ping.count());
    socket.set_option(integer<IPPROTO_TCP, TCP_KEEPIDLE>(ping), ignored);
    socket.set_option(integer<IPPROTO_TCP, TCP_KEEPINTVL>(ping), ignored);
    socket.set_option(
        integer<IPPROTO_TCP, TCP_KEEPCNT>(limits_.unanswered_pings), ignored);
#endif
  }

  void OnAccepted(Error error, const Starter& starter) {
    if (error || is_done_) return Lose(error);
    Status status;
    Open();
    observer_ = starter(parser_->get(), this, &status);
    parser_.reset();
    if (!observer_) End(status);
  }

  void Open() {
    if (is_done_) return;
    is_open_ = true;
    drop_timer_.cancel();
    in_.max_size(limits_.message + 1);
    stream_.read_message_max(0);  // the buffer's size says it, without a close
    stream_.auto_fragment(false);
    SetCloseTimeout(limits_.upgrade);
    Read();
    WriteNext();
  }

  // How long the other side may take to close after it has said that it will.
  void SetCloseTimeout(Clock::duration timeout) {
    stream_.set_option(beast::websocket::stream_base::timeout{
        timeout, beast::websocket::stream_base::none(), false});
  }

  void Read() {
    if (is_done_ || is_closing_) return;
    is_reading_ = true;
    stream_.async_read(in_,
                       [self = shared_from_this()](Error error, std::size_t) {
                         self->is_reading_ = false;
                         self->OnRead(error);
                       });
  }

  void OnRead(Error error) {
    if (is_done_ || (is_closing_ && !error)) return;
    const bool is_too_large =
        error == beast::websocket::error::buffer_overflow ||
        in_.size() > limits_.message;
    if (error && !is_too_large) return Lose(error);
    const std::string bytes =
        is_too_large ? "" : beast::buffers_to_string(in_.data());
    in_.clear();
    if (in_.capacity() > kKeptBuffer) in_.shrink_to_fit();
    if (is_too_large) {
      return End(Status(StatusCode::kTooLarge, "a message is above the limit"));
    }
    if (!is_ending_) OnMessage(bytes);
    // A client always reads, so that the two never wait for each other.
    is_paused_ = !is_client_ && !is_ending_ && outbox_->IsFull();
    if (!is_paused_) Read();
  }

  void OnMessage(const std::string& bytes) {
    if (!observer_) {
      return End(Status(StatusCode::kBadMessage, "a message came after the end"));
    }
    if (!stream_.got_text()) {
      const Status status = observer_->OnMessage(bytes);
      if (!status.ok()) End(status);
      return;
    }
    const std::optional<Status> status = ParseEnd(bytes);
    if (!status) {
      return End(Status(StatusCode::kBadMessage, "the text is no end of a call"));
    }
    DeliverEnd(*status);
    WriteNext();
  }

  // Something has changed in the outbox.
  void OnWake() {
    Status status;
    if (outbox_->EndsCall(&status)) End(status);
    UseRoom();
    WriteNext();
  }

  void UseRoom() {
    bool has_room = false;
    try {
      const std::function<void()> callback = outbox_->TakeCallback(&has_room);
      if (callback) callback();
    } catch (...) {
      End(ReportException());
    }
    if (is_paused_ && (has_room || is_ending_)) {
      is_paused_ = false;
      Read();
    }
  }

  void WriteNext() {
    if (!is_open_ || is_writing_ || is_closing_ || is_done_) return;
    if (is_out_ended_) {
      // When both have ended, the server closes the connection. Its client may
      // still have to read, for which it has all the time of the call.
      if (!is_ending_ && (observer_ || is_client_)) return;
      is_closing_ = true;
      SetCloseTimeout(beast::websocket::stream_base::none());
      return stream_.async_close(
          beast::websocket::close_code::normal,
          [self = shared_from_this()](Error error) { self->Lose(error); });
    }
    Status status;
    const Outbox::Next next = outbox_->Take(&out_, &status);
    if (next == Outbox::Next::kNothing) return;
    is_out_ended_ = next == Outbox::Next::kEnd;
    if (is_out_ended_) out_ = FormatEnd(status);
    stream_.text(is_out_ended_);
    is_writing_ = true;
    stream_.async_write(
        net::buffer(out_),
        [self = shared_from_this()](Error error, std::size_t) {
          self->OnWritten(error);
        });
  }

  void OnWritten(Error error) {
    if (is_done_) return;
    if (error) {
      // What the other side said before it went may still be there to be read.
      if (!is_reading_) Lose(error);
      return;
    }
    is_writing_ = false;
    if (!is_out_ended_) outbox_->Written(out_.size());
    if (out_.capacity() > kKeptBuffer) std::string().swap(out_);
    UseRoom();
    WriteNext();
  }

  // The observer goes with its end.
  void DeliverEnd(const Status& status) {
    const ByteObserverPtr observer = std::move(observer_);
    if (!observer) return;
    const Status result = observer->OnEnd(Status(status));
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
    stream_.next_layer().close(ignored);
    resolver_.cancel();
    deadline_timer_.cancel();
    drop_timer_.cancel();
    outbox_->Detach(status);
    DeliverEnd(status);
    UseRoom();
    on_done_(shared_from_this());
  }

  // A longer buffer is given back after each message.
  static constexpr std::size_t kKeptBuffer = 16 << 10;

  const Limits limits_;
  const OnDone on_done_;
  std::shared_ptr<Outbox> outbox_;  // never null
  ByteObserverPtr observer_;        // until the other side's end
  beast::flat_buffer in_;
  std::string out_;  // is being written
  beast::websocket::stream<tcp::socket, false> stream_;
  std::optional<beast::http::request_parser<beast::http::empty_body>> parser_;
  tcp::resolver resolver_;
  net::steady_timer deadline_timer_;
  net::steady_timer drop_timer_;
  bool is_client_ = false;
  bool is_open_ = false;       // the upgrade is done
  bool is_reading_ = false;
  bool is_paused_ = false;     // does not read until there is room
  bool is_writing_ = false;
  bool is_out_ended_ = false;  // our end was written, or is being written
  bool is_ending_ = false;     // End was called
  bool is_closing_ = false;    // we have begun to close
  bool is_done_ = false;
};

}  // namespace websocket
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_SESSION_H_
