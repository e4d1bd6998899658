// The one source file of the example runtime: Loop, WebSocketServer and
// WebSocketChannel. Compile it once in each program that uses them.
#include "qarn/rpc/websocket.h"

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "qarn/rpc/call.h"
#include "qarn/rpc/context.h"
#include "qarn/rpc/method.h"
#include "qarn/rpc/status.h"
#include "qarn/rpc/websocket/outbox.h"
#include "qarn/rpc/websocket/session.h"
#include "qarn/rpc/websocket/wire.h"

namespace qarn {
namespace rpc {

namespace net = boost::asio;
using websocket::Clock;
using websocket::Error;
using websocket::Session;
using websocket::tcp;

class Loop::Impl {
 public:
  Impl()
      : work_(net::make_work_guard(io_)), thread_([this] {
          websocket::on_loop_thread = true;
          io_.run();
        }) {}
  ~Impl() {
    work_.reset();
    thread_.join();
  }

  net::io_context* io() { return &io_; }

 private:
  net::io_context io_{1};
  net::executor_work_guard<net::io_context::executor_type> work_;
  std::thread thread_;
};

Loop::Loop() : impl_(new Impl) {}
Loop::~Loop() = default;

namespace {

// Limits that the code can count with.
Limits Checked(Limits limits) {
  constexpr std::size_t kLargest = std::size_t{1} << 40;
  limits.message = std::clamp<std::size_t>(limits.message, 1, kLargest);
  limits.headers = std::clamp<std::size_t>(limits.headers, 1, kLargest);
  limits.room = std::max<std::size_t>(limits.room, 1);
  limits.upgrade = std::clamp<std::chrono::milliseconds>(
      limits.upgrade, std::chrono::hours(0), std::chrono::hours(24));
  limits.ping = std::clamp<std::chrono::seconds>(
      limits.ping, std::chrono::seconds(1), std::chrono::hours(9));
  limits.unanswered_pings = std::clamp(limits.unanswered_pings, 1, 100);
  return limits;
}

// The calls of a server or a channel. On the loop, but for Wait.
class Sessions : public std::enable_shared_from_this<Sessions> {
 public:
  Sessions(net::io_context* io, const Limits& limits)
      : io_(io), limits_(Checked(limits)) {}
  virtual ~Sessions() = default;

  template <class Function>
  void Post(Function function) {
    net::post(*io_, std::move(function));
  }

  Session::Pointer Make(tcp::socket socket) {
    return Session::Make(
        io_, std::move(socket), limits_,
        [self = shared_from_this()](const Session::Pointer& session) {
          self->sessions_.erase(session);
          self->OnErase();
          self->NoteEmpty();
        });
  }
  void Add(const Session::Pointer& session) { sessions_.insert(session); }

  // No more are added.
  void Shut() {
    is_shut_ = true;
    NoteEmpty();
  }
  void EndAll(const Status& status) {
    const std::set<Session::Pointer> sessions = sessions_;
    for (const Session::Pointer& session : sessions) session->End(status);
  }
  // Returns when it is shut and the last session has gone.
  void Wait() {
    if (websocket::on_loop_thread) return;
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return is_empty_; });
  }

 protected:
  virtual void OnErase() {}

  net::io_context* const io_;
  const Limits limits_;
  std::set<Session::Pointer> sessions_;
  bool is_shut_ = false;

 private:
  void NoteEmpty() {
    if (!is_shut_ || !sessions_.empty()) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    is_empty_ = true;
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool is_empty_ = false;
};

}  // namespace

class WebSocketChannel::Impl : public Sessions {
 public:
  Impl(net::io_context* io, const std::string& host, unsigned short port,
       const Limits& limits)
      : Sessions(io, limits), host_(host), port_(port) {}

  // Any thread.
  ByteSenderPtr Start(const RpcMethod& method, const ClientContext& context,
                      ByteObserverPtr responses) {
    Session::Pointer session = Make(tcp::socket(*io_));
    const std::shared_ptr<websocket::Outbox> outbox = session->outbox();
    std::optional<Clock::time_point> deadline;
    if (context.timeout().count() != 0) {
      deadline = websocket::After(context.timeout());
      outbox->SetDeadline(*deadline);
    }
    Post([this, self = shared_from_this(),
                     session = std::move(session),
                     target = std::string("/") + method.full_name(),
                     label = websocket::Escape(context.label()), deadline,
                     responses = std::move(responses)]() mutable {
      Add(session);
      if (deadline) session->EndAt(*deadline);
      const auto fill = [label, deadline](auto& request) {
        request.set(websocket::kLabelHeader, label);
        if (!deadline) return;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            *deadline - Clock::now());
        request.set(websocket::kTimeoutHeader,
                    std::to_string(std::max<std::int64_t>(1, left.count())));
      };
      session->Connect(host_, port_, target, fill, std::move(responses));
      if (target.size() + label.size() + 512 > limits_.headers) {
        session->End(Status(StatusCode::kTooLarge,
                            "the label is above the limit of the headers"));
      }
    });
    return outbox;
  }

 private:
  const std::string host_;
  const unsigned short port_;
};

WebSocketChannel::WebSocketChannel(Loop* loop, const std::string& host,
                                   unsigned short port, const Limits& limits)
    : impl_(std::make_shared<Impl>(loop->impl_->io(), host, port, limits)) {}

WebSocketChannel::~WebSocketChannel() {
  impl_->Post([impl = impl_] {
    impl->Shut();
    impl->EndAll(
        Status(StatusCode::kConnectionLost, "the channel was destroyed"));
  });
  impl_->Wait();
}

