// A server of kinds.proto, generated with services_namespace=api. Every answer
// starts with the server's name and tells what it answers, so that a test sees
// which object was called, with what, and in which context.
#ifndef QARN_RPC_TESTS_GENERATED_KINDS_SERVER_H_
#define QARN_RPC_TESTS_GENERATED_KINDS_SERVER_H_

#include <boost/shared_ptr.hpp>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kinds.rpc.h"
#include "qarn/rpc.h"
#include "recorder.h"
#include "ways.h"

inline lab::kinds::Query MakeQuery(const std::string& text) {
  lab::kinds::Query query;
  query.set_text(text);
  return query;
}

inline lab::kinds::Answer MakeAnswer(const std::string& text) {
  lab::kinds::Answer answer;
  answer.set_text(text);
  return answer;
}

// The texts of the answers that a client saw.
inline std::vector<std::string> Texts(
    const Recorder<lab::kinds::Answer>& recorder) {
  std::vector<std::string> texts;
  for (const lab::kinds::Answer& answer : recorder.messages) {
    texts.push_back(answer.text());
  }
  return texts;
}

class KindsServer : public lab::kinds::api::Kinds::Service {
 public:
  explicit KindsServer(std::string name = "server") : name_(std::move(name)) {}

  // Labels of the contexts that arrived, in order.
  std::vector<std::string> labels() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return labels_;
  }
  // Full names of the methods that were called, in order.
  std::vector<std::string> calls() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
  }

  void Ask(qarn::rpc::CallContext* context, const Query& request,
           const AskCallHandle& handle) override {
    Note(*context);
    handle->Send(MakeAnswer(name_ + ": " + request.text()));
    handle->Close();
  }

  void Watch(qarn::rpc::CallContext* context, const Query& request,
             const WatchCallHandle& handle) override {
    Note(*context);
    for (const char* number : {" 1", " 2", " 3"}) {
      handle->Send(MakeAnswer(name_ + ": " + request.text() + number));
    }
    handle->Close();
  }

  QueryCallObserverPtr Upload(qarn::rpc::CallContext* context,
                              const UploadCallHandle& handle) override {
    Note(*context);
    return new UploadObserver(name_, handle);
  }

  QueryCallObserverPtr Chat(qarn::rpc::CallContext* context,
                            const ChatCallHandle& handle) override {
    Note(*context);
    return new ChatObserver(name_, handle);
  }

 private:
  // Answers once, at the end, with all requests.
  class UploadObserver : public qarn::rpc::CallObserver<Query> {
   public:
    UploadObserver(std::string name, UploadCallHandle handle)
        : text_(std::move(name) + ":"), handle_(std::move(handle)) {}
    void OnMessage(const Query& query) override { text_ += " " + query.text(); }
    void OnEnd(const qarn::rpc::Status& status) override {
      handle_->Send(MakeAnswer(text_));
      handle_->Close(status);
    }

   private:
    std::string text_;
    UploadCallHandle handle_;
  };

  // Answers each request.
  class ChatObserver : public qarn::rpc::CallObserver<Query> {
   public:
    ChatObserver(std::string name, ChatCallHandle handle)
        : name_(std::move(name)), handle_(std::move(handle)) {}
    void OnMessage(const Query& query) override {
      handle_->Send(MakeAnswer(name_ + ": " + query.text()));
    }
    void OnEnd(const qarn::rpc::Status& status) override {
      handle_->Close(status);
    }

   private:
    std::string name_;
    ChatCallHandle handle_;
  };

  void Note(const qarn::rpc::CallContext& context) {
    const std::lock_guard<std::mutex> lock(mutex_);
    labels_.push_back(context.client().label());
    calls_.push_back(context.method());
  }

  std::string name_;
  mutable std::mutex mutex_;
  std::vector<std::string> labels_;
  std::vector<std::string> calls_;
};

// A server, a channel that reaches it, and a stub whose own context has the
// label "stub".
struct KindsFixture {
  explicit KindsFixture(Way way = Way::kLocal)
      : reach(way),
        channel((reach.Register(server.service()), reach.channel())),
        stub("client", "endpoint", qarn::rpc::ClientContext("stub"), channel) {}

  KindsServer server;
  Reach reach;
  boost::shared_ptr<qarn::rpc::Channel> channel;
  lab::kinds::api::Kinds::Stub stub;
};

#endif  // QARN_RPC_TESTS_GENERATED_KINDS_SERVER_H_
