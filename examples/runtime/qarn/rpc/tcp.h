// The example runtime over TCP: a channel to a server in another process, and
// that server. Needs C++17 and the headers of Boost.Asio; qarn/rpc.h does not
// include it. Like all of this runtime it is something to start from: there is
// no encryption, no check of who is there, and no second try.
//
// The wire form (tcp/frame.h) is our own and compatible with nothing.
//
// What to know before you use it:
//  - Threads. Handlers and observers run on the IoThreads. Those of one call
//    run one at a time for each direction; those of different calls run at
//    once. Handles, stubs and channels may be used from any thread.
//  - Every observer sees its messages and then exactly one OnEnd, whatever
//    becomes of the other side: kConnectionLost if it went away.
//  - A sender that is faster than its receiver waits in Send. On their way to
//    an observer are at most 64 KiB of a direction of a call and one message
//    more, where each message counts 64 bytes beside its own. While more than
//    1 MiB waits for a socket, Send and new calls wait, too. So do not make an
//    observer wait for what another observer of the same call must do.
//  - A frame above the limit, and anything else that this side would not send,
//    ends the connection.
//  - A call whose timeout passes, or whose handle says Cancel, ends at both
//    sides. A handler that is busy sees its handle closed.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_TCP_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_TCP_H_

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "qarn/rpc/call.h"
#include "qarn/rpc/channel.h"
#include "qarn/rpc/context.h"
#include "qarn/rpc/method.h"
#include "qarn/rpc/service.h"
#include "qarn/rpc/status.h"
#include "qarn/rpc/tcp/connection.h"
#include "qarn/rpc/tcp/frame.h"
#include "qarn/rpc/tcp/io_threads.h"

namespace qarn {
namespace rpc {

// One connection to a server, shared by all calls over this channel. When it is
// lost, it stays so: make a new channel.
class TcpChannel : public Channel {
 public:
  // Connects, and waits for that. If it fails, every call ends with
  // kConnectionLost; status() says why.
  TcpChannel(IoThreads* threads, const std::string& host, unsigned short port,
             const TcpOptions& options = TcpOptions())
      : endpoint_(std::make_shared<tcp::Endpoint>()) {
    endpoint_->options = options;
    boost::asio::ip::tcp::socket socket(threads->context());
    boost::asio::ip::tcp::resolver resolver(threads->context());
    boost::system::error_code error;
    const auto addresses = resolver.resolve(host, std::to_string(port), error);
    if (!error) boost::asio::connect(socket, addresses, error);
    if (error) {
      status_ = Status(StatusCode::kConnectionLost,
                       "cannot connect to " + host + " port " +
                           std::to_string(port) + ": " + error.message());
      return;
    }
    connection_ = std::make_shared<tcp::Connection>(
        &threads->context(), std::move(socket), tcp::Direction::kToServer,
        endpoint_);
    connection_->Open(nullptr);
  }

  // Ends the calls that run, with kConnectionLost, and waits until every
  // observer has seen its end. An observer itself cannot wait for that: where
  // it destroys the channel, others may see their end later.
  ~TcpChannel() override {
    if (!connection_) return;
    connection_->Close("the channel was closed");
    if (!IoThreads::current()) endpoint_->WaitUntilIdle();
  }

  // How connecting went.
  const Status& status() const { return status_; }

  ByteSenderPtr Start(const RpcMethod& method, const ClientContext& context,
                      ByteObserverPtr responses) override {
    if (!connection_) {
      responses->OnEnd(status_);
      return ByteSenderPtr();
    }
    return connection_->Start(method, context, std::move(responses));
  }

 private:
  void StartGathering() override { tcp::Gathering::Start(); }
  void StopGathering() override { tcp::Gathering::Stop(); }

  const std::shared_ptr<tcp::Endpoint> endpoint_;
  Status status_;
  tcp::ConnectionPtr connection_;
};

// Serves what was registered to all who connect.
class TcpServer {
 public:
  explicit TcpServer(IoThreads* threads,
                     const TcpOptions& options = TcpOptions())
      : threads_(threads), endpoint_(std::make_shared<tcp::Endpoint>()) {
    endpoint_->options = options;
  }
  // Stops without patience.
  ~TcpServer() { Stop(std::chrono::milliseconds(0)); }
  TcpServer(const TcpServer&) = delete;
  TcpServer& operator=(const TcpServer&) = delete;

