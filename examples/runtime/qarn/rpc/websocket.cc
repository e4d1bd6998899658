// The one source file of the example runtime: Loop, WebSocketServer and
// WebSocketChannel. Compile it once in each program that uses them.
#include "qarn/rpc/websocket.h"

#include <algorithm>
#include <cstdint>
#include <future>
#include <memory>
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

namespace qarn::rpc {

namespace net = boost::asio;
using websocket::After;
using websocket::Clock;
using websocket::Error;
using websocket::Session;
using websocket::tcp;

struct Loop::Impl {
  // Not of the kind for one thread: what the loop's own thread posts would be
  // overtaken there by what others post.
  net::io_context io;
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

// Limits that can be kept: a header of Beast's has at most 64 KiB.
Limits Checked(Limits limits) {
  limits.headers = std::min(limits.headers, std::uint32_t{60} << 10);
  limits.connections = std::max(limits.connections, std::uint32_t{1});
  limits.upgrade = std::max(limits.upgrade, std::chrono::milliseconds(10));
  limits.ping_seconds = std::clamp(limits.ping_seconds, 1, 30000);
  limits.unanswered_pings = std::clamp(limits.unanswered_pings, 1, 100);
  return limits;
}

// The calls of a server or a channel. On the loop, but for Make and Stop.
struct Sessions : std::enable_shared_from_this<Sessions> {
  Sessions(net::io_context* context, const Limits& l)
      : io(*context), limits(Checked(l)) {}
  virtual ~Sessions() = default;

  Session::Pointer Make(tcp::socket socket) {
    return std::make_shared<Session>(
        std::move(socket), limits,
        [this, self = shared_from_this()](const Session::Pointer& session) {
          sessions.erase(session);
          OnChange();
        });
  }

  // From here on none is added. What runs may go on for so long, and then ends
  // with `status`. Waits for that, unless on a loop's thread.
  void Stop(std::chrono::milliseconds wait, const Status& status) {
    net::post(io, [self = shared_from_this(), until = After(wait), status] {
      self->Shut(until, status);
    });
    if (!websocket::on_loop_thread) has_ended.wait();
  }

  void Shut(Clock::time_point until, const Status& status) {
    is_shut = true;
    patience.expires_at(until);
    patience.async_wait([this, self = shared_from_this(), status](Error error) {
      if (error) return;
      const std::set<Session::Pointer> ending = sessions;
      for (const Session::Pointer& session : ending) session->End(status);
    });
    OnChange();
  }

  // Sessions have ended, or it is shut.
  virtual void OnChange() {
    if (!is_shut || !sessions.empty()) return;
    patience.cancel();
    ended.reset();
  }

  net::io_context& io;
  const Limits limits;
  std::set<Session::Pointer> sessions;
  bool is_shut = false;
  net::steady_timer patience{io};
  // There until it is shut and the last session has ended: a future whose
  // promise goes is ready.
  std::optional<std::promise<void>> ended{std::in_place};
  const std::shared_future<void> has_ended{ended->get_future()};
};

Status StoppingStatus() {
  return Status(StatusCode::kStopping, "the server is being stopped");
}

Status ClosedStatus() {
  return Status(StatusCode::kConnectionLost, "the channel was closed");
}

}  // namespace

struct WebSocketChannel::Impl : Sessions {
  using Sessions::Sessions;

  std::string host;  // with its port
  tcp::resolver::results_type addresses;
  Status refusal;  // of all calls, if there are no addresses
};

WebSocketChannel::WebSocketChannel(Loop* loop, const std::string& host,
                                   unsigned short port, const Limits& limits)
    : impl_(std::make_shared<Impl>(&loop->impl_->io, limits)) {
  Error error;
  impl_->host = host + ":" + std::to_string(port);
  impl_->addresses =
      tcp::resolver(impl_->io).resolve(host, std::to_string(port), error);
  if (error) {
    impl_->refusal = Status(StatusCode::kConnectionLost,
                            "cannot look up " + host + ": " + error.message());
  }
}

WebSocketChannel::~WebSocketChannel() {
  impl_->Stop(std::chrono::milliseconds(0), ClosedStatus());
}

ByteSenderPtr WebSocketChannel::Start(const RpcMethod& method,
                                      const ClientContext& context,
                                      ByteObserverPtr responses) {
  Session::Pointer session = impl_->Make(tcp::socket(impl_->io));
  const ByteSenderPtr outbox = session->outbox();
  const std::string target = std::string("/") + method.full_name();
  const std::string label = websocket::Escape(context.label());
  std::optional<Clock::time_point> deadline;
  if (context.timeout().count() != 0) deadline = After(context.timeout());
  const auto fill = [label, deadline](websocket::Request& request) {
    request.set(websocket::kLabelHeader, label);
    if (!deadline) return;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        *deadline - Clock::now());
    request.set(websocket::kTimeoutHeader,
                std::to_string(std::max<std::int64_t>(left.count(), 1)));
  };
  Status refusal = impl_->refusal;
  if (target.size() + label.size() + 512 > impl_->limits.headers) {
    refusal = Status(StatusCode::kTooLarge,
                     "the label is above the limit of the headers");
  }
  net::post(impl_->io,
            [impl = impl_, session = std::move(session), target, deadline, fill,
             refusal, responses = std::move(responses)]() mutable {
              if (impl->is_shut) refusal = ClosedStatus();
              impl->sessions.insert(session);
              session->SetObserver(std::move(responses));
              if (!refusal.ok()) return session->End(refusal);
              if (deadline) session->EndAt(*deadline);
              session->Connect(impl->addresses, impl->host, target, fill);
            });
  return outbox;
}

