// What the runtime promises of calls over the network beyond call_test.cc: flow
// control, deadlines, Stop, and what becomes of strange clients.
#include "websocket_test.h"

#include <linux/filter.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using ::qarn::rpc::CallContext;
using ::qarn::rpc::ClientContext;
using ::qarn::rpc::Limits;
using ::qarn::rpc::Loop;
using ::qarn::rpc::StatusCode;
using ::qarn::rpc::WebSocketChannel;
using ::qarn::rpc::WebSocketServer;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

// Three clients make the server send, and read a byte a second for longer than
// a silent one would be given.
TEST_F(WebSocketTest, SlowReadersHoldNobodyUpAndGetAll) {
  constexpr std::size_t kSize = 60000;
  constexpr int kCount = 400;  // 24 MB, more than any buffer holds
  Limits limits;
  limits.ping_seconds = 1;
  limits.unanswered_pings = 1;
  Serve(limits);
  std::vector<std::thread> senders;
  desk_.talk = [&](CallContext*, const Handle& handle) {
    senders.emplace_back([handle] {
      for (int i = 0; i < kCount; ++i)
        handle->Send(Text(std::string(kSize, 'x')));
      handle->Close();
    });
    return new Observer(&server_log_);
  };
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 3; ++i) {
    clients.emplace_back(new RawClient(port_));
    ASSERT_TRUE(clients.back()->Begin("/Desk/Talk"));
  }
  constexpr std::size_t kSeconds = 5;
  for (std::size_t second = 0; second < kSeconds; ++second) {
    for (const auto& client : clients) EXPECT_EQ(client->Read(1).size(), 1u);
    EXPECT_TRUE(Answers());
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
  for (const auto& client : clients) {
    constexpr std::size_t kLeft = (4 + kSize) * kCount - kSeconds;
    EXPECT_EQ(client->Read(kLeft).size(), kLeft);
    EXPECT_EQ(client->ReadFrame(), "0 ");
  }
  for (std::thread& each : senders) each.join();
}

TEST_F(WebSocketTest, VanishedClientIsLostAndASilentOneIsNot) {
  Limits limits;
  limits.ping_seconds = 1;
  limits.unanswered_pings = 1;
  Serve(limits);
  RawClient silent(port_);
  ASSERT_TRUE(silent.Begin("/Desk/Talk"));
  const Handle kept = ServerHandle();
  RawClient vanished(port_);
  ASSERT_TRUE(vanished.Begin("/Desk/Talk"));
  // From here on its system drops all that comes.
  sock_filter drop = {BPF_RET | BPF_K, 0, 0, 0};
  const sock_fprog program = {1, &drop};
  ASSERT_EQ(setsockopt(vanished.socket()->native_handle(), SOL_SOCKET,
                       SO_ATTACH_FILTER, &program, sizeof(program)),
            0);
  EXPECT_THAT(server_log_.Lines(1)[0], StartsWith(kLost));
  EXPECT_FALSE(kept->closed());
}

// Neither the one that closes nor the one that breaks the rules goes itself.
TEST_F(WebSocketTest, ClientThatDoesNotFollowAClosedCallIsDropped) {
  Limits limits;
  limits.upgrade = milliseconds(50);
  Serve(limits);
  RawClient closes(port_);
  ASSERT_TRUE(closes.Begin("/Desk/Talk"));
  closes.Write(RawClient::Frame(8, ""));
  EXPECT_THAT(server_log_.Lines(1)[0], StartsWith(kLost));
  ServerHandle();
  RawClient breaks(port_);
  ASSERT_TRUE(breaks.Begin("/Desk/Talk"));
  breaks.Write(std::string(20, '\xff'));
  EXPECT_THAT(server_log_.Lines(2)[1], StartsWith(kLost));
}

