// A client of examples/echo's server that hostile_test.py runs.
//
//   runtime_caller PORT each           starts a call of each kind, prints that,
//                                      and "METHOD: CODE" as each ends
//   runtime_caller PORT many COUNT N   makes COUNT calls, N at once; prints how
//                                      many succeeded
//   runtime_caller PORT chat COUNT     sends COUNT messages in one call; prints
//                                      how many came back
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

// Counts what comes, and says how the call ended if it has a name.
template <class Message>
class Counter : public qarn_rpc::CallObserver<Message> {
 public:
  explicit Counter(std::string method = "") : method_(std::move(method)) {}
  void OnMessage(const Message&) override { ++count; }
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
  const std::string method_;
};

void StartEach(Echo::Stub* stub) {
  Counter<Line> said("Say");
  Counter<Line> repeated("Repeat");
  Counter<Line> chatted("Chat");
  Counter<Count> counted("Tally");
  stub->Say(MakeLine("hello"), &said);
  stub->Repeat(RepeatRequest(), &repeated);
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

// On a thread of the program, where Send waits for room.
int Chat(Echo::Stub* stub, int count) {
  Counter<Line> answers;
  const auto call = stub->Chat(&answers);
  const Line line = MakeLine("hello");
  for (int i = 0; i < count; ++i) call->Send(line);
  call->Close();
  return answers.progress.WaitForEnd() ? answers.count : -1;
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
    std::cout << Chat(&stub, number(3)) << "\n";
  }
  return 0;
}
