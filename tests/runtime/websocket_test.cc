// What the runtime promises of calls over the network beyond call_test.cc:
// limits, flow control, deadlines, Stop, and what a strange client is told.
#include "qarn/rpc/websocket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "desk.h"
#include "qarn/rpc.h"
#include "raw_client.h"

namespace {

using ::qarn::rpc::CallContext;
using ::qarn::rpc::ClientContext;
using ::qarn::rpc::Limits;
using ::qarn::rpc::Loop;
using ::qarn::rpc::SendResult;
using ::qarn::rpc::StatusCode;
using ::qarn::rpc::WebSocketChannel;
using ::qarn::rpc::WebSocketServer;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::StartsWith;

const std::string kLost = EndLine(StatusCode::kConnectionLost);
const std::string kDeadline =
    EndLine(StatusCode::kDeadlinePassed, "the deadline passed");

// A server of the Desk, and a channel to it on another loop.
class WebSocketTest : public ::testing::Test {
 protected:
  WebSocketTest() {
    desk_.ask = [](const CallContext&, const Text& request,
                   const Handle& handle) {
      handle->Send(request);
      handle->Close();
    };
    desk_.talk = [this](CallContext*, const Handle& handle) {
      server_handle_.set_value(handle);
      return new Observer(&server_log_);
    };
  }

  void Serve(const Limits& limits = Limits()) {
    std::string reason;
    server_.reset(new WebSocketServer(&server_loop_, limits));
    server_->Register(&service_);
    ASSERT_TRUE(server_->Listen("127.0.0.1", 0, &reason)) << reason;
    port_ = server_->port();
    channel_ = NewChannel();
  }
  ChannelPtr NewChannel(const Limits& limits = Limits()) {
    return ChannelPtr(
        new WebSocketChannel(&client_loop_, "127.0.0.1", port_, limits));
  }
  Handle ServerHandle() {
    const Handle handle = server_handle_.get_future().get();
    server_handle_ = std::promise<Handle>();
    return handle;
  }
  // Whether a call is answered, as others must be whatever one does.
  bool Answers() {
    Log log;
    Observer observer(&log);
    ::Ask(channel_, "hello", &observer);
    return log.Lines(3) == std::vector<std::string>{"<hello", "hello>",
                                                    EndLine(StatusCode::kOk)};
  }

