// A service with a simple and a bidirectional method, hand-written as generated
// code would be, and observers that log, for tests of the runtime. Its messages
// are no protobuf ones, so that bytes can be anything.
#ifndef QARN_RPC_TESTS_RUNTIME_DESK_H_
#define QARN_RPC_TESTS_RUNTIME_DESK_H_

#include <boost/shared_ptr.hpp>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "qarn/rpc.h"

// The text "garbled" does not parse.
struct Text {
  Text() = default;
  explicit Text(std::string t) : text(std::move(t)) {}
  std::string SerializePartialAsString() const { return text; }
  bool ParsePartialFromString(const std::string& bytes) {
    text = bytes;
    return bytes != "garbled";
  }
  std::string text;
};

using Handle = boost::intrusive_ptr<qarn::rpc::CallHandle<Text>>;

// Lines that several threads write, in the order in which they come.
class Log {
 public:
  void Add(const std::string& line) {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(line);
    changed_.notify_all();
  }
  // What is there once there are `count`, or after a minute.
  std::vector<std::string> Lines(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::minutes(1),
                      [this, count] { return lines_.size() >= count; });
    return lines_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
};

// Whether the handle's direction ends, within a minute.
inline bool Closes(const Handle& handle) {
  for (int i = 0; i < 6000 && !handle->closed(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return handle->closed();
}

// What the end of a call is in a log.
inline std::string EndLine(qarn::rpc::StatusCode code,
                           const std::string& message = "") {
  return "end " + std::to_string(static_cast<int>(code)) + " " + message;
}

// Logs what it sees, and then does what the test gave it to do.
class Observer : public qarn::rpc::CallObserver<Text> {
 public:
  explicit Observer(Log* log) : log_(log) {}
  ~Observer() override {
    if (on_delete) on_delete();
  }
  void OnMessage(const Text& message) override {
    log_->Add("<" + message.text);
    if (on_message) on_message(message.text);
    log_->Add(message.text + ">");
  }
  void OnEnd(const qarn::rpc::Status& status) override {
    // The test may go on, and delete this, as soon as the log has the line.
    const std::function<void()> then = on_end;
    Log* const log = log_;
    const std::string line = EndLine(status.code(), status.message());
    if (then) then();
    log->Add(line);
  }

  std::function<void(const std::string&)> on_message;
  std::function<void()> on_end;
  std::function<void()> on_delete;

 private:
  Log* const log_;
};

// A handler that a test sets, also while the server runs.
template <class Function>
class Handler {
 public:
  void operator=(Function function) {
    const std::lock_guard<std::mutex> lock(mutex_);
    function_ = std::move(function);
  }
  Function get() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return function_;
  }

 private:
  mutable std::mutex mutex_;
  Function function_;
};

struct Desk {
  static const char* full_name() { return "Desk"; }
  class Service : public qarn::rpc::ServiceBase {
   public:
    void Ask(qarn::rpc::CallContext* context, const Text& request,
             const Handle& handle) {
      ask.get()(*context, request, handle);
    }
    qarn::rpc::CallObserver<Text>* Talk(qarn::rpc::CallContext* context,
                                        const Handle& handle) {
      return talk.get()(context, handle);
    }
    Handler<std::function<void(const qarn::rpc::CallContext&, const Text&,
                               const Handle&)>>
        ask;
    Handler<std::function<qarn::rpc::CallObserver<Text>*(
        qarn::rpc::CallContext*, const Handle&)>>
        talk;
  };
};

template <qarn::rpc::RpcMethodType type>
struct DeskTraits {
  static const char* name() {
    return type == qarn::rpc::RMT_SIMPLE ? "Ask" : "Talk";
  }
  static const char* full_name() {
    return type == qarn::rpc::RMT_SIMPLE ? "Desk/Ask" : "Desk/Talk";
  }
  static const qarn::rpc::RpcMethodType rpc_type = type;
  typedef Text request;
  typedef Text response;
};
using AskTraits = DeskTraits<qarn::rpc::RMT_SIMPLE>;
using TalkTraits = DeskTraits<qarn::rpc::RMT_BIDI_STREAMING>;

// The Desk as a server registers it.
class DeskService : public qarn::rpc::RpcService {
 public:
  explicit DeskService(Desk::Service* desk) : RpcService("Desk") {
    AddMethod(new qarn::rpc::RpcServiceMethodT<Desk, AskTraits>(
        desk, &Desk::Service::Ask));
    AddMethod(new qarn::rpc::RpcServiceMethodT<Desk, TalkTraits>(
        desk, &Desk::Service::Talk));
  }
};

using ChannelPtr = boost::shared_ptr<qarn::rpc::Channel>;

inline Handle Ask(const ChannelPtr& channel, const std::string& text,
                  Observer* observer,
                  const qarn::rpc::ClientContext& context = {}) {
  static const qarn::rpc::RpcMethod method =
      qarn::rpc::make_rpc_method<Desk, AskTraits>(qarn::rpc::CS_CLIENT);
  return qarn::rpc::client::AsyncSimpleCall(channel, method, context,
                                            Text(text), observer);
}

inline Handle Talk(const ChannelPtr& channel, Observer* observer,
                   const qarn::rpc::ClientContext& context = {}) {
  static const qarn::rpc::RpcMethod method =
      qarn::rpc::make_rpc_method<Desk, TalkTraits>(qarn::rpc::CS_CLIENT);
  return qarn::rpc::client::AsyncStreamingCall<Text, Text>(channel, method,
                                                           context, observer);
}

#endif  // QARN_RPC_TESTS_RUNTIME_DESK_H_
