// The client's half of the example: a call of each kind of the service in
// echo.proto, which prints what both sides say.
#ifndef QARN_RPC_EXAMPLES_ECHO_ECHO_CALLS_H_
#define QARN_RPC_EXAMPLES_ECHO_ECHO_CALLS_H_

#include <condition_variable>
#include <iostream>
#include <mutex>
#include <string>
#include <vector>

#include "echo.rpc.h"
#include "qarn/rpc.h"
#include "text.pb.h"

namespace echo_client {

// With services_namespace=api the service's class is not demo::echo::Echo but
// demo::echo::api::Echo. The messages stay where protoc puts them.
using demo::echo::Count;
using demo::echo::RepeatRequest;
using demo::echo::api::Echo;
using demo::text::Line;

inline Line MakeLine(const std::string& text) {
  Line line;
  line.set_text(text);
  return line;
}

// Says how far a call has come. A runtime may call an observer in a thread of
// its own, so the main thread waits here.
class Progress {
 public:
  void CountAnswer() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++answers_;
    changed_.notify_all();
  }
  void End(const qarn_rpc::Status& status) {
    const std::lock_guard<std::mutex> lock(mutex_);
    status_ = status;
    ended_ = true;
    changed_.notify_all();
  }

  // Waits for that many answers, or the end.
  void WaitForAnswers(int count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this, count] { return ended_ || answers_ >= count; });
  }
  // Waits for the end; says whether it was a success.
  bool WaitForEnd() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return ended_; });
    return status_.ok();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int answers_ = 0;
  bool ended_ = false;
  qarn_rpc::Status status_;
};

// An observer sees the answers of a call, and then its end. It stays ours, and
// must live until that end. In Stub, LineCallObserverPtr is the observer class
// itself, in spite of its name.

inline void PrintEnd(const qarn_rpc::Status& status) {
  if (status.ok()) {
    std::cout << "server: (done)\n";
  } else {
    std::cout << "server: (failed: " << status.message() << ")\n";
  }
}

class LinePrinter : public Echo::Stub::LineCallObserverPtr {
 public:
  void OnMessage(const Line& line) override {
    std::cout << "server: " << line.text() << "\n";
    progress.CountAnswer();
  }
  void OnEnd(const qarn_rpc::Status& status) override {
    PrintEnd(status);
    progress.End(status);
  }

  Progress progress;
};

class CountPrinter : public Echo::Stub::CountCallObserverPtr {
 public:
  void OnMessage(const Count& count) override {
    std::cout << "server: " << count.lines() << " lines\n";
    progress.CountAnswer();
  }
  void OnEnd(const qarn_rpc::Status& status) override {
    PrintEnd(status);
    progress.End(status);
  }

  Progress progress;
};

inline bool CallSay(Echo::Stub* stub) {
  std::cout << "\nSay, a simple call\n";
  LinePrinter answer;
  std::cout << "client: good morning\n";
  stub->Say(MakeLine("good morning"), &answer);
  if (!answer.progress.WaitForEnd()) return false;

  // The same with a context for this one call, in place of the stub's own.
  LinePrinter second_answer;
  std::cout << "client: good morning again\n";
  stub->Say(qarn_rpc::ClientContext("a guest"), MakeLine("good morning again"),
            &second_answer);
  return second_answer.progress.WaitForEnd();
}

inline bool CallRepeat(Echo::Stub* stub) {
  std::cout << "\nRepeat, the server streams\n";
  LinePrinter answers;
  RepeatRequest request;
  request.mutable_line()->set_text("hello");
  request.set_times(3);
  std::cout << "client: hello, three times please\n";
  stub->Repeat(request, &answers);
  return answers.progress.WaitForEnd();
}

inline bool CallTally(Echo::Stub* stub) {
  std::cout << "\nTally, the client streams\n";
  CountPrinter answers;
  // A batch call sends a whole container and says that it is done.
  const std::vector<Line> lines = {MakeLine("one"), MakeLine("two"),
                                   MakeLine("three")};
  std::cout << "client: one, two, three (as a batch)\n";
  stub->Tally(lines, &answers);
  return answers.progress.WaitForEnd();
}

inline bool CallChat(Echo::Stub* stub) {
  std::cout << "\nChat, both sides stream\n";
  LinePrinter answers;
  // Without a container the call returns a handle, through which we send what
  // we like when we like, and then close.
  const Echo::ChatClientCallPtr call = stub->Chat(&answers);
  int said = 0;
  for (const char* text : {"is anybody there?", "then good night"}) {
    std::cout << "client: " << text << "\n";
    call->Send(MakeLine(text));
    answers.progress.WaitForAnswers(++said);
  }
  std::cout << "client: (done)\n";
  call->Close();
  return answers.progress.WaitForEnd();
}

// What the traits are for: code that knows a method only as a constant.
template <demo::echo::api::EchoMethod method>
void PrintMethod() {
  std::cout << "  " << demo::echo::api::EchoMethods<method>::full_name()
            << "\n";
}

// The whole conversation. False if a call failed.
inline bool CallAll(Echo::Stub* stub) {
  std::cout << "The methods of " << Echo::full_name() << ":\n";
  PrintMethod<demo::echo::api::Echo_Say>();
  PrintMethod<demo::echo::api::Echo_Repeat>();
  PrintMethod<demo::echo::api::Echo_Tally>();
  PrintMethod<demo::echo::api::Echo_Chat>();

  return CallSay(stub) && CallRepeat(stub) && CallTally(stub) && CallChat(stub);
}

}  // namespace echo_client

#endif  // QARN_RPC_EXAMPLES_ECHO_ECHO_CALLS_H_