struct WebSocketServer::Impl : Sessions {
  using Sessions::Sessions;

  void Accept() {
    if (is_accepting || is_shut || sessions.size() >= limits.connections) {
      return;
    }
    is_accepting = true;
    acceptor.async_accept(
        [this, self = shared_from_this()](Error error, tcp::socket socket) {
          // One more session would be ended by nobody.
          if (is_shut) return;
          if (!error) {
            is_accepting = false;
            Serve(std::move(socket));
            return Accept();
          }
          // Most likely there is no descriptor left. Those who wait to be
          // accepted go on waiting.
          retry.expires_after(std::chrono::milliseconds(100));
          retry.async_wait([this, self](Error) {
            is_accepting = false;
            Accept();
          });
        });
  }

  void Serve(tcp::socket socket) {
    const Session::Pointer session = Make(std::move(socket));
    sessions.insert(session);
    session->Accept([this, self = shared_from_this()](
                        const websocket::Request& request, Session* begun) {
      StartCall(request, begun);
    });
  }

  void StartCall(const websocket::Request& request, Session* session) {
    const std::string number(request[websocket::kTimeoutHeader]);
    const auto timeout =
        websocket::ParseNumber<std::int64_t>(number.empty() ? "0" : number);
    const auto label =
        websocket::Unescape(std::string(request[websocket::kLabelHeader]));
    if (!label || !timeout) {
      return session->End(
          Status(StatusCode::kBadMessage, "the headers cannot be read"));
    }
    if (is_shut) return session->End(StoppingStatus());
    const std::string method(request.target().substr(1));
    Status status;
    RpcServiceMethod* const target =
        services.Find(method.substr(0, method.find('/')), method, &status);
    if (!target) return session->End(status);
    const std::chrono::milliseconds wait(*timeout);
    if (!number.empty()) session->EndAt(After(wait));
    session->SetObserver(
        target->Start(ClientContext(*label, wait), session->outbox()));
  }

  void OnChange() override {
    Sessions::OnChange();
    if (!is_shut) return Accept();
    Error ignored;
    acceptor.close(ignored);
    retry.cancel();
  }

  ServiceTable services;
  unsigned short port = 0;
  tcp::acceptor acceptor{io};
  bool is_accepting = false;  // or waits to try again
  net::steady_timer retry{io};
};

WebSocketServer::WebSocketServer(Loop* loop, const Limits& limits)
    : impl_(std::make_shared<Impl>(&loop->impl_->io, limits)) {}

WebSocketServer::~WebSocketServer() { Stop(std::chrono::milliseconds(0)); }

bool WebSocketServer::Register(RpcService* service) {
  return impl_->services.Register(service);
}

bool WebSocketServer::Listen(const std::string& host, unsigned short port,
                             std::string* reason) {
  if (impl_->port != 0) {
    *reason = "the server listens already";
    return false;
  }
  try {
    const auto addresses = tcp::resolver(impl_->io).resolve(
        host, std::to_string(port), tcp::resolver::passive);
    impl_->acceptor = tcp::acceptor(impl_->io, *addresses.begin());
    impl_->port = impl_->acceptor.local_endpoint().port();
  } catch (const boost::system::system_error& error) {
    *reason = "cannot listen on " + host + " port " + std::to_string(port) +
              ": " + error.code().message();
    return false;
  }
  net::post(impl_->io, [impl = impl_] { impl->Accept(); });
  return true;
}

unsigned short WebSocketServer::port() const { return impl_->port; }

void WebSocketServer::Stop(std::chrono::milliseconds patience) {
  impl_->Stop(patience, StoppingStatus());
}

}  // namespace qarn::rpc