ByteSenderPtr WebSocketChannel::Start(const RpcMethod& method,
                                      const ClientContext& context,
                                      ByteObserverPtr responses) {
  return impl_->Start(method, context, std::move(responses));
}

class WebSocketServer::Impl : public Sessions {
 public:
  Impl(net::io_context* io, const Limits& limits)
      : Sessions(io, limits), acceptor_(*io), retry_(*io), patience_(*io) {}

  bool Register(RpcService* service) { return services_.Register(service); }

  bool Listen(const std::string& host, unsigned short port,
              std::string* reason) {
    Error error;
    tcp::resolver resolver(*io_);
    const auto addresses = resolver.resolve(host, std::to_string(port),
                                            tcp::resolver::passive, error);
    tcp::acceptor acceptor(*io_);
    if (!error) {
      const tcp::endpoint address = *addresses.begin();
      acceptor.open(address.protocol(), error);
      if (!error) acceptor.set_option(tcp::acceptor::reuse_address(true), error);
      if (!error) acceptor.bind(address, error);
    }
    if (!error) acceptor.listen(tcp::acceptor::max_listen_connections, error);
    if (!error) port_ = acceptor.local_endpoint(error).port();
    if (error) {
      *reason = "cannot listen on " + host + " port " + std::to_string(port) +
                ": " + error.message();
      return false;
    }
    Post([this, self = shared_from_this(),
          socket = std::make_shared<tcp::acceptor>(std::move(acceptor))] {
      acceptor_ = std::move(*socket);
      Accept();
    });
    return true;
  }

  unsigned short port() const { return port_; }

  // On the loop.
  void Stop(Clock::time_point until) {
    Error ignored;
    acceptor_.close(ignored);
    retry_.cancel();
    Shut();
    patience_.expires_at(until);
    patience_.async_wait([self = shared_from_this()](Error error) {
      if (!error) self->EndAll(StoppingStatus());
    });
  }

 private:
  static Status StoppingStatus() {
    return Status(StatusCode::kStopping, "the server is being stopped");
  }

  void OnErase() override {
    if (is_shut_ && sessions_.empty()) patience_.cancel();
    Accept();
  }

  void Accept() {
    if (is_accepting_ || !acceptor_.is_open() ||
        sessions_.size() >= limits_.connections) {
      return;
    }
    is_accepting_ = true;
    acceptor_.async_accept(
        [this, self = shared_from_this()](Error error, tcp::socket socket) {
          is_accepting_ = false;
          if (!acceptor_.is_open()) return;
          if (!error) {
            const Session::Pointer session = Make(std::move(socket));
            Add(session);
            session->Accept([this, self](const websocket::Request& request,
                                         Session* s, Status* status) {
              return StartCall(request, s, status);
            });
            return Accept();
          }
          // Most likely there is no descriptor left. Those who wait to be
          // accepted go on waiting.
          is_accepting_ = true;
          retry_.expires_after(std::chrono::milliseconds(100));
          retry_.async_wait([this, self](Error) {
            is_accepting_ = false;
            Accept();
          });
        });
  }

  ByteObserverPtr StartCall(const websocket::Request& request, Session* session,
                            Status* status) {
    const auto header = [&request](const char* name) {
      const auto value = request[name];
      return std::string_view(value.data(), value.size());
    };
    const std::string_view timeout_text = header(websocket::kTimeoutHeader);
    const auto label = websocket::Unescape(header(websocket::kLabelHeader));
    const auto timeout = timeout_text.empty()
                             ? std::optional<std::int64_t>(0)
                             : websocket::ParseNumber<std::int64_t>(timeout_text);
    if (is_shut_) {
      *status = StoppingStatus();
      return nullptr;
    }
    if (!label || !timeout) {
      *status = Status(StatusCode::kBadMessage,
                       "the label or the timeout cannot be read");
      return nullptr;
    }
    std::string method(request.target());
    method.erase(0, 1);
    const std::string service = method.substr(0, method.find('/'));
    RpcServiceMethod* const target = services_.Find(service, method, status);
    if (!target) return nullptr;
    const std::chrono::milliseconds wait(*timeout);
    if (!timeout_text.empty()) {
      const Clock::time_point deadline = websocket::After(wait);
      session->outbox()->SetDeadline(deadline);
      session->EndAt(deadline);
    }
    ByteObserverPtr requests =
        target->Start(ClientContext(*label, wait), session->outbox());
    if (!requests) *status = Status(StatusCode::kFailed, "the handler threw");
    return requests;
  }

  ServiceTable services_;
  unsigned short port_ = 0;
  tcp::acceptor acceptor_;
  bool is_accepting_ = false;
  net::steady_timer retry_;
  net::steady_timer patience_;
};

WebSocketServer::WebSocketServer(Loop* loop, const Limits& limits)
    : impl_(std::make_shared<Impl>(loop->impl_->io(), limits)) {}

WebSocketServer::~WebSocketServer() { Stop(std::chrono::milliseconds(0)); }

bool WebSocketServer::Register(RpcService* service) {
  return impl_->Register(service);
}

bool WebSocketServer::Listen(const std::string& host, unsigned short port,
                             std::string* reason) {
  return impl_->Listen(host, port, reason);
}

unsigned short WebSocketServer::port() const { return impl_->port(); }

void WebSocketServer::Stop(std::chrono::milliseconds patience) {
  impl_->Post([impl = impl_, until = websocket::After(patience)] {
    impl->Stop(until);
  });
  impl_->Wait();
}

}  // namespace rpc
}  // namespace qarn