  Log client_log_;
  Log server_log_;
  Observer client_{&client_log_};
  Desk::Service desk_;
  DeskService service_{&desk_};
  std::promise<Handle> server_handle_;
  Loop server_loop_;
  Loop client_loop_;
  std::unique_ptr<WebSocketServer> server_;
  unsigned short port_ = 0;
  ChannelPtr channel_;
};

TEST_F(WebSocketTest, MessageMayBeAsLongAsTheLimitOfEachSide) {
  Limits small;
  small.message = 1000;
  Serve(small);
  const std::string fits(1000, 'x');
  const std::string too_long(1001, 'x');
  ::Ask(channel_, fits, &client_);
  EXPECT_EQ(client_log_.Lines(3)[2], EndLine(StatusCode::kOk));
  const Handle refused = Talk(channel_, &client_);
  refused->Send(Text(too_long));
  const std::string received =
      EndLine(StatusCode::kTooLarge, "a message is above the limit");
  EXPECT_EQ(client_log_.Lines(4)[3], received);
  EXPECT_THAT(server_log_.Lines(1), ElementsAre(received));
  // The sender's own limit.
  const std::string sent =
      EndLine(StatusCode::kTooLarge, "the sender's message is above its limit");
  channel_ = NewChannel(small);
  const Handle call = Talk(channel_, &client_);
  EXPECT_EQ(call->Send(Text(too_long)), SendResult::kEnded);
  EXPECT_EQ(client_log_.Lines(5)[4], sent);
  EXPECT_TRUE(Answers());
}

TEST_F(WebSocketTest, HeadersMayBeAsLongAsTheLimit) {
  Serve();
  const std::size_t rest = RawClient::Request("/Desk/Ask", "L: \r\n").size();
  const auto taken = [&](std::size_t size) {
    return RawClient(port_).Begin(
        "/Desk/Ask", "L: " + std::string(size - rest, 'x') + "\r\n");
  };
  EXPECT_TRUE(taken(Limits().headers));
  EXPECT_FALSE(taken(Limits().headers + 1));

  const std::size_t label = Limits().headers - 512 - 9;
  desk_.ask = [](const CallContext& context, const Text&,
                 const Handle& handle) {
    handle->Send(Text(std::to_string(context.client().label().size())));
    handle->Close();
  };
  for (const std::size_t size : {label, label + 1, std::size_t{4} << 20}) {
    Log log;
    Observer observer(&log);
    ::Ask(channel_, "q", &observer, ClientContext(std::string(size, 'x')));
    EXPECT_EQ(log.Lines(1)[0],
              size == label ? "<" + std::to_string(label)
                            : EndLine(StatusCode::kTooLarge,
                                      "the label is above the limit of the "
                                      "headers"));
    log.Lines(size == label ? 3 : 1);
  }
}

// What is sent within a handler is written when it has returned, so what the
// handle holds is known here.
TEST_F(WebSocketTest, HandleIsFullAboveItsRoomAndEndsAboveTwice) {
  using Results = std::vector<SendResult>;
  Limits limits;
  limits.room = 1000;
  Serve(limits);
  const SendResult sent = SendResult::kSent;
  const SendResult full = SendResult::kFull;
  // Each message counts 64 bytes beside its own.
  const std::vector<std::pair<std::vector<std::size_t>, Results>> rows = {
      {{436, 436}, {sent, sent}},
      {{436, 437, 935}, {sent, full, full}},
      {{436, 437, 936}, {sent, full, SendResult::kEnded}},
      {{100000, 0}, {full, SendResult::kEnded}},
  };
  for (const auto& row : rows) {
    Results results;
    desk_.talk = [&](CallContext*, const Handle& handle) {
      for (const std::size_t size : row.first) {
        results.push_back(handle->Send(Text(std::string(size, 'x'))));
      }
      handle->Close();
      return nullptr;
    };
    Log log;
    Observer observer(&log);
    const Handle call = Talk(channel_, &observer);
    const bool ends = row.second.back() == SendResult::kEnded;
    const std::size_t answers = row.first.size() - (ends ? 1 : 0);
    EXPECT_EQ(log.Lines(2 * answers + 1).back(),
              ends ? EndLine(StatusCode::kOverloaded,
                             "the sender went on though it had no room")
                   : EndLine(StatusCode::kOk));
    EXPECT_EQ(results, row.second);
    call->Close();
  }
}

TEST_F(WebSocketTest, CallbackComesWhenThereIsRoomOrTheCallHasEnded) {
  Serve();
  std::atomic<int> calls{0};
  std::promise<void> has_ended;
  const std::string text(100000, 'x');
  desk_.talk = [&](CallContext*, const Handle& handle) {
    auto* const go_on = new std::function<void()>;
    *go_on = [&calls, &has_ended, &text, handle, go_on] {
      ++calls;
      SendResult result = SendResult::kSent;
      while (result == SendResult::kSent) result = handle->Send(Text(text));
      if (result == SendResult::kFull) return handle->WhenRoom(*go_on);
      has_ended.set_value();
      delete go_on;
    };
    (*go_on)();
    return nullptr;
  };
  Handle call = Talk(channel_, &client_);
  client_log_.Lines(1000);
  EXPECT_GT(calls, 2);
  call->Cancel();
  has_ended.get_future().wait();

  desk_.talk = [](CallContext*, const Handle& handle) {
    handle->WhenRoom([handle] { throw std::runtime_error("callback"); });
    return nullptr;
  };
  Log log;
  Observer observer(&log);
  call = Talk(channel_, &observer);
  EXPECT_THAT(
      log.Lines(1),
      ElementsAre(EndLine(StatusCode::kFailed, "a handler or observer threw")));
  EXPECT_TRUE(Answers());
}

// Fills the handle until Send waits, and expects that `wake` ends that.
TEST_F(WebSocketTest, SendThatWaitsSeesEachEnd) {
  Serve();
  const std::string text(100000, 'x');
  const std::vector<std::function<void(const Handle&)>> wakes = {
      [](const Handle& call) { call->Close(); },
      [](const Handle& call) { call->Cancel(); },
      [](const Handle&) {},  // the deadline
      [this](const Handle&) { server_->Stop(milliseconds(0)); },
  };
  for (std::size_t i = 0; i < wakes.size(); ++i) {
    std::promise<void> go_on;
    desk_.talk = [&](CallContext*, const Handle&) {
      auto* const observer = new Observer(&server_log_);
      observer->on_message = [future = go_on.get_future().share()](
                                 const std::string&) { future.wait(); };
      return observer;
    };
    Log log;
    Observer observer(&log);
    const Handle call = Talk(channel_, &observer,
                             ClientContext("", milliseconds(i == 2 ? 500 : 0)));
    std::future<void> sending = std::async(std::launch::async, [&] {
      while (call->Send(Text(text)) == SendResult::kSent) {
      }
    });
    EXPECT_EQ(sending.wait_for(milliseconds(200)), std::future_status::timeout);
    if (i == 3) go_on.set_value();
    wakes[i](call);
    sending.wait();
    if (i != 3) go_on.set_value();
    call->Cancel();
    log.Lines(1);
  }
}

#ifndef __has_feature
#define __has_feature(name) 0
#endif
#if !defined(__SANITIZE_ADDRESS__) && !__has_feature(thread_sanitizer)
// The memory of this process, in bytes.
std::size_t Memory() {
  std::size_t all = 0;
  std::size_t resident = 0;
  std::ifstream("/proc/self/statm") >> all >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

// Sends two rooms full whenever there is room.
void Fill(const Handle& handle) {
  const Text room(std::string(Limits().room - 64, 'x'));
  handle->Send(room);
  if (handle->Send(room) == SendResult::kFull) {
    handle->WhenRoom([handle] { Fill(handle); });
  }
}

// Each client begins a message of the largest length, and reads none of what
// its handler sends as often as it may. What the system took of that, on its
// way, makes the difference to the bound.
TEST_F(WebSocketTest, ServerKeepsToTheBoundOfItsMemory) {
  const Limits limits;
  constexpr std::size_t kClients = 20;
  const std::size_t bound =
      kClients * (limits.message + 2 * std::size_t{limits.room} + (16 << 10));
  Serve(limits);
  desk_.talk = [&](CallContext*, const Handle& handle) {
    Fill(handle);
    return new Observer(&server_log_);
  };
  malloc_trim(0);  // what earlier tests left
  const std::size_t before = Memory();
  std::size_t most = 0;
  std::vector<std::unique_ptr<RawClient>> clients;
  for (std::size_t i = 0; i < kClients; ++i) {
    clients.emplace_back(new RawClient(port_));
    ASSERT_TRUE(clients.back()->Begin("/Desk/Talk"));
    clients.back()->Write(std::string("\x82\xff\0\0\0\0\0\x10\0\0mask", 14) +
                          std::string(limits.message - 1, 'x'));
    most = std::max(most, Memory() - before);
  }
  for (int i = 0; i < 100; ++i) {
    most = std::max(most, Memory() - before);
    std::this_thread::sleep_for(milliseconds(10));
  }
  EXPECT_LE(most, bound);
  EXPECT_GE(most, bound / 3);
  EXPECT_TRUE(Answers());
}
#endif

// Three clients make the server send, and do not read until others were served.
// Silence is asked about each second meanwhile, which ends nothing.
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
  EXPECT_TRUE(Answers());
  std::this_thread::sleep_for(std::chrono::seconds(3));
  EXPECT_TRUE(Answers());
  for (const auto& client : clients) {
    const std::string all = client->Read((4 + kSize) * kCount);
    EXPECT_EQ(all.size(), (4 + kSize) * kCount);
    EXPECT_EQ(client->ReadFrame(), "0 ");
    client->Close();
  }
  for (std::thread& each : senders) each.join();
}

TEST_F(WebSocketTest, ConnectionsAboveTheLimitWait) {
  Limits limits;
  limits.connections = 2;
  Serve(limits);
  const Handle first = Talk(channel_, &client_);
  ServerHandle();
  const Handle second = Talk(channel_, &client_);
  ServerHandle();
  Log log;
  Observer observer(&log);
  // One gives up at its deadline, the other is served when there is a place.
  ::Ask(channel_, "q", &observer, ClientContext("", milliseconds(100)));
  EXPECT_THAT(log.Lines(1), ElementsAre(kDeadline));
  ::Ask(channel_, "q", &observer);
  first->Cancel();
  EXPECT_EQ(log.Lines(4)[3], EndLine(StatusCode::kOk));
}

TEST_F(WebSocketTest, ConnectionThatDoesNotBeginIsClosed) {
  Limits limits;
  limits.upgrade = milliseconds(50);
  Serve(limits);
  RawClient silent(port_);
  EXPECT_EQ(silent.Read(1), "");
  RawClient slow(port_);
  slow.Write("GET /Desk/Ask HTTP/1.1\r\n");
  EXPECT_EQ(slow.Read(1), "");
  RawClient begun(port_);
  ASSERT_TRUE(begun.Begin("/Desk/Ask"));
  std::this_thread::sleep_for(milliseconds(100));
  begun.Write(RawClient::Frame(2, "q"));
  EXPECT_EQ(begun.ReadFrame(), "q");
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
  ASSERT_EQ(setsockopt(vanished.socket_number(), SOL_SOCKET, SO_ATTACH_FILTER,
                       &program, sizeof(program)),
            0);
  EXPECT_THAT(server_log_.Lines(1)[0], StartsWith(kLost));
  EXPECT_FALSE(kept->closed());
}

TEST_F(WebSocketTest, BothSidesKeepTheDeadline) {
  Serve();
  const auto within = [&](std::chrono::milliseconds timeout) {
    return Talk(channel_, &client_, ClientContext("", timeout));
  };
  Handle call = within(std::chrono::seconds(1));
  const Handle server_handle = ServerHandle();
  EXPECT_EQ(client_log_.Lines(1)[0], kDeadline);
  EXPECT_EQ(server_log_.Lines(1)[0], kDeadline);
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

TEST_F(WebSocketTest, StrangeClientIsToldWhatIsWrong) {
  Serve();
  const std::vector<std::array<std::string, 4>> rows = {
      {"/No/No", "", "", "1 no%20service%20No%20is%20registered"},
      {"/", "", "", "1 no%20service%20%20is%20registered"},
      {"/Desk/Talk", "Qarn-Timeout: soon\r\n", "",
       "4 the%20headers%20cannot%20be%20read"},
      {"/Desk/Talk", "Qarn-Timeout: 99999999999999999999\r\n", "",
       "4 the%20headers%20cannot%20be%20read"},
      {"/Desk/Talk", "Qarn-Label: %4\r\n", "",
       "4 the%20headers%20cannot%20be%20read"},
      {"/Desk/Talk", "", RawClient::Frame(1, "12"),
       "4 a%20text%20came%20that%20is%20no%20end"},
      {"/Desk/Talk", "", RawClient::Frame(1, "0 %"),
       "4 a%20text%20came%20that%20is%20no%20end"},
      {"/Desk/Talk", "", RawClient::Frame(1, "0") + RawClient::Frame(2, "a"),
       "4 a%20message%20came%20after%20the%20end"},
      {"/Desk/Ask", "", RawClient::Frame(2, "a") + RawClient::Frame(2, "b"),
       "a"},
  };
  for (const auto& row : rows) {
    // Kept open, so that only the status below ends it.
    Handle kept;
    desk_.talk = [&](CallContext*, const Handle& handle) {
      kept = handle;
      return new Observer(&server_log_);
    };
    RawClient raw(port_);
    ASSERT_TRUE(raw.Begin(row[0], row[1])) << row[3];
    raw.Write(row[2]);
    EXPECT_EQ(raw.ReadFrame(), row[3]);
  }
  EXPECT_TRUE(Answers());
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

// The server closes after the bad text, while it still reads the pieces.
TEST_F(WebSocketTest, PiecesOfAMessageBehindABadTextDoNoHarm) {
  Serve();
  const auto piece = [](int opcode) {
    std::string frame = RawClient::Frame(opcode, "f");
    frame[0] = static_cast<char>(opcode);  // more of the message follows
    return frame;
  };
  for (int pieces = 1; pieces < 8; ++pieces) {
    RawClient client(port_);
    ASSERT_TRUE(client.Begin("/Desk/Talk"));
    std::string frames = RawClient::Frame(1, "no end") + piece(2);
    for (int i = 1; i < pieces; ++i) frames += piece(0);
    client.Write(frames + RawClient::Frame(0, "f") + RawClient::Frame(2, ""));
    EXPECT_THAT(client.ReadFrame(), StartsWith("4 "));
    ServerHandle();
    EXPECT_TRUE(Answers());
  }
}

TEST_F(WebSocketTest, TextOfAnEndDoesNotCountAsAMessage) {
  Limits limits;
  limits.message = 1;
  Serve(limits);
  const std::string text(1024, ' ');
  Talk(channel_, &client_)->Close({StatusCode::kFailed, text});
  EXPECT_EQ(server_log_.Lines(1)[0], EndLine(StatusCode::kFailed, text));
}

// What the loop's thread posted must come ahead of what others post later.
TEST_F(WebSocketTest, CallThatBeganInAnEndIsCancelledFromAnotherThread) {
  Serve();
  Observer second(&client_log_);
  std::promise<Handle> begun;
  std::promise<void> cancelled;
  client_.on_end = [&] {
    begun.set_value(Talk(channel_, &second));
    cancelled.get_future().wait();
  };
  ::Ask(channel_, "hello", &client_);
  begun.get_future().get()->Cancel();
  cancelled.set_value();
  EXPECT_EQ(client_log_.Lines(4)[3],
            EndLine(StatusCode::kCancelled, "the call was cancelled"));
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
  server_->Stop(milliseconds(0));
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
  const Handle call = Talk(channel_, &client_);
  const Handle server_handle = ServerHandle();
  std::future<void> stopped = std::async(
      std::launch::async, [this] { server_->Stop(milliseconds::max()); });
  EXPECT_EQ(stopped.wait_for(milliseconds(100)), std::future_status::timeout);
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

}  // namespace
