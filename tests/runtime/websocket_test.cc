// What the runtime promises of calls over the network beyond call_test.cc.
#include "qarn/rpc/websocket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "desk.h"
#include "qarn/rpc.h"

namespace {

using ::qarn::rpc::CallContext;
using ::qarn::rpc::ClientContext;
using ::qarn::rpc::Limits;
using ::qarn::rpc::Loop;
using ::qarn::rpc::SendResult;
using ::qarn::rpc::StatusCode;
using ::qarn::rpc::WebSocketChannel;
using ::qarn::rpc::WebSocketServer;
using ::testing::ElementsAre;

// A server of the Desk and a channel to it, on two loops, since observers of the
// one must not wait for those of the other.
struct Office {
  explicit Office(const Limits& limits = Limits())
      : server(new WebSocketServer(&server_loop, limits)) {
    desk.ask = [](const CallContext&, const Text& request,
                  const Handle& handle) {
      handle->Send(request);
      handle->Close();
    };
    desk.talk = [this](CallContext*, const Handle& handle) {
      server_handle.set_value(handle);
      return new Observer(&server_log);
    };
    std::string reason;
    server->Register(&service);
    EXPECT_TRUE(server->Listen("127.0.0.1", 0, &reason)) << reason;
    channel = NewChannel(limits);
  }
  ChannelPtr NewChannel(const Limits& limits = Limits()) {
    return ChannelPtr(new WebSocketChannel(&client_loop, "127.0.0.1",
                                           server->port(), limits));
  }

  Log client_log;
  Log server_log;
  Observer client{&client_log};
  Desk::Service desk;
  DeskService service{&desk};
  std::promise<Handle> server_handle;
  Loop server_loop;
  Loop client_loop;
  std::unique_ptr<WebSocketServer> server;
  ChannelPtr channel;
};

TEST(SendTest, WaitsOnAThreadOfTheProgramUntilTheOtherSideReads) {
  Office office;
  constexpr int kCount = 2000;
  const std::string text(10000, 'x');  // 20 MB, more than any buffer holds
  std::atomic<int> read{0};
  std::promise<void> go;
  office.desk.talk = [&](CallContext*, const Handle&) {
    auto* const observer = new Observer(&office.server_log);
    observer->on_message = [&, future = go.get_future().share()](
                               const std::string&) {
      future.wait();
      ++read;
    };
    return observer;
  };
  const Handle call = Talk(office.channel, &office.client);
  std::future<int> sent = std::async(std::launch::async, [&] {
    int count = 0;
    while (count < kCount && call->Send(Text(text)) == SendResult::kSent) {
      ++count;
    }
    return count;
  });
  EXPECT_EQ(sent.wait_for(std::chrono::milliseconds(200)),
            std::future_status::timeout);
  go.set_value();
  EXPECT_EQ(sent.get(), kCount);
  call->Close();
  office.server_log.Lines(2 * kCount + 1);
  EXPECT_EQ(read, kCount);
}

}  // namespace
