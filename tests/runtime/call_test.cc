// What the runtime promises within the process about delivery and lifetime. The
// messages here are no protobuf ones, so that bytes can be anything; run this
// under AddressSanitizer for its full worth.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/shared_ptr.hpp>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qarn/rpc.h"

namespace {

using ::qarn::rpc::CallContext;
using ::qarn::rpc::CallHandle;
using ::qarn::rpc::CallObserver;
using ::qarn::rpc::ClientContext;
using ::qarn::rpc::LocalChannel;
using ::qarn::rpc::Status;
using ::qarn::rpc::StatusCode;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A message as the runtime needs it. The text "garbled" does not parse.
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

using Handle = boost::intrusive_ptr<CallHandle<Text>>;

// Logs what it sees and then does what the test gave it to do.
class Observer : public CallObserver<Text> {
 public:
  explicit Observer(std::vector<std::string>* log) : log_(log) {}
  ~Observer() override {
    if (on_delete) on_delete();
  }
  void OnMessage(const Text& message) override {
    log_->push_back("<" + message.text);
    if (on_message) on_message(message.text);
    log_->push_back(message.text + ">");
  }
  void OnEnd(const Status& status) override {
    log_->push_back(status.ok() ? "end" : "end: " + status.message());
    code = status.code();
    if (on_end) on_end();
  }

  std::function<void(const std::string&)> on_message;
  std::function<void()> on_end;
  std::function<void()> on_delete;
  StatusCode code = StatusCode::kOk;

 private:
  std::vector<std::string>* const log_;
};

// Hand-written as generated code would be, with handlers that a test sets.
struct Desk {
  static const char* full_name() { return "Desk"; }
  class Service : public ::qarn::rpc::ServiceBase {
   public:
    void Ask(CallContext* context, const Text& request, const Handle& handle) {
      ask(*context, request, handle);
    }
    CallObserver<Text>* Talk(CallContext* context, const Handle& handle) {
      return talk(context, handle);
    }
    std::function<void(const CallContext&, const Text&, const Handle&)> ask;
    std::function<CallObserver<Text>*(CallContext*, const Handle&)> talk;
  };
};

struct AskTraits {
  static const char* name() { return "Ask"; }
  static const char* full_name() { return "Desk/Ask"; }
  static const ::qarn::rpc::RpcMethodType rpc_type = ::qarn::rpc::RMT_SIMPLE;
  typedef Text request;
  typedef Text response;
};

struct TalkTraits {
  static const char* name() { return "Talk"; }
  static const char* full_name() { return "Desk/Talk"; }
  static const ::qarn::rpc::RpcMethodType rpc_type =
      ::qarn::rpc::RMT_BIDI_STREAMING;
  typedef Text request;
  typedef Text response;
};

class CallTest : public ::testing::Test {
 protected:
  CallTest()
      : service_("Desk"), channel_(new LocalChannel), client_(&client_log_) {
    using ::qarn::rpc::RpcServiceMethodT;
    service_.AddMethod(
        new RpcServiceMethodT<Desk, AskTraits>(&desk_, &Desk::Service::Ask));
    service_.AddMethod(
        new RpcServiceMethodT<Desk, TalkTraits>(&desk_, &Desk::Service::Talk));
    channel_->Register(&service_);
    // By default each Talk call logs its requests, and keeps its handle here.
    desk_.talk = [this](CallContext*, const Handle& handle) {
      server_handle_ = handle;
      return NewServerObserver();
    };
  }

  Observer* NewServerObserver() {
    auto* const observer = new Observer(&server_log_);
    observer->on_delete = [this] { ++deleted_; };
    return observer;
  }

  Handle Ask(const std::string& text) {
    return ::qarn::rpc::client::AsyncSimpleCall(
        channel_,
        ::qarn::rpc::make_rpc_method<Desk, AskTraits>(::qarn::rpc::CS_CLIENT),
        ClientContext("me"), Text(text), &client_);
  }

