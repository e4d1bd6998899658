// The one source file of the example runtime: Loop, WebSocketServer and
// WebSocketChannel. Compile it once in each program that uses them.
#include "qarn/rpc/websocket.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
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
using websocket::After;
using websocket::Clock;
using websocket::Error;
using websocket::Session;
using websocket::tcp;

struct Loop::Impl {
  net::io_context io{1};
  std::optional<net::executor_work_guard<net::io_context::executor_type>> work{
      io.get_executor()};
  std::thread thread{[this] {
    websocket::on_loop_thread = true;
    io.run();
  }};
};

Loop::Loop() : impl_(new Impl) {}

Loop::~Loop() {
  impl_->work.reset();
  impl_->thread.join();
}

namespace {

// The calls of a server or a channel. On the loop, but for Make and Wait.
class Sessions : public std::enable_shared_from_this<Sessions> {
 public:
  Sessions(net::io_context* io, const Limits& limits)
      : io_(io), limits_(limits) {}
  virtual ~Sessions() = default;

  Session::Pointer Make(tcp::socket socket) {
    return Session::Make(io_, std::move(socket), limits_,
                         [self = shared_from_this()](const auto& session) {
                           self->sessions_.erase(session);
                           self->OnErase();
                           self->NoteEnd();
                         });
  }

  net::io_context* io() const { return io_; }

  // No more are made.
  void Shut() {
    is_shut_ = true;
    NoteEnd();
  }

  void EndAll(const Status& status) {
    const std::set<Session::Pointer> sessions = sessions_;
    for (const Session::Pointer& session : sessions) session->End(status);
  }

  // Returns when it is shut and the last session has ended.
  void Wait() {
    if (websocket::on_loop_thread) return;
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return has_ended_; });
  }

 protected:
  virtual void OnErase() {}

  net::io_context* const io_;
  const Limits limits_;
  std::set<Session::Pointer> sessions_;
  bool is_shut_ = false;

 private:
  void NoteEnd() {
    if (!is_shut_ || !sessions_.empty()) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    has_ended_ = true;
    changed_.notify_all();
  }

  std::mutex mutex_;  // of what follows
  std::condition_variable changed_;
  bool has_ended_ = false;
};

// Looks a name up; the result is empty if that fails.
tcp::resolver::results_type Resolve(net::io_context* io,
                                    const std::string& host,
                                    unsigned short port, Error* error) {
  return tcp::resolver(*io).resolve(host, std::to_string(port), *error);
}

}  // namespace

struct WebSocketChannel::Impl : Sessions {
  using Sessions::Sessions;

  // On the loop.
  void Start(const Session::Pointer& session, const std::string& target,
             const std::string& label, std::optional<Clock::time_point> deadline,
             ByteObserverPtr responses) {
    sessions_.insert(session);
    if (deadline) session->EndAt(*deadline);
    const auto fill = [label, deadline](websocket::Request& request) {
      request.set(websocket::kLabelHeader, websocket::Escape(label));
      if (!deadline) return;
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          *deadline - Clock::now());
      request.set(websocket::kTimeoutHeader,
                  std::to_string(std::max<std::int64_t>(left.count(), 1)));
    };
    session->Connect(addresses, host, target, fill, std::move(responses));
    if (target.size() + websocket::Escape(label).size() + 512 > limits_.headers) {
      session->End(Status(StatusCode::kTooLarge,
                          "the label is above the limit of the headers"));
    }
  }

  std::string host;  // with its port
  tcp::resolver::results_type addresses;
};

WebSocketChannel::WebSocketChannel(Loop* loop, const std::string& host,
                                   unsigned short port, const Limits& limits)
    : impl_(std::make_shared<Impl>(&loop->impl_->io, limits)) {
  Error ignored;
  impl_->host = host + ":" + std::to_string(port);
  impl_->addresses = Resolve(&loop->impl_->io, host, port, &ignored);
}

WebSocketChannel::~WebSocketChannel() {
  net::post(*impl_->io(), [impl = impl_] {
    impl->Shut();
    impl->EndAll(Status(StatusCode::kConnectionLost, "the channel was closed"));
  });
  impl_->Wait();
}

ByteSenderPtr WebSocketChannel::Start(const RpcMethod& method,
                                      const ClientContext& context,
                                      ByteObserverPtr responses) {
  Session::Pointer session = impl_->Make(tcp::socket(*impl_->io()));
  const ByteSenderPtr outbox = session->outbox();
  std::optional<Clock::time_point> deadline;
  if (context.timeout().count() != 0) deadline = After(context.timeout());
  net::post(*impl_->io(),
            [impl = impl_, session = std::move(session),
             target = std::string("/") + method.full_name(),
             label = context.label(), deadline,
             responses = std::move(responses)]() mutable {
              impl->Start(session, target, label, deadline,
                          std::move(responses));
            });
  return outbox;
}

