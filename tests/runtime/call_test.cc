// What the runtime promises of a call over either channel: delivery, ends,
// lifetime. Run it under AddressSanitizer and ThreadSanitizer for its full
// worth.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/shared_ptr.hpp>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "desk.h"
#include "qarn/rpc.h"
#include "qarn/rpc/websocket.h"

namespace {

using ::qarn::rpc::CallContext;
using ::qarn::rpc::ClientContext;
using ::qarn::rpc::LocalChannel;
using ::qarn::rpc::SendResult;
using ::qarn::rpc::Status;
using ::qarn::rpc::StatusCode;
using ::testing::ElementsAre;

const char kDropped[] = "the handle was dropped, not closed";

enum class Way { kLocal, kWebSocket };

std::string WayName(const ::testing::TestParamInfo<Way>& info) {
  return info.param == Way::kLocal ? "Local" : "WebSocket";
}

class CallTest : public ::testing::TestWithParam<Way> {
 protected:
  CallTest() {
    // By default each Talk call logs its requests, and keeps its handle here.
    desk_.talk = [this](CallContext*, const Handle& handle) {
      server_handle_.set_value(handle);
      return NewServerObserver();
    };
    std::string reason;
    server_.Register(&service_);
    EXPECT_TRUE(server_.Listen("127.0.0.1", 0, &reason)) << reason;
    channel_ = NewChannel();
  }

  ChannelPtr NewChannel() {
    if (GetParam() == Way::kWebSocket) {
      return ChannelPtr(
          new qarn::rpc::WebSocketChannel(&loop_, "127.0.0.1", server_.port()));
    }
    const boost::shared_ptr<LocalChannel> local(new LocalChannel);
    local->Register(&service_);
    return local;
  }

  Observer* NewServerObserver() {
    auto* const observer = new Observer(&server_log_);
    observer->on_delete = [this] { server_log_.Add("deleted"); };
    return observer;
  }
  Handle Ask(const std::string& text) {
    return ::Ask(channel_, text, &client_, ClientContext("me"));
  }
  Handle Talk() { return ::Talk(channel_, &client_, ClientContext("me")); }
  // Of the one Talk call.
  Handle ServerHandle() { return server_handle_.get_future().get(); }