  // See ServiceTable. Before Listen; the service must outlive the server.
  bool Register(RpcService* service) {
    return endpoint_->services.Register(service);
  }

  // Starts to serve. A port of 0 stands for any that is free. False, with the
  // reason, if that cannot be. Once.
  bool Listen(const std::string& host, unsigned short port,
              std::string* reason) {
    using boost::asio::ip::tcp;
    const std::lock_guard<std::mutex> lock(mutex_);
    boost::system::error_code error;
    tcp::resolver resolver(threads_->context());
    const auto addresses = resolver.resolve(host, std::to_string(port),
                                            tcp::resolver::passive, error);
    if (!error) {
      const tcp::endpoint address = *addresses.begin();
      acceptor_.emplace(threads_->context());
      acceptor_->open(address.protocol(), error);
      if (!error) {
        acceptor_->set_option(tcp::acceptor::reuse_address(true), error);
      }
      if (!error) acceptor_->bind(address, error);
      if (!error) {
        acceptor_->listen(tcp::acceptor::max_listen_connections, error);
      }
    }
    if (error) {
      *reason = "cannot listen on " + host + " port " + std::to_string(port) +
                ": " + error.message();
      acceptor_.reset();
      return false;
    }
    port_ = acceptor_->local_endpoint().port();
    retry_.emplace(threads_->context());
    Accept();
    return true;
  }

  // After Listen.
  unsigned short port() const { return port_; }

  // Takes no new connections and refuses new calls with kStopping, lets running
  // calls end, for at most so long, and ends those that are left with
  // kConnectionLost. Returns when all handlers and observers have returned, so
  // none of them may call it.
  void Stop(std::chrono::milliseconds patience) {
    const std::chrono::steady_clock::time_point until =
        std::chrono::steady_clock::now() + patience;
    endpoint_->stopping = true;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      acceptor_.reset();
      retry_.reset();
    }
    endpoint_->WaitUntilIdle(until);
    std::set<tcp::ConnectionPtr> connections;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      connections = connections_;
    }
    for (const tcp::ConnectionPtr& connection : connections) {
      connection->Close("the server was stopped", until);
    }
    endpoint_->WaitUntilIdle();
    // What is called when a connection closes uses this object.
    std::unique_lock<std::mutex> lock(mutex_);
    quiet_.wait(lock, [this] { return connections_.empty() && !accepting_; });
  }

 private:
  // The mutex is held.
  void Accept() {
    accepting_ = true;
    acceptor_->async_accept([this](const boost::system::error_code& error,
                                   boost::asio::ip::tcp::socket socket) {
      OnAccept(error, std::move(socket));
    });
  }

  void OnAccept(const boost::system::error_code& error,
                boost::asio::ip::tcp::socket socket) {
    tcp::ConnectionPtr connection;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (!acceptor_) {
        accepting_ = false;
        quiet_.notify_all();
        return;
      }
      if (error) {
        // Most likely there is no descriptor left. Those who wait to be
        // accepted go on waiting.
        retry_->expires_after(std::chrono::milliseconds(100));
        retry_->async_wait([this](const boost::system::error_code&) {
          const std::lock_guard<std::mutex> retry_lock(mutex_);
          if (acceptor_) {
            Accept();
          } else {
            accepting_ = false;
            quiet_.notify_all();
          }
        });
        return;
      }
      connection = std::make_shared<tcp::Connection>(
          &threads_->context(), std::move(socket), tcp::Direction::kToClient,
          endpoint_);
      connections_.insert(connection);
      Accept();
    }
    connection->Open([this](tcp::Connection* closed) {
      const std::lock_guard<std::mutex> lock(mutex_);
      connections_.erase(closed->shared_from_this());
      if (connections_.empty()) quiet_.notify_all();
    });
  }

  IoThreads* const threads_;
  const std::shared_ptr<tcp::Endpoint> endpoint_;
  unsigned short port_ = 0;

  std::mutex mutex_;  // of all that follows
  std::condition_variable quiet_;
  bool accepting_ = false;  // somebody will come to OnAccept
  std::optional<boost::asio::ip::tcp::acceptor> acceptor_;  // until Stop
  std::optional<boost::asio::steady_timer> retry_;
  std::set<tcp::ConnectionPtr> connections_;
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_TCP_H_
