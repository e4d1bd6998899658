// What the runtime promises of calls that several threads use at once. Run it
// under ThreadSanitizer for its full worth.
#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "websocket_test.h"

namespace {

using ::qarn::rpc::CallContext;
using ::qarn::rpc::ClientContext;
using ::qarn::rpc::SendResult;
using ::qarn::rpc::StatusCode;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::StartsWith;

// Over both channels.
class ThreadsTest : public WebSocketTest,
                    public ::testing::WithParamInterface<bool> {
 protected:
  ThreadsTest() {
    Serve();
    if (!GetParam()) return;
    const boost::shared_ptr<qarn::rpc::LocalChannel> local(
        new qarn::rpc::LocalChannel);
    local->Register(&service_);
    channel_ = local;
  }
};

INSTANTIATE_TEST_SUITE_P(IsLocal, ThreadsTest, ::testing::Bool());

TEST_P(ThreadsTest, HandleMayBeSharedBySenders) {
  constexpr int kEach = 1000;
  const Handle call = Talk(channel_, &client_);
  std::vector<std::thread> senders;
  for (const char name : {'a', 'b', 'c', 'd'}) {
    senders.emplace_back([call, name] {
      for (int i = 0; i < kEach; ++i)
        call->Send(Text(name + std::to_string(i)));
    });
  }
  for (std::thread& each : senders) each.join();
  call->Close();
  const std::size_t end = 2 * senders.size() * kEach;
  const std::vector<std::string> lines = server_log_.Lines(end + 1);
  ASSERT_EQ(lines.size(), end + 1);
  EXPECT_EQ(lines[end], EndLine(StatusCode::kOk));
  std::map<char, int> next;
  for (std::size_t i = 0; i < end; i += 2) {
    const char name = lines[i][1];
    const std::string text = name + std::to_string(next[name]++);
    ASSERT_EQ(lines[i], "<" + text);
    ASSERT_EQ(lines[i + 1], text + ">");  // no other came in between
  }
}

// The server, and at last the channel, goes while threads end the calls.
TEST_P(ThreadsTest, EndsThatRaceEndEachCallOnce) {
  std::atomic<std::size_t> begun{0};
  desk_.talk = [&](CallContext*, const Handle& handle) {
    ++begun;
    auto* const observer = new Observer(&server_log_);
    observer->on_end = [handle] { handle->Close(); };
    return observer;
  };
  std::deque<Log> logs;
  std::deque<Observer> observers;
  std::vector<std::thread> threads;
  for (int i = 0; i < 300; ++i) {
    logs.emplace_back();
    observers.emplace_back(&logs.back());
    const Handle call = Talk(channel_, &observers.back());
    // Before it is connected, meanwhile, and later.
    const std::chrono::microseconds wait(10 * i);
    threads.emplace_back([call, wait] {
      std::this_thread::sleep_for(wait);
      call->Close();
    });
    threads.emplace_back([call, wait, i] {
      std::this_thread::sleep_for(i % 2 * 2 * wait);
      call->Cancel();
    });
    if (i == 250) {
      threads.emplace_back([this] { server_->Stop(milliseconds(0)); });
    }
  }
  channel_.reset();
  for (std::thread& each : threads) each.join();
  for (Log& log : logs) {
    EXPECT_THAT(log.Lines(0), ElementsAre(StartsWith("end ")));
  }
  EXPECT_GT(begun, 0u);
  EXPECT_EQ(server_log_.Lines(0).size(), begun);
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

}  // namespace