  Desk::Service desk_;
  DeskService service_{&desk_};
  Log client_log_;
  Log server_log_;
  Observer client_{&client_log_};
  std::promise<Handle> server_handle_;
  qarn::rpc::Loop loop_;
  qarn::rpc::WebSocketServer server_{&loop_};
  ChannelPtr channel_;
};

INSTANTIATE_TEST_SUITE_P(Ways, CallTest,
                         ::testing::Values(Way::kLocal, Way::kWebSocket),
                         WayName);

TEST_P(CallTest, ServerMayAnswerAfterTheHandlerReturned) {
  std::promise<Handle> kept;
  desk_.ask = [&](const CallContext&, const Text&, const Handle& handle) {
    kept.set_value(handle);
  };
  Ask("q");
  const Handle handle = kept.get_future().get();
  EXPECT_EQ(handle->Send(Text("late")), SendResult::kSent);
  handle->Close();
  EXPECT_THAT(client_log_.Lines(3),
              ElementsAre("<late", "late>", EndLine(StatusCode::kOk)));
}

TEST_P(CallTest, ServerThatDropsItsHandleAbandonsTheCall) {
  desk_.ask = [](const CallContext&, const Text&, const Handle&) {};
  Ask("q");
  EXPECT_THAT(client_log_.Lines(1),
              ElementsAre(EndLine(StatusCode::kAbandoned, kDropped)));
}

TEST_P(CallTest, ClientThatDropsItsHandleAbandonsTheCall) {
  Talk();
  EXPECT_THAT(
      server_log_.Lines(2),
      ElementsAre(EndLine(StatusCode::kAbandoned, kDropped), "deleted"));
  // The answers are a direction of their own, which is still open.
  const Handle handle = ServerHandle();
  EXPECT_EQ(handle->Send(Text("a")), SendResult::kSent);
  handle->Close();
  EXPECT_THAT(client_log_.Lines(3),
              ElementsAre("<a", "a>", EndLine(StatusCode::kOk)));
}

TEST_P(CallTest, ServersObserverIsDeletedAfterItsEndThoughTheHandleIsKept) {
  const Handle call = Talk();
  call->Send(Text("a"));
  call->Close();
  EXPECT_EQ(call->Send(Text("b")), SendResult::kEnded);
  call->Close(Status(StatusCode::kFailed, "once more"));
  EXPECT_THAT(server_log_.Lines(4),
              ElementsAre("<a", "a>", EndLine(StatusCode::kOk), "deleted"));
}

TEST_P(CallTest, StatusAndTextReachTheOtherSide) {
  const std::string text = "50% of \xff bytes:\n any";
  const Handle call = Talk();
  ServerHandle()->Close(Status(StatusCode::kFailed, text));
  EXPECT_THAT(client_log_.Lines(1),
              ElementsAre(EndLine(StatusCode::kFailed, text)));
  // The client may go on; the server's observer still listens.
  EXPECT_EQ(call->Send(Text("a")), SendResult::kSent);
  call->Close(Status(StatusCode::kCancelled, ""));
  EXPECT_THAT(
      server_log_.Lines(4),
      ElementsAre("<a", "a>", EndLine(StatusCode::kCancelled), "deleted"));
}

TEST_P(CallTest, UnknownMethodsAndServicesHaveTheirStatus) {
  const qarn::rpc::RpcMethod no_method(
      "Desk", "No", "Desk/No", qarn::rpc::RMT_SIMPLE, qarn::rpc::CS_CLIENT);
  qarn::rpc::client::AsyncSimpleCall(channel_, no_method, ClientContext(),
                                     Text("q"), &client_);
  EXPECT_THAT(client_log_.Lines(1),
              ElementsAre(EndLine(StatusCode::kUnknownMethod,
                                  "no method Desk/No is known")));
  const qarn::rpc::RpcMethod no_service(
      "No", "No", "No/No", qarn::rpc::RMT_SIMPLE, qarn::rpc::CS_CLIENT);
  qarn::rpc::client::AsyncSimpleCall(channel_, no_service, ClientContext(),
                                     Text("q"), &client_);
  EXPECT_EQ(client_log_.Lines(2)[1], EndLine(StatusCode::kUnknownService,
                                             "no service No is registered"));
}

TEST_P(CallTest, MessageSentWhileOneIsDeliveredWaits) {
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
  EXPECT_THAT(server_log_.Lines(4), ElementsAre("<a", "a>", "<b", "b>"));
  EXPECT_THAT(client_log_.Lines(4), ElementsAre("<a", "a>", "<b", "b>"));
  call->Close();
  // Nobody closed the answers.
  EXPECT_EQ(client_log_.Lines(5)[4], EndLine(StatusCode::kAbandoned, kDropped));
}

TEST_P(CallTest, CancelOfEitherSideEndsBothDirections) {
  const std::string cancelled =
      EndLine(StatusCode::kCancelled, "the call was cancelled");
  {
    const Handle call = Talk();
    const Handle server_handle = ServerHandle();
    call->Cancel();
    EXPECT_TRUE(call->closed());
    EXPECT_THAT(server_log_.Lines(2), ElementsAre(cancelled, "deleted"));
    EXPECT_THAT(client_log_.Lines(1), ElementsAre(cancelled));
    EXPECT_EQ(call->Send(Text("a")), SendResult::kEnded);
  }
  server_handle_ = std::promise<Handle>();
  const Handle call = Talk();
  ServerHandle()->Cancel();
  EXPECT_EQ(server_log_.Lines(4)[2], cancelled);
  EXPECT_EQ(client_log_.Lines(2)[1], cancelled);
}

TEST_P(CallTest, ObserverMayDropTheLastHandleOfItsCall) {
  Handle call;
  client_.on_end = [&] { call.reset(); };
  desk_.talk = [this](CallContext*, const Handle& handle) {
    Observer* const observer = NewServerObserver();
    observer->on_end = [handle] { handle->Close(); };
    return observer;
  };
  call = Talk();
  Handle(call)->Close();
  EXPECT_THAT(client_log_.Lines(1), ElementsAre(EndLine(StatusCode::kOk)));
  EXPECT_EQ(call, nullptr);
}

// On "go" the client sends "a", at which the server's observer ends the call.
TEST_P(CallTest, ObserverMayEndTheDirectionThatFeedsIt) {
  Handle call;
  client_.on_message = [&](const std::string&) { call->Send(Text("a")); };
  for (const StatusCode code : {StatusCode::kOk, StatusCode::kAbandoned}) {
    Log log;
    desk_.talk = [&](CallContext*, const Handle& handle) {
      auto* const observer = new Observer(&log);
      observer->on_message = [&](const std::string&) {
        code == StatusCode::kOk ? call->Close() : call.reset();
      };
      server_handle_.set_value(handle);
      return observer;
    };
    call = Talk();
    ServerHandle()->Send(Text("go"));
    EXPECT_THAT(log.Lines(3),
                ElementsAre("<a", "a>", ::testing::StartsWith(EndLine(code))));
    server_handle_ = std::promise<Handle>();
  }
}

TEST(LocalChannelTest, HandlesOutliveTheChannelAndTheServer) {
  Log log;
  Handle call;
  {
    Desk::Service desk;
    desk.talk = [&](CallContext*, const Handle&) { return new Observer(&log); };
    DeskService service(&desk);
    const boost::shared_ptr<LocalChannel> channel(new LocalChannel);
    channel->Register(&service);
    call = ::Talk(channel, nullptr);
  }
  call->Close();
  EXPECT_EQ(call->Send(Text("a")), SendResult::kEnded);
  EXPECT_THAT(log.Lines(1), ElementsAre(EndLine(StatusCode::kOk)));
}

TEST_P(CallTest, NullObserversTakeNothing) {
  desk_.talk = [this](CallContext*, const Handle& handle) {
    handle->Send(Text("unheard"));
    handle->Close();
    server_handle_.set_value(handle);
    return nullptr;
  };
  const Handle call = ::Talk(channel_, nullptr);
  EXPECT_EQ(call->Send(Text("unheard")), SendResult::kSent);
  EXPECT_TRUE(ServerHandle()->closed());
  call->Close();
}

TEST_P(CallTest, BytesThatAreNoMessageEndTheCallAtBothSides) {
  const std::string bad =
      EndLine(StatusCode::kBadMessage,
              "the bytes are not a message of the method's type");
  const Handle call = Talk();
  const Handle server_handle = ServerHandle();
  call->Send(Text("a"));
  call->Send(Text("garbled"));
  call->Send(Text("b"));
  EXPECT_THAT(server_log_.Lines(4), ElementsAre("<a", "a>", bad, "deleted"));
  EXPECT_THAT(client_log_.Lines(1), ElementsAre(bad));
  EXPECT_TRUE(server_handle->closed());
  // The one request of a method does not reach the handler.
  desk_.ask = [](const CallContext&, const Text&, const Handle&) { FAIL(); };
  Ask("garbled");
  EXPECT_THAT(client_log_.Lines(2), ElementsAre(bad, bad));
}

TEST_P(CallTest, AnswerThatIsNoMessageIsSaidToTheServer) {
  const Handle call = Talk();
  const Handle server_handle = ServerHandle();
  server_handle->Send(Text("garbled"));
  const std::string bad =
      EndLine(StatusCode::kBadMessage,
              "the bytes are not a message of the method's type");
  EXPECT_THAT(client_log_.Lines(1), ElementsAre(bad));
  EXPECT_THAT(server_log_.Lines(2), ElementsAre(bad, "deleted"));
  EXPECT_TRUE(Closes(server_handle));
  EXPECT_TRUE(Closes(call));
}

TEST_P(CallTest, SecondMessageWhereThereIsOneEndsTheCall) {
  desk_.ask = [](const CallContext&, const Text&, const Handle& handle) {
    handle->Send(Text("a"));
    handle->Send(Text("b"));
    handle->Close();
  };
  Ask("q");
  EXPECT_THAT(client_log_.Lines(3),
              ElementsAre("<a", "a>",
                          EndLine(StatusCode::kBadMessage,
                                  "a second message came, and the method "
                                  "has one")));
}

TEST_P(CallTest, WhatThrowsEndsItsCallAlone) {
  const std::string failed =
      EndLine(StatusCode::kFailed, "a handler or observer threw");
  const Handle other = Talk();
  ServerHandle();
  Log log;
  Observer observer(&log);
  desk_.ask = [](const CallContext&, const Text&, const Handle& handle) {
    handle->Send(Text("a"));
    throw std::runtime_error("handler");
  };
  ::Ask(channel_, "q", &observer);
  EXPECT_THAT(log.Lines(3), ElementsAre("<a", "a>", failed));

  desk_.talk = [](CallContext*, const Handle&) -> Observer* { throw 1; };
  EXPECT_TRUE(Closes(::Talk(channel_, &observer)));
  EXPECT_EQ(log.Lines(4)[3], failed);

  Log requests;
  desk_.talk = [&requests](CallContext*, const Handle& handle) {
    auto* const receiver = new Observer(&requests);
    receiver->on_end = [handle] { throw std::runtime_error("end"); };
    return receiver;
  };
  ::Talk(channel_, &observer)->Close();
  EXPECT_EQ(log.Lines(5)[4], failed);

  observer.on_message = [](const std::string&) {
    throw std::runtime_error("");
  };
  desk_.talk = [this](CallContext*, const Handle& handle) {
    handle->Send(Text("b"));
    return NewServerObserver();
  };
  const Handle call = ::Talk(channel_, &observer);
  EXPECT_EQ(log.Lines(7)[6], failed);
  EXPECT_THAT(server_log_.Lines(2), ElementsAre(failed, "deleted"));

  EXPECT_EQ(other->Send(Text("c")), SendResult::kSent);
  EXPECT_EQ(server_log_.Lines(4)[3], "c>");
}

TEST_P(CallTest, ContextHoldsAsLongAsTheObserver) {
  desk_.talk = [&](CallContext* context, const Handle&) {
    auto* const observer = new Observer(&server_log_);
    observer->on_delete = [this, context] {
      server_log_.Add(context->client().label() + " called " +
                      context->method());
    };
    return observer;
  };
  Talk()->Close();
  EXPECT_EQ(server_log_.Lines(2)[1], "me called Desk/Talk");
}

// The channel, the handle and the observer are all of one object here.
TEST_P(CallTest, EndMayDestroyAllThatTheClientHas) {
  struct Client {
    explicit Client(Log* log) : observer(log) {}
    Observer observer;
    ChannelPtr channel;
    Handle handle;
  };
  desk_.ask = [](const CallContext&, const Text&, const Handle& handle) {
    handle->Close();
  };
  for (const char* const name : {"Desk", "No"}) {
    const qarn::rpc::RpcMethod method(
        name, "Ask", "Desk/Ask", qarn::rpc::RMT_SIMPLE, qarn::rpc::CS_CLIENT);
    Log log;
    auto* const client = new Client(&log);
    client->channel = NewChannel();
    std::promise<void> is_set;
    client->observer.on_end = [client, set = is_set.get_future().share()] {
      set.wait();
      delete client;
    };
    if (GetParam() == Way::kLocal) is_set.set_value();
    const Handle handle = qarn::rpc::client::AsyncSimpleCall(
        client->channel, method, ClientContext(), Text(""), &client->observer);
    if (GetParam() == Way::kWebSocket) {
      client->handle = handle;
      is_set.set_value();
    }
    EXPECT_EQ(log.Lines(1).size(), 1u);
  }
}

}  // namespace
