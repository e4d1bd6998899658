// The example runtime over the network: a server, and a channel to it, over
// WebSocket. Each call is a connection of its own. Needs C++17; a program
// compiles qarn/rpc/websocket.cc once, which alone includes Boost.Beast.
//
// README.md beside this folder describes the bytes on the wire, how calls end,
// and what the limits bound. There is no encryption and no check of who calls.
//
// What to know before you use it:
//  - Handlers, observers and callbacks run on the thread of a Loop, one at a
//    time. They must not wait: all that shares the loop stands still meanwhile.
//    Give what takes long to a thread of your own.
//  - Where this header says that something waits, it does so on threads of your
//    own; on a loop's thread it does not.
//  - Handles, stubs and channels may be used from any thread.
//  - Every observer sees its messages and then exactly one end, never from
//    inside the call that caused it. In an end you may destroy the stub, the
//    channel, the handle, the client's observer, and the server.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_H_

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "qarn/rpc/channel.h"
#include "qarn/rpc/service.h"

namespace qarn::rpc {

// What a server or a channel allows. Each side keeps to its own.
struct Limits {
  // Bytes of one message, in either direction. A longer one ends its call with
  // kTooLarge.
  std::uint32_t message = 1 << 20;
  // Bytes of the request with which a call begins, 60 KiB at most. A server
  // closes a connection that sends more. A channel ends a call with kTooLarge
  // if its method and label take more than this less 512.
  std::uint32_t headers = 8 << 10;
  // Bytes that a handle holds of what was sent, where each message counts 64
  // bytes beside its own. With more it is full, and has room again at half. The
  // message that fills it may be of any length; with the next ones there may be
  // twice as much.
  std::uint32_t room = 1 << 20;
  // Of a server. Those who come when it has as many wait to be accepted.
  std::uint32_t connections = 256;
  // What a server gives a connection to begin its call, and both sides give the
  // other one to close a connection after it has said that it will.
  std::chrono::milliseconds upgrade = std::chrono::seconds(10);
  // After so many seconds of silence TCP asks whether the other side is there,
  // and then again after each as many. Without an answer to `unanswered_pings`
  // the connection is lost. It is the system that answers, not the program: who
  // reads slowly has not vanished.
  int ping_seconds = 20;
  int unanswered_pings = 3;
};

// The thread on which handlers and observers run, for any number of servers and
// channels. It must outlive them.
class Loop {
 public:
  // Throws std::system_error if the system has no thread or descriptor left.
  Loop();
  // Waits until the last calls have ended, which takes a second at most. Not on
  // a loop's thread.
  ~Loop();
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

 private:
  friend class WebSocketChannel;
  friend class WebSocketServer;
  struct Impl;
  const std::unique_ptr<Impl> impl_;
};

// A way to the services of one server. Each call connects by itself, so a call
// may succeed after others have failed.
class WebSocketChannel : public Channel {
 public:
  // `host` is an address, or a name, which this looks up, on any thread. If
  // that fails, all calls end with kConnectionLost, which says why.
  WebSocketChannel(Loop* loop, const std::string& host, unsigned short port,
                   const Limits& limits = Limits());
  // Ends the calls that run with kConnectionLost. Waits until every observer
  // has seen its end, and what was sent has left, for a second at most.
  ~WebSocketChannel() override;

  // The result is never null. The timeout of `context` runs from here on.
  ByteSenderPtr Start(const RpcMethod& method, const ClientContext& context,
                      ByteObserverPtr responses) override;

 private:
  struct Impl;
  const std::shared_ptr<Impl> impl_;
};

// Serves what was registered to all who connect.
class WebSocketServer {
 public:
  explicit WebSocketServer(Loop* loop, const Limits& limits = Limits());
  // Stops without patience.
  ~WebSocketServer();
  WebSocketServer(const WebSocketServer&) = delete;
  WebSocketServer& operator=(const WebSocketServer&) = delete;

  // See ServiceTable. Before Listen. The service must outlive the server and,
  // if that is destroyed on a loop's thread, the loop.
  bool Register(RpcService* service);

  // Starts to serve, once. `host` is an address, or a name, which this looks
  // up, on any thread. A port of 0 stands for any that is free. False, with the
  // reason, if that cannot be.
  bool Listen(const std::string& host, unsigned short port,
              std::string* reason);

  // After Listen.
  unsigned short port() const;

  // Takes no new calls, lets those that run end, for at most so long, and ends
  // the rest with kStopping. What was sent before arrives, if the other side
  // reads it within a second. Waits for all that; then no handler runs any more
  // and no observer will be called.
  void Stop(std::chrono::milliseconds patience);

 private:
  struct Impl;
  const std::shared_ptr<Impl> impl_;
};

}  // namespace qarn::rpc

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_WEBSOCKET_H_