  Handle Talk() {
    return ::qarn::rpc::client::AsyncStreamingCall<Text, Text>(
        channel_,
        ::qarn::rpc::make_rpc_method<Desk, TalkTraits>(::qarn::rpc::CS_CLIENT),
        ClientContext("me"), &client_);
  }

  Desk::Service desk_;
  ::qarn::rpc::RpcService service_;
  boost::shared_ptr<LocalChannel> channel_;
  std::vector<std::string> client_log_;
  std::vector<std::string> server_log_;
  Observer client_;
  Handle server_handle_;
  int deleted_ = 0;
};

TEST_F(CallTest, ServerMayAnswerAfterTheHandlerReturned) {
  Handle kept;
  desk_.ask = [&](const CallContext&, const Text&, const Handle& handle) {
    kept = handle;
  };
  Ask("q");
  EXPECT_THAT(client_log_, IsEmpty());
  kept->Send(Text("late"));
  kept->Close();
  EXPECT_THAT(client_log_, ElementsAre("<late", "late>", "end"));
}

TEST_F(CallTest, ServerThatDropsItsHandleAbandonsTheCall) {
  desk_.ask = [](const CallContext&, const Text&, const Handle&) {};
  Ask("q");
  EXPECT_EQ(client_.code, StatusCode::kAbandoned);
  EXPECT_THAT(client_log_,
              ElementsAre("end: the handle was dropped, not closed"));
}

TEST_F(CallTest, ClientThatDropsItsHandleAbandonsTheCall) {
  Talk();
  EXPECT_THAT(server_log_,
              ElementsAre("end: the handle was dropped, not closed"));
  EXPECT_EQ(deleted_, 1);
  // The answers are a direction of their own, which is still open.
  EXPECT_THAT(client_log_, IsEmpty());
  server_handle_->Close();
  EXPECT_THAT(client_log_, ElementsAre("end"));
}

TEST_F(CallTest, ServersObserverIsDeletedAfterItsEndThoughTheHandleIsKept) {
  const Handle call = Talk();
  call->Send(Text("a"));
  EXPECT_EQ(deleted_, 0);
  call->Close();
  EXPECT_EQ(deleted_, 1);
  EXPECT_THAT(server_log_, ElementsAre("<a", "a>", "end"));

  EXPECT_FALSE(call->Send(Text("b")));
  call->Close(Status(StatusCode::kFailed, "once more"));
  EXPECT_THAT(server_log_, ElementsAre("<a", "a>", "end"));
}

TEST_F(CallTest, HandlesOutliveTheServerAndTheChannel) {
  Handle call;
  {
    Desk::Service short_lived;
    short_lived.talk = desk_.talk;
    ::qarn::rpc::RpcService service("Desk");
    service.AddMethod(new ::qarn::rpc::RpcServiceMethodT<Desk, TalkTraits>(
        &short_lived, &Desk::Service::Talk));
    channel_.reset(new LocalChannel);
    channel_->Register(&service);
    call = Talk();
    channel_.reset();
  }
  call->Close();
  EXPECT_FALSE(call->Send(Text("a")));
  EXPECT_THAT(server_log_, ElementsAre("end"));
}

TEST_F(CallTest, StatusOfTheServerReachesTheClient) {
  const Handle call = Talk();
  server_handle_->Close(Status(StatusCode::kFailed, "no more"));
  EXPECT_EQ(client_.code, StatusCode::kFailed);
  EXPECT_THAT(client_log_, ElementsAre("end: no more"));
  EXPECT_FALSE(server_handle_->Send(Text("too late")));
  // The client may go on; the server's observer still listens.
  EXPECT_TRUE(call->Send(Text("a")));
  EXPECT_THAT(server_log_, ElementsAre("<a", "a>"));
}

TEST_F(CallTest, MessageSentWhileOneIsDeliveredWaits) {
  // The client answers "a" with "b", and the server sends back all it gets.
  Handle call;
  desk_.talk = [this](CallContext*, const Handle& handle) {
    Observer* const observer = NewServerObserver();
    observer->on_message = [handle](const std::string& text) {
      handle->Send(Text(text));
    };
    return observer;
  };
  client_.on_message = [&](const std::string& text) {
    if (text == "a") call->Send(Text("b"));
  };
  call = Talk();
  call->Send(Text("a"));
  EXPECT_THAT(server_log_, ElementsAre("<a", "a>", "<b", "b>"));
  EXPECT_THAT(client_log_, ElementsAre("<a", "a>", "<b", "b>"));
  call->Close();
  EXPECT_EQ(client_.code, StatusCode::kAbandoned);  // nobody closed the answers
}

TEST_F(CallTest, CloseWhileAMessageIsDeliveredWaits) {
  Handle call;
  desk_.talk = [&](CallContext*, const Handle&) {
    Observer* const observer = NewServerObserver();
    observer->on_message = [&](const std::string&) { call->Close(); };
    return observer;
  };
  call = Talk();
  call->Send(Text("a"));
  EXPECT_THAT(server_log_, ElementsAre("<a", "a>", "end"));
  EXPECT_EQ(deleted_, 1);
}

TEST_F(CallTest, ObserverMayDropTheLastHandleOfItsCall) {
  Handle call;
  desk_.talk = [&](CallContext*, const Handle&) {
    Observer* const observer = NewServerObserver();
    observer->on_message = [&](const std::string&) { call.reset(); };
    return observer;
  };
  call = Talk();
  call->Send(Text("a"));
  EXPECT_THAT(
      server_log_,
      ElementsAre("<a", "a>", "end: the handle was dropped, not closed"));
  EXPECT_EQ(deleted_, 1);
}

TEST_F(CallTest, ObserverMayDropTheLastHandleAtItsEnd) {
  Handle call;
  client_.on_end = [&] { call.reset(); };
  desk_.talk = [this](CallContext*, const Handle& handle) {
    Observer* const observer = NewServerObserver();
    observer->on_end = [handle] { handle->Close(); };
    return observer;
  };
  call = Talk();
  call->Close();
  EXPECT_EQ(call, nullptr);
  EXPECT_EQ(deleted_, 1);
  EXPECT_THAT(client_log_, ElementsAre("end"));
}

TEST_F(CallTest, NullObserversTakeNothing) {
  desk_.talk = [](CallContext*, const Handle& handle) {
    handle->Send(Text("unheard"));
    handle->Close();
    return nullptr;
  };
  CallObserver<Text>* const nobody = nullptr;
  const Handle call = ::qarn::rpc::client::AsyncStreamingCall<Text, Text>(
      channel_,
      ::qarn::rpc::make_rpc_method<Desk, TalkTraits>(::qarn::rpc::CS_CLIENT),
      ClientContext(), nobody);
  EXPECT_TRUE(call->Send(Text("unheard")));
  call->Close();
}

TEST_F(CallTest, GarbledRequestEndsTheCall) {
  desk_.ask = [](const CallContext&, const Text&, const Handle&) { FAIL(); };
  Ask("garbled");
  EXPECT_EQ(client_.code, StatusCode::kBadMessage);
  EXPECT_EQ(client_log_.size(), 1u);
}

TEST_F(CallTest, GarbledMessageEndsAStreamOnce) {
  const Handle call = Talk();
  call->Send(Text("a"));
  call->Send(Text("garbled"));
  call->Send(Text("b"));
  call->Close();
  EXPECT_THAT(
      server_log_,
      ElementsAre("<a", "a>",
                  "end: the bytes are not a message of the method's type"));
}

TEST_F(CallTest, ContextHoldsAsLongAsTheObserver) {
  std::string seen;
  desk_.talk = [&](CallContext* context, const Handle& handle) {
    Observer* const observer = NewServerObserver();
    server_handle_ = handle;
    observer->on_delete = [&seen, context] {
      seen = context->client().label() + " called " + context->method();
    };
    return observer;
  };
  Talk()->Close();
  EXPECT_EQ(seen, "me called Desk/Talk");
}

}  // namespace