TEST_F(WebSocketTest, BothSidesKeepTheDeadline) {
  Serve();
  const auto within = [&](std::chrono::milliseconds timeout) {
    return Talk(channel_, &client_, ClientContext("", timeout));
  };
  // Who has seen an end in time sees no other: of a whole call, and of one
  // whose requests go on.
  const ClientContext second("", std::chrono::seconds(1));
  Log in_time;
  const std::string ok = EndLine(StatusCode::kOk);
  Observer in_time_observer(&in_time);
  ::Ask(channel_, "q", &in_time_observer, second);
  const Handle half = Talk(channel_, &in_time_observer, second);
  ServerHandle()->Close();
  Handle call = within(std::chrono::seconds(1));
  const Handle server_handle = ServerHandle();
  EXPECT_EQ(client_log_.Lines(1)[0], kDeadline);
  EXPECT_THAT(in_time.Lines(4), UnorderedElementsAre("<q", "q>", ok, ok));
  EXPECT_THAT(server_log_.Lines(2), ElementsAre(kDeadline, kDeadline));
  EXPECT_TRUE(Closes(server_handle));
  desk_.talk = [this](CallContext*, const Handle& handle) {
    auto* const observer = new Observer(&server_log_);
    observer->on_delete = [handle] {};
    return observer;
  };
  call = within(milliseconds(-1));
  EXPECT_EQ(client_log_.Lines(2)[1], kDeadline);
  call = within(milliseconds::min());
  EXPECT_EQ(client_log_.Lines(3)[2], kDeadline);
  // The server has a clock of its own.
  for (const char* const timeout : {"50", "-1", "-9223372036854775808"}) {
    RawClient raw(port_);
    ASSERT_TRUE(raw.Begin("/Desk/Talk",
                          "Qarn-Timeout: " + std::string(timeout) + "\r\n"));
    EXPECT_EQ(raw.ReadFrame(), "7 the%20deadline%20passed");
  }
  ::Ask(channel_, "q", &client_, ClientContext("", milliseconds::max()));
  EXPECT_EQ(client_log_.Lines(6)[5], EndLine(StatusCode::kOk));
}

TEST_F(WebSocketTest, SecondRequestWhereThereIsOneEndsTheCall) {
  Serve();
  desk_.ask = [this](const CallContext&, const Text& text, const Handle& call) {
    server_log_.Add(text.text);
    server_handle_.set_value(call);
  };
  RawClient raw(port_);
  ASSERT_TRUE(raw.Begin("/Desk/Ask", "Qarn-Timeout: 60000\r\n"));
  raw.Write(RawClient::Frame(2, "a") + RawClient::Frame(2, "b"));
  EXPECT_EQ(
      raw.ReadFrame(),
      "4 a%20second%20message%20came%2C%20and%20the%20method%20has%20one");
  EXPECT_THAT(server_log_.Lines(1), ElementsAre("a"));
}

TEST_F(WebSocketTest, ListenSaysWhyItCannot) {
  Serve();
  std::string reason;
  EXPECT_FALSE(server_->Listen("127.0.0.1", 0, &reason));
  EXPECT_EQ(reason, "the server listens already");
  WebSocketServer second(&server_loop_);
  EXPECT_FALSE(second.Listen("127.0.0.1", port_, &reason));
  EXPECT_EQ(reason, "cannot listen on 127.0.0.1 port " + std::to_string(port_) +
                        ": Address already in use");
}

TEST_F(WebSocketTest, ChannelSaysThatItsHostIsUnknown) {
  port_ = 1;
  ::Ask(NewChannel(Limits(), "no..host"), "q", &client_);
  EXPECT_THAT(client_log_.Lines(1),
              ElementsAre(StartsWith(kLost + "cannot look up no..host: ")));
}

TEST_F(WebSocketTest, RetryInTheEndDoesNotNest) {
  Serve();
  server_.reset();
  int left = 10000;
  std::promise<void> done;
  client_.on_end = [&] {
    if (left-- == 0) return done.set_value();
    ::Ask(channel_, "q", &client_);
  };
  ::Ask(channel_, "q", &client_);
  done.get_future().wait();
  EXPECT_THAT(client_log_.Lines(1)[0], StartsWith(kLost));
}