struct WebSocketServer::Impl : Sessions {
  Impl(net::io_context* io, const Limits& limits)
      : Sessions(io, limits), acceptor(*io), retry(*io), patience(*io) {}

  std::shared_ptr<Impl> Self() {
    return std::static_pointer_cast<Impl>(shared_from_this());
  }

  bool Open(const std::string& host, unsigned short wanted, Error* error) {
    const auto addresses = Resolve(io_, host, wanted, error);
    if (*error) return false;
    const tcp::endpoint address = *addresses.begin();
    acceptor.open(address.protocol(), *error);
    if (!*error) {
      acceptor.set_option(tcp::acceptor::reuse_address(true), *error);
    }
    if (!*error) acceptor.bind(address, *error);
    if (!*error) {
      acceptor.listen(tcp::acceptor::max_listen_connections, *error);
    }
    if (!*error) port = acceptor.local_endpoint(*error).port();
    return !*error;
  }

  // What follows runs on the loop.

  void Accept() {
    if (is_accepting || is_shut_ || sessions_.size() >= limits_.connections) {
      return;
    }
    is_accepting = true;
    acceptor.async_accept([self = Self()](Error error, tcp::socket socket) {
      if (!error) {
        self->is_accepting = false;
        self->Serve(std::move(socket));
        return self->Accept();
      }
      if (self->is_shut_) return;
      // Most likely there is no descriptor left. Those who wait to be accepted
      // go on waiting.
      self->retry.expires_after(std::chrono::milliseconds(100));
      self->retry.async_wait([self](Error) {
        self->is_accepting = false;
        self->Accept();
      });
    });
  }

  void Serve(tcp::socket socket) {
    const Session::Pointer session = Make(std::move(socket));
    sessions_.insert(session);
    session->Accept([self = Self(), session](const auto& request) {
      Status status;
      ByteObserverPtr requests = self->StartCall(request, session, &status);
      if (!requests) return session->End(status);
      session->Begin(std::move(requests));
    });
  }

  // The observer of the call's requests; null, with the reason, if there is no
  // such call.
  ByteObserverPtr StartCall(const websocket::Request& request,
                            const Session::Pointer& session, Status* status) {
    const auto header = [&request](const char* name) {
      const auto value = request[name];
      return std::string_view(value.data(), value.size());
    };
    const std::string_view number = header(websocket::kTimeoutHeader);
    const auto label = websocket::Unescape(header(websocket::kLabelHeader));
    const auto timeout = websocket::ParseNumber<std::int64_t>(
        number.empty() ? "0" : number);
    *status = Status(StatusCode::kBadMessage, "the headers cannot be read");
    if (!label || !timeout) return nullptr;
    *status = StoppingStatus();
    if (is_shut_) return nullptr;
    const std::string method(request.target().substr(1));
    RpcServiceMethod* const target =
        services.Find(method.substr(0, method.find('/')), method, status);
    if (!target) return nullptr;
    const std::chrono::milliseconds wait(*timeout);
    if (!number.empty()) session->EndAt(After(wait));
    *status = Status(StatusCode::kFailed, "the handler threw");
    return target->Start(ClientContext(*label, wait), session->outbox());
  }

  void Stop(Clock::time_point until) {
    Error ignored;
    acceptor.close(ignored);
    retry.cancel();
    patience.expires_at(until);
    patience.async_wait([self = Self()](Error error) {
      if (!error) self->EndAll(StoppingStatus());
    });
    Shut();
    OnErase();
  }

  void OnErase() override {
    if (is_shut_ && sessions_.empty()) patience.cancel();
    Accept();
  }

  static Status StoppingStatus() {
    return Status(StatusCode::kStopping, "the server is being stopped");
  }

  ServiceTable services;
  unsigned short port = 0;
  tcp::acceptor acceptor;
  bool is_accepting = false;  // or waits to try again
  net::steady_timer retry;
  net::steady_timer patience;
};

WebSocketServer::WebSocketServer(Loop* loop, const Limits& limits)
    : impl_(std::make_shared<Impl>(&loop->impl_->io, limits)) {}

WebSocketServer::~WebSocketServer() { Stop(std::chrono::milliseconds(0)); }

bool WebSocketServer::Register(RpcService* service) {
  return impl_->services.Register(service);
}

bool WebSocketServer::Listen(const std::string& host, unsigned short port,
                             std::string* reason) {
  Error error;
  if (!impl_->Open(host, port, &error)) {
    *reason = "cannot listen on " + host + " port " + std::to_string(port) +
              ": " + error.message();
    return false;
  }
  net::post(*impl_->io(), [impl = impl_] { impl->Accept(); });
  return true;
}

unsigned short WebSocketServer::port() const { return impl_->port; }

void WebSocketServer::Stop(std::chrono::milliseconds patience) {
  net::post(*impl_->io(),
            [impl = impl_, until = After(patience)] { impl->Stop(until); });
  impl_->Wait();
}

}  // namespace rpc
}  // namespace qarn
