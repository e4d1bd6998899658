// A server and a client of the service in echo.proto, in one program. The
// generated code comes from
//
//   protoc -I examples/echo -I proto text.proto echo.proto
//       --cpp_out=DIR --qarn-rpc_out=DIR
//       --qarn-rpc_opt=services_namespace=api
//
// and the RPC runtime is the small one of the tests, which makes every call
// within the process and delivers it before the call's function returns.
// The program prints conversation.txt.
#include <boost/shared_ptr.hpp>
#include <iostream>
#include <string>
#include <vector>

#include "echo.rpc.h"
#include "qarn/rpc.h"
#include "text.pb.h"

// With services_namespace=api the service's class is not demo::echo::Echo but
// demo::echo::api::Echo. The messages stay where protoc puts them.
using demo::echo::Count;
using demo::echo::RepeatRequest;
using demo::echo::api::Echo;
using demo::text::Line;

namespace {

Line MakeLine(const std::string& text) {
  Line line;
  line.set_text(text);
  return line;
}

// ---------------------------------------------------------------------------
// The server. A method whose client streams has no request argument: its
// handler returns an observer, which will see the requests. Make a new one for
// each call; the call deletes it after its OnEnd.

// Counts the lines of one Tally call and answers when the client is done.
class Tallier : public qarn_rpc::CallObserver<Line> {
 public:
  explicit Tallier(const Echo::Service::TallyCallHandle& handle)
      : handle_(handle) {}

  void OnMessage(const Line&) override { ++lines_; }

  void OnEnd(const qarn_rpc::Status& status) override {
    if (status.ok()) {
      Count count;
      count.set_lines(lines_);
      handle_->Send(count);
    }
    handle_->Close(status);
  }

 private:
  const Echo::Service::TallyCallHandle handle_;
  int lines_ = 0;
};

// Answers each line of one Chat call at once.
class Chatter : public qarn_rpc::CallObserver<Line> {
 public:
  explicit Chatter(const Echo::Service::ChatCallHandle& handle)
      : handle_(handle) {}

  void OnMessage(const Line& line) override {
    handle_->Send(MakeLine("you said: " + line.text()));
  }

  void OnEnd(const qarn_rpc::Status& status) override {
    handle_->Close(status);
  }

 private:
  const Echo::Service::ChatCallHandle handle_;
};

// Each method has one handler. Echo::Service declares them pure virtual, so the
// compiler says which one is missing.
class EchoServer : public Echo::Service {
 public:
  void Say(qarn_rpc::CallContext* context, const Line& request,
           const SayCallHandle& handle) override {
    std::cout << "  (server: a call from \"" << context->client().label()
              << "\")\n";
    handle->Send(request);
    handle->Close();
  }

  void Repeat(qarn_rpc::CallContext*, const RepeatRequest& request,
              const RepeatCallHandle& handle) override {
    for (int i = 0; i < request.times(); ++i) handle->Send(request.line());
    handle->Close();
  }

  // In Service, LineCallObserverPtr is a pointer to an observer of requests.
  LineCallObserverPtr Tally(qarn_rpc::CallContext*,
                            const TallyCallHandle& handle) override {
    return new Tallier(handle);
  }

  LineCallObserverPtr Chat(qarn_rpc::CallContext*,
                           const ChatCallHandle& handle) override {
    return new Chatter(handle);
  }
};

// ---------------------------------------------------------------------------
// The client. An observer sees the answers of a call, and then its end. It
// stays ours, and must live until that end. In Stub, LineCallObserverPtr is
// the observer class itself, in spite of its name.

void PrintEnd(const qarn_rpc::Status& status) {
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
  }
  void OnEnd(const qarn_rpc::Status& status) override { PrintEnd(status); }
};

class CountPrinter : public Echo::Stub::CountCallObserverPtr {
 public:
  void OnMessage(const Count& count) override {
    std::cout << "server: " << count.lines() << " lines\n";
  }
  void OnEnd(const qarn_rpc::Status& status) override { PrintEnd(status); }
};

void CallSay(Echo::Stub* stub) {
  std::cout << "\nSay, a simple call\n";
  LinePrinter answers;
  std::cout << "client: good morning\n";
  stub->Say(MakeLine("good morning"), &answers);

  // The same with a context for this one call, in place of the stub's own.
  std::cout << "client: good morning again\n";
  stub->Say(qarn_rpc::ClientContext("a guest"), MakeLine("good morning again"),
            &answers);
}

void CallRepeat(Echo::Stub* stub) {
  std::cout << "\nRepeat, the server streams\n";
  LinePrinter answers;
  RepeatRequest request;
  request.mutable_line()->set_text("hello");
  request.set_times(3);
  std::cout << "client: hello, three times please\n";
  stub->Repeat(request, &answers);
}

void CallTally(Echo::Stub* stub) {
  std::cout << "\nTally, the client streams\n";
  CountPrinter answers;
  // A batch call sends a whole container and says that it is done.
  const std::vector<Line> lines = {MakeLine("one"), MakeLine("two"),
                                   MakeLine("three")};
  std::cout << "client: one, two, three (as a batch)\n";
  stub->Tally(lines, &answers);
}

void CallChat(Echo::Stub* stub) {
  std::cout << "\nChat, both sides stream\n";
  LinePrinter answers;
  // Without a container the call returns a handle, through which we send what
  // we like when we like, and then close.
  const Echo::ChatClientCallPtr call = stub->Chat(&answers);
  for (const char* text : {"is anybody there?", "then good night"}) {
    std::cout << "client: " << text << "\n";
    call->Send(MakeLine(text));
  }
  std::cout << "client: (done)\n";
  call->Close();
}

// What the traits are for: code that knows a method only as a constant.
template <demo::echo::api::EchoMethod method>
void PrintMethod() {
  std::cout << "  " << demo::echo::api::EchoMethods<method>::full_name()
            << "\n";
}

}  // namespace

int main() {
  // The server must outlive the calls, so it comes first.
  EchoServer server;
  const boost::shared_ptr<qarn_rpc::Channel> channel(new qarn_rpc::Channel);
  if (!channel->Register(server.service())) return 1;

  std::cout << "The methods of " << Echo::full_name() << ":\n";
  PrintMethod<demo::echo::api::Echo_Say>();
  PrintMethod<demo::echo::api::Echo_Repeat>();
  PrintMethod<demo::echo::api::Echo_Tally>();
  PrintMethod<demo::echo::api::Echo_Chat>();

  Echo::Stub stub("example", "in-process", qarn_rpc::ClientContext("a friend"),
                  channel);
  CallSay(&stub);
  CallRepeat(&stub);
  CallTally(&stub);
  CallChat(&stub);
  return 0;
}
