// The server's half of the example: what answers the calls of the service in
// echo.proto. The generated code comes from
//
//   protoc -I examples/echo -I proto text.proto echo.proto
//       --cpp_out=DIR --qarn-rpc_out=DIR
//       --qarn-rpc_opt=services_namespace=api
#ifndef QARN_RPC_EXAMPLES_ECHO_ECHO_SERVICE_H_
#define QARN_RPC_EXAMPLES_ECHO_ECHO_SERVICE_H_

#include <iostream>
#include <memory>

#include "echo.rpc.h"
#include "qarn/rpc.h"
#include "text.pb.h"

namespace echo_server {

// With services_namespace=api the service's class is not demo::echo::Echo but
// demo::echo::api::Echo. The messages stay where protoc puts them.
using demo::echo::Count;
using demo::echo::RepeatRequest;
using demo::echo::api::Echo;
using demo::text::Line;

// A method whose client streams has no request argument: its
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
    Line answer;
    answer.set_text("you said: " + line.text());
    handle_->Send(answer);
  }

  void OnEnd(const qarn_rpc::Status& status) override {
    handle_->Close(status);
  }

 private:
  const Echo::Service::ChatCallHandle handle_;
};

// Answers one Repeat call. A handler must not wait, so this stops when there is
// no room for more, and goes on when there is.
class Repeater : public std::enable_shared_from_this<Repeater> {
 public:
  Repeater(const RepeatRequest& request,
           const Echo::Service::RepeatCallHandle& handle)
      : line_(request.line()), left_(request.times()), handle_(handle) {}

  void GoOn() {
    while (left_ > 0) {
      --left_;
      const qarn_rpc::SendResult result = handle_->Send(line_);
      if (result == qarn_rpc::SendResult::kEnded) return;
      if (result == qarn_rpc::SendResult::kFull) {
        const std::shared_ptr<Repeater> self = shared_from_this();
        return handle_->WhenRoom([self] { self->GoOn(); });
      }
    }
    handle_->Close();
  }

 private:
  const Line line_;
  int left_;
  const Echo::Service::RepeatCallHandle handle_;
};

// Each method has one handler. Echo::Service declares them pure virtual, so the
// compiler says which one is missing.
class EchoServer : public Echo::Service {
 public:
  void Say(qarn_rpc::CallContext* context, const Line& request,
           const SayCallHandle& handle) override {
    std::cout << "  (server: a call from \"" << context->client().label()
              << "\")" << std::endl;
    handle->Send(request);
    handle->Close();
  }

  void Repeat(qarn_rpc::CallContext*, const RepeatRequest& request,
              const RepeatCallHandle& handle) override {
    std::make_shared<Repeater>(request, handle)->GoOn();
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

}  // namespace echo_server

#endif  // QARN_RPC_EXAMPLES_ECHO_ECHO_SERVICE_H_
