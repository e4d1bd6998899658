// A client of examples/echo's server that hostile_test.py runs.
//
//   runtime_caller PORT each             starts a call of each kind, prints
//   "started",
//                                        and then "METHOD: CODE" as each ends
//   runtime_caller PORT many COUNT N     makes COUNT calls, N at once; prints
//   how
//                                        many succeeded
//   runtime_caller PORT METHOD COUNT     sends or receives COUNT messages, or
//   both;
//                                        prints how many arrived
#include <algorithm>
#include <boost/shared_ptr.hpp>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "echo_calls.h"
#include "qarn/rpc.h"
#include "qarn/rpc/websocket.h"

namespace {

using demo::echo::Count;
using demo::echo::RepeatRequest;
using demo::echo::api::Echo;
using demo::text::Line;
using echo_client::MakeLine;
using echo_client::Progress;
using qarn_rpc::Status;

// Counts what comes; of a Count, what it says.
template <class Message>
class Counter : public qarn_rpc::CallObserver<Message> {
 public:
  explicit Counter(std::string method = "") : method_(std::move(method)) {}
  void OnMessage(const Message& message) override { Add(message); }
  void OnEnd(const Status& status) override {
    if (!method_.empty()) {
      std::cout << method_ + ": " +
                       std::to_string(static_cast<int>(status.code())) + "\n"
                << std::flush;
    }
    progress.End(status);
  }

  Progress progress;
  int count = 0;

 private:
  void Add(const Line&) { ++count; }
  void Add(const Count& answer) { count += answer.lines(); }

  const std::string method_;
};

RepeatRequest Repeats(int times) {
  RepeatRequest request;
  request.mutable_line()->set_text("hello");
  request.set_times(times);
  return request;
}

void StartEach(Echo::Stub* stub) {
  Counter<Line> said("Say");
  Counter<Line> repeated("Repeat");
  Counter<Line> chatted("Chat");
  Counter<Count> counted("Tally");
  stub->Say(MakeLine("hello"), &said);
  stub->Repeat(Repeats(1), &repeated);
  const auto chat = stub->Chat(&chatted);
  const auto tally = stub->Tally(&counted);
  std::cout << "started" << std::endl;
  said.progress.WaitForEnd();
  repeated.progress.WaitForEnd();
  chatted.progress.WaitForEnd();
  counted.progress.WaitForEnd();
}

int CallMany(Echo::Stub* stub, int count, int at_once) {
  int succeeded = 0;
  std::vector<std::unique_ptr<Counter<Line>>> calls(
      static_cast<std::size_t>(at_once));
  for (int i = 0; i < count + at_once; ++i) {
    auto& call = calls[static_cast<std::size_t>(i % at_once)];
    if (call && call->progress.WaitForEnd() && call->count == 1) ++succeeded;
    call.reset();
    if (i >= count) continue;
    call = std::make_unique<Counter<Line>>();
    stub->Say(MakeLine("hello"), call.get());
  }
  return succeeded;
}

// Sends so many on a thread of the program, where Send waits for room.
template <class Call>
void SendLines(const Call& call, int count) {
  const Line line = MakeLine("hello");
  for (int i = 0; i < count; ++i) call->Send(line);
  call->Close();
}

int Stream(Echo::Stub* stub, const std::string& method, int count) {
  Counter<Line> lines;
  Counter<Count> counted;
  if (method == "Tally") {
    SendLines(stub->Tally(&counted), count);
    return counted.progress.WaitForEnd() ? counted.count : -1;
  }
  if (method == "Repeat") {
    stub->Repeat(Repeats(count), &lines);
  } else {
    SendLines(stub->Chat(&lines), count);
  }
  return lines.progress.WaitForEnd() ? lines.count : -1;
}

}  // namespace

int main(int argc, char** argv) {
  const auto number = [argc, argv](int i) {
    return i < argc ? std::atoi(argv[i]) : 0;
  };
  const std::string command = argc > 2 ? argv[2] : "";
  qarn_rpc::Loop loop;
  const boost::shared_ptr<qarn_rpc::Channel> channel(
      new qarn_rpc::WebSocketChannel(&loop, "127.0.0.1",
                                     static_cast<unsigned short>(number(1))));
  Echo::Stub stub("caller", "server", qarn_rpc::ClientContext(), channel);
  if (command == "each") {
    StartEach(&stub);
  } else if (command == "many") {
    std::cout << CallMany(&stub, number(3), std::max(1, number(4))) << "\n";
  } else {
    std::cout << Stream(&stub, command, number(3)) << "\n";
  }
  return 0;
}
