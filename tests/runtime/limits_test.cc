// The limits of calls over the network, each reached and gone beyond.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "websocket_test.h"

namespace {

using ::qarn::rpc::CallContext;
using ::qarn::rpc::ClientContext;
using ::qarn::rpc::Limits;
using ::qarn::rpc::SendResult;
using ::qarn::rpc::StatusCode;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::StartsWith;

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
  ServerHandle();
  // The sender's own limit.
  const std::string sent =
      EndLine(StatusCode::kTooLarge, "the sender's message is above its limit");
  channel_ = NewChannel(small);
  const Handle call = Talk(channel_, &client_);
  EXPECT_EQ(call->Send(Text(too_long)), SendResult::kEnded);
  EXPECT_EQ(client_log_.Lines(5)[4], sent);
  EXPECT_TRUE(Answers());
}

TEST_F(WebSocketTest, TextOfAnEndHasALimitOfItsOwn) {
  Limits limits;
  limits.message = 1;
  Serve(limits);
  const std::string text(1024, ' ');
  Talk(channel_, &client_)->Close({StatusCode::kFailed, text});
  ServerHandle();
  Talk(channel_, &client_)->Close({StatusCode::kFailed, text + "cut off"});
  const std::string end = EndLine(StatusCode::kFailed, text);
  EXPECT_THAT(server_log_.Lines(2), ElementsAre(end, end));
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

// UndefinedBehaviorSanitizer sees it, too, if one overflows.
TEST_F(WebSocketTest, LimitsMayBeAnyNumbers) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
  constexpr int kMostInt = std::numeric_limits<int>::max();
  constexpr int kLeastInt = std::numeric_limits<int>::min();
  const auto ms = std::chrono::milliseconds(100);  // between looks at a client
  const std::vector<Limits> rows = {
      {kMost, kMost, kMost, kMost, milliseconds::max(), kMostInt, kMostInt},
      {kMost, kMost, kMost, 0, ms, kLeastInt, kMostInt},
      {kMost, kMost, kMost, 0, ms, kMostInt, kLeastInt},
  };
  for (const Limits& limits : rows) {
    Serve(limits);
    channel_ = NewChannel(limits);
    Log log;
    Observer observer(&log);
    const Handle call = Talk(channel_, &observer);
    EXPECT_EQ(call->Send(Text("hello")), SendResult::kSent);
    server_log_.Lines(2);
    std::this_thread::sleep_for(3 * ms);
    ServerHandle()->Close();
    call->Close();
    EXPECT_THAT(log.Lines(1), ElementsAre(EndLine(StatusCode::kOk)));
    ::Ask(channel_, "q", &observer, ClientContext(std::string(100000, 'x')));
    EXPECT_THAT(log.Lines(2)[1], StartsWith(EndLine(StatusCode::kTooLarge)));
  }
  RawClient silent(port_);
  EXPECT_EQ(silent.Read(1), "");
}

#ifndef __has_feature
#define __has_feature(name) 0
#endif
#if !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer)
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

// Each client has sent all but the last byte of the longest message, and then
// reads none of what its handler sends as often as it may.
TEST_F(WebSocketTest, ServerKeepsToTheBoundOfItsMemory) {
  const Limits limits;
  constexpr std::size_t kClients = 20;
  const std::size_t bound =
      kClients * (limits.message + 2 * std::size_t{limits.room} + (16 << 10));
  Serve(limits);
  // What earlier tests left goes, and later so does what is freed.
  mallopt(M_MMAP_THRESHOLD, 128 << 10);
  malloc_trim(0);
  const std::size_t before = Memory();
  std::size_t most = 0;
  std::vector<std::unique_ptr<RawClient>> clients;
  std::vector<Handle> handles;
  for (std::size_t i = 0; i < kClients; ++i) {
    clients.emplace_back(new RawClient(port_));
    ASSERT_TRUE(clients.back()->Begin("/Desk/Talk"));
    clients.back()->Write(std::string("\x82\xff\0\0\0\0\0\x10\0\0mask", 14) +
                          std::string(limits.message - 1, 'x'));
    handles.push_back(ServerHandle());
  }
  for (const Handle& handle : handles) {
    handle->WhenRoom([handle] { Fill(handle); });
  }
  const std::size_t nearly = bound / 6 * 5;  // the system has the rest
  for (int i = 0; i < 100 || (most < nearly && i < 3000); ++i) {
    most = std::max(most, Memory() - before);
    std::this_thread::sleep_for(milliseconds(10));
  }
  EXPECT_LE(most, bound + bound / 10);  // what malloc keeps
  EXPECT_GE(most, nearly);
  EXPECT_TRUE(Answers());
}
#endif

}  // namespace