TEST_F(WebSocketTest, StopDeliversWhatWasSent) {
  Serve();
  constexpr std::size_t kCalls = 60;
  std::vector<std::unique_ptr<Observer>> observers;
  std::vector<Handle> calls;
  Log begun;
  desk_.talk = [&](CallContext*, const Handle& handle) {
    for (int i = 0; i < 10; ++i) handle->Send(Text("answer"));
    begun.Add("");
    auto* const observer = new Observer(&server_log_);
    observer->on_delete = [handle] {};
    return observer;
  };
  for (std::size_t i = 0; i < kCalls; ++i) {
    observers.emplace_back(new Observer(&client_log_));
    calls.push_back(Talk(channel_, observers.back().get()));
    calls.back()->Send(Text("unread"));
  }
  begun.Lines(kCalls);
  server_->Stop(milliseconds::min());
  const std::vector<std::string> lines = client_log_.Lines(21 * kCalls);
  const auto count = [&lines](const std::string& line) {
    return static_cast<std::size_t>(
        std::count(lines.begin(), lines.end(), line));
  };
  EXPECT_EQ(count("answer>"), 10 * kCalls);
  EXPECT_EQ(
      count(EndLine(StatusCode::kStopping, "the server is being stopped")),
      kCalls);
  ::Ask(channel_, "q", &client_);
  EXPECT_THAT(client_log_.Lines(21 * kCalls + 1).back(), StartsWith(kLost));
}

TEST_F(WebSocketTest, StopHasPatienceForCallsThatRun) {
  Serve();
  RawClient late(port_);
  const Handle call = Talk(channel_, &client_);
  const Handle server_handle = ServerHandle();
  std::future<void> stopped = std::async(
      std::launch::async, [this] { server_->Stop(milliseconds::max()); });
  EXPECT_EQ(stopped.wait_for(milliseconds(100)), std::future_status::timeout);
  EXPECT_TRUE(late.Begin("/Desk/Talk"));
  EXPECT_EQ(late.ReadFrame(), "10 the%20server%20is%20being%20stopped");
  server_handle->Close();
  call->Close();
  stopped.wait();
  EXPECT_THAT(client_log_.Lines(1), ElementsAre(EndLine(StatusCode::kOk)));
}

TEST_F(WebSocketTest, ChannelWaitsForTheEndsOfItsObservers) {
  Serve();
  const Handle call = Talk(channel_, &client_);
  channel_.reset();
  EXPECT_THAT(client_log_.Lines(0),
              ElementsAre(StartsWith(kLost + "the channel was closed")));
  EXPECT_TRUE(call->closed());
  bool is_called = false;
  call->WhenRoom([&] { is_called = true; });
  EXPECT_TRUE(is_called);
}

TEST_F(WebSocketTest, HandlersMayCallOnTheirOwnLoopAndEndTheServer) {
  Serve();
  const ChannelPtr inner(
      new WebSocketChannel(&server_loop_, "127.0.0.1", port_));
  Log log;
  Observer observer(&log);
  desk_.talk = [&](CallContext*, const Handle& handle) {
    observer.on_end = [this, handle] {
      handle->Close();
      server_.reset();  // does not wait here
    };
    ::Ask(inner, "inner", &observer);
    return nullptr;
  };
  const Handle call = Talk(channel_, &client_);
  EXPECT_EQ(log.Lines(3)[1], "inner>");
  EXPECT_EQ(client_log_.Lines(1)[0], EndLine(StatusCode::kOk));
}

TEST_F(WebSocketTest, ClientThatIsAcceptedWhileTheServerGoesHoldsNobodyUp) {
  auto loop = std::make_unique<Loop>();
  ChannelPtr channel(new WebSocketChannel(loop.get(), "127.0.0.1", 1));
  std::promise<void> is_busy;
  Log log;
  Observer observer(&log);
  observer.on_end = [&] {
    is_busy.set_value();
    std::this_thread::sleep_for(milliseconds(50));
  };
  ::Ask(channel, "q", &observer);
  is_busy.get_future().wait();
  Limits limits;
  limits.upgrade = std::chrono::hours(1);
  auto server = std::make_unique<WebSocketServer>(loop.get(), limits);
  std::string reason;
  ASSERT_TRUE(server->Listen("127.0.0.1", 0, &reason)) << reason;
  RawClient silent(server->port());
  server.reset();
  EXPECT_EQ(silent.Read(1), "");
  channel.reset();
  loop.reset();
}

}  // namespace
