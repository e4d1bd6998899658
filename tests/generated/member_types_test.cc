// The types of the generated members: which handlers take a request, what the
// calls return, and what the typedefs stand for. Checked by the compiler.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "kinds.rpc.h"
#include "qarn/rpc.h"

namespace {

using ::boost::intrusive_ptr;
using ::lab::kinds::Answer;
using ::lab::kinds::Query;
using ::lab::kinds::api::Kinds;
using ::qarn::rpc::CallContext;
using ::qarn::rpc::CallHandle;
using ::qarn::rpc::CallObserver;
using ::qarn::rpc::Channel;
using ::qarn::rpc::ClientContext;
using ::std::is_same;

using Service = Kinds::Service;
using Stub = Kinds::Stub;
using ServerHandle = intrusive_ptr<CallHandle<Answer>>;
using ClientHandle = intrusive_ptr<CallHandle<Query>>;

// Handlers of methods whose client sends one request.
using OneRequestHandler = void (Service::*)(CallContext*, const Query&,
                                            const ServerHandle&);
static_assert(is_same<decltype(&Service::Ask), OneRequestHandler>::value,
              "a simple method's handler takes the request");
static_assert(is_same<decltype(&Service::Watch), OneRequestHandler>::value,
              "a server-streaming method's handler takes the request");

// Handlers of methods whose client streams.
using StreamHandler = CallObserver<Query>* (Service::*)(CallContext*,
                                                        const ServerHandle&);
static_assert(is_same<decltype(&Service::Upload), StreamHandler>::value,
              "a client-streaming method's handler returns an observer");
static_assert(is_same<decltype(&Service::Chat), StreamHandler>::value,
              "a bidirectional method's handler returns an observer");

static_assert(std::is_abstract<Service>::value, "the handlers are pure");
static_assert(std::has_virtual_destructor<Service>::value, "");
static_assert(std::is_base_of<::qarn::rpc::ServiceBase, Service>::value, "");
static_assert(std::is_base_of<::qarn::rpc::StubBase, Stub>::value, "");
static_assert(is_same<decltype(&Service::service),
                      ::qarn::rpc::RpcService* (Service::*)()>::value,
              "");

// The same suffix names a class in Stub and a pointer in Service.
static_assert(is_same<Stub::AnswerCallObserverPtr, CallObserver<Answer>>::value,
              "in Stub it is the class");
static_assert(
    is_same<Service::QueryCallObserverPtr, CallObserver<Query>*>::value,
    "in Service it is a pointer");

// In Stub, "Service" is the class around it, not the server class.
static_assert(is_same<Stub::Service, Kinds>::value, "");

static_assert(is_same<Service::Query, Query>::value, "");
static_assert(is_same<Service::Answer, Answer>::value, "");

// Client handles send requests, server handles send answers.
static_assert(is_same<Kinds::AskClientCallPtr, ClientHandle>::value, "");
static_assert(is_same<Kinds::WatchClientCallPtr, ClientHandle>::value, "");
static_assert(is_same<Kinds::UploadClientCallPtr, ClientHandle>::value, "");
static_assert(is_same<Kinds::ChatClientCallPtr, ClientHandle>::value, "");
static_assert(is_same<Kinds::AskServerCallPtr, ServerHandle>::value, "");
static_assert(is_same<Kinds::WatchServerCallPtr, ServerHandle>::value, "");
static_assert(is_same<Kinds::UploadServerCallPtr, ServerHandle>::value, "");
static_assert(is_same<Kinds::ChatServerCallPtr, ServerHandle>::value, "");
static_assert(is_same<Service::AskCallHandle, ServerHandle>::value, "");
static_assert(is_same<Service::WatchCallHandle, ServerHandle>::value, "");
static_assert(is_same<Service::UploadCallHandle, ServerHandle>::value, "");
static_assert(is_same<Service::ChatCallHandle, ServerHandle>::value, "");

static_assert(std::is_constructible<Stub, const std::string&,
                                    const std::string&, const ClientContext&,
                                    const boost::shared_ptr<Channel>&>::value,
              "");
static_assert(!std::is_default_constructible<Stub>::value, "");

// An overload set has no type of its own: taking its address as one of these
// types compiles only if that very overload is there.
TEST(MemberTypesTest, BothCallVariantsHaveTheExpectedTypes) {
  using Answers = CallObserver<Answer>;
  using WithContext =
      ClientHandle (Stub::*)(const ClientContext&, const Query&, Answers*);
  using WithoutContext = ClientHandle (Stub::*)(const Query&, Answers*);
  const WithContext with_context[] = {&Stub::Ask, &Stub::Watch};
  const WithoutContext without_context[] = {&Stub::Ask, &Stub::Watch};
  EXPECT_NE(with_context[0], with_context[1]);
  EXPECT_NE(without_context[0], without_context[1]);

  using StreamWithContext =
      ClientHandle (Stub::*)(const ClientContext&, Answers*);
  using StreamWithoutContext = ClientHandle (Stub::*)(Answers*);
  const StreamWithContext stream_with[] = {&Stub::Upload, &Stub::Chat};
  const StreamWithoutContext stream_without[] = {&Stub::Upload, &Stub::Chat};
  EXPECT_NE(stream_with[0], stream_with[1]);
  EXPECT_NE(stream_without[0], stream_without[1]);
}

TEST(MemberTypesTest, ServiceClassKnowsItsNames) {
  EXPECT_STREQ(Kinds::package(), "lab.kinds");
  EXPECT_STREQ(Kinds::name(), "Kinds");
  EXPECT_STREQ(Kinds::full_name(), "lab.kinds.Kinds");
}

}  // namespace
