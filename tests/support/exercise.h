// Makes every call that a generated service offers, in one process, and counts
// what arrives. The service is given by name, and its methods come from its own
// macros and traits; protobuf's descriptors, which the RPC generator has no
// part in, say what they should have been.
//
// At namespace scope, and then in a function:
//
//   EXERCISE_DEFINE(::a::b::services::, Echo, ECHO_METHOD_NAMES)
//   EXERCISE_RUN(::a::b::services::, Echo, ECHO_METHODS)
//
// At the end of main:
//
//   return exercise::Finish({"a/b/echo.proto"});
#ifndef QARN_RPC_TESTS_SUPPORT_EXERCISE_H_
#define QARN_RPC_TESTS_SUPPORT_EXERCISE_H_

#include <google/protobuf/descriptor.h>

#include <boost/intrusive_ptr.hpp>
#include <boost/preprocessor.hpp>
#include <boost/shared_ptr.hpp>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include "morvane/qarn/rpc/service_options.pb.h"
#include "qarn/rpc.h"

namespace exercise {

// Prints each expectation that does not hold, and remembers that one failed.
inline bool& Failed() {
  static bool failed = false;
  return failed;
}
inline void Expect(bool holds, const std::string& what) {
  if (holds) return;
  std::cerr << "not so: " << what << "\n";
  Failed() = true;
}

// Full names of the services that were exercised.
inline std::set<std::string>& Services() {
  static std::set<std::string> services;
  return services;
}

struct Counts {
  Counts() : calls(0), requests(0), answers(0), ends(0) {}
  int calls;
  int requests;
  int answers;
  int ends;
};

// What the calls of the method of these traits have seen so far.
template <class Traits>
Counts& CountsOf() {
  static Counts counts;
  return counts;
}

// The client's observer.
template <class Traits>
class ResponseObserver
    : public qarn::rpc::CallObserver<typename Traits::response> {
 public:
  void OnMessage(const typename Traits::response&) override {
    ++CountsOf<Traits>().answers;
  }
  void OnEnd(const qarn::rpc::Status& status) override {
    Expect(status.ok(), std::string(Traits::full_name()) + " ends well");
    ++CountsOf<Traits>().ends;
  }
};

// The server's observer: answers once, at the end.
template <class Traits>
class RequestObserver
    : public qarn::rpc::CallObserver<typename Traits::request> {
 public:
  typedef boost::intrusive_ptr<
      qarn::rpc::CallHandle<typename Traits::response> >
      Handle;
  explicit RequestObserver(const Handle& handle) : handle_(handle) {}
  void OnMessage(const typename Traits::request&) override {
    ++CountsOf<Traits>().requests;
  }
  void OnEnd(const qarn::rpc::Status& status) override {
    handle_->Send(typename Traits::response());
    handle_->Close(status);
  }

 private:
  Handle handle_;
};

// Whether the client of a method of this kind sends one request or many.
template <bool many>
struct Requests {};
template <class Traits>
struct RequestsOf
    : Requests<Traits::rpc_type == qarn::rpc::RMT_CLIENT_STREAMING ||
               Traits::rpc_type == qarn::rpc::RMT_BIDI_STREAMING> {};

template <class Traits, class Calls, class Stub>
Counts MakeCalls(Stub* stub, Requests<false>) {
  const qarn::rpc::ClientContext context;
  ResponseObserver<Traits> observer;
  Calls::One(stub, context, typename Traits::request(), &observer);
  Counts expected;
  expected.calls = expected.requests = expected.answers = expected.ends = 2;
  return expected;
}

template <class Traits, class Calls, class Stub>
Counts MakeCalls(Stub* stub, Requests<true>) {
  const qarn::rpc::ClientContext context;
  ResponseObserver<Traits> observer;
  const std::vector<typename Traits::request> batch(3);
  Calls::Many(stub, context, batch, &observer);
  Counts expected;
  expected.calls = expected.answers = expected.ends = 4;
  expected.requests = 6;  // two of the calls send a batch
  return expected;
}

// Makes all calls of one method; it is method number `index` of its service.
template <class Traits, class Calls, class Stub>
void ExerciseMethod(const google::protobuf::ServiceDescriptor* service,
                    int index, Stub* stub, qarn::rpc::RpcService* registered,
                    const qarn::rpc::RpcMethod& described) {
  namespace options = morvane::qarn::rpc;
  const std::string name = Traits::full_name();
  if (index >= service->method_count()) {
    Expect(false, name + " is a method of the .proto file");
    return;
  }
  const google::protobuf::MethodDescriptor* method = service->method(index);
  const bool client_streams =
      method->options().GetExtension(options::client_streaming);
  const bool server_streams =
      method->options().GetExtension(options::server_streaming);
  const qarn::rpc::RpcMethodType type =
      client_streams ? (server_streams ? qarn::rpc::RMT_BIDI_STREAMING
                                       : qarn::rpc::RMT_CLIENT_STREAMING)
                     : (server_streams ? qarn::rpc::RMT_SERVER_STREAMING
                                       : qarn::rpc::RMT_SIMPLE);

  Expect(Traits::name() == method->name(), name + " has its name");
  Expect(name == std::string(service->full_name()) + "/" +
                     std::string(method->name()),
         name + " has its full name");
  Expect(Traits::rpc_type == type, name + " has its kind");
  Expect(Traits::request::descriptor() == method->input_type(),
         name + " takes its request");
  Expect(Traits::response::descriptor() == method->output_type(),
         name + " gives its response");
  Expect(described.full_name() == name, name + " is described in the stub");
  Expect(described.type() == type, name + " has its kind in the stub");
  Expect(registered->FindMethod(name) != nullptr, name + " is registered");

  std::cout << "calls " << name << "\n";
  const Counts expected = MakeCalls<Traits, Calls>(stub, RequestsOf<Traits>());
  const Counts& seen = CountsOf<Traits>();
  Expect(seen.calls == expected.calls, name + " is called");
  Expect(seen.requests == expected.requests, name + " gets its requests");
  Expect(seen.answers == expected.answers, name + " is answered");
  Expect(seen.ends == expected.ends, name + " comes to its end");
}

// Exercises one service. `calls` makes the calls of all its methods.
template <class Service, class Server, class Methods>
void ExerciseService(int method_count, Methods calls) {
  const std::string name = Service::full_name();
  const google::protobuf::ServiceDescriptor* const descriptor =
      google::protobuf::DescriptorPool::generated_pool()->FindServiceByName(
          name);
  if (!descriptor) {
    Expect(false, name + " is a service of the .proto file");
    return;
  }
  Services().insert(name);
  Expect(Service::name() == descriptor->name(), name + " has its name");
  Expect(Service::package() == descriptor->file()->package(),
         name + " has its package");
  Expect(method_count == descriptor->method_count(),
         name + " has all its methods");

  Server server;
  const boost::shared_ptr<qarn::rpc::LocalChannel> channel(
      new qarn::rpc::LocalChannel);
  Expect(channel->Register(server.service()), name + " can be registered");
  typename Service::Stub stub("client", "endpoint", qarn::rpc::ClientContext(),
                              channel);
  calls(descriptor, &stub, server.service());
}

// The exit status. Every service of these .proto files must have been
// exercised, and every expectation must have held.
inline int Finish(const std::vector<std::string>& files) {
  int methods = 0;
  for (const std::string& name : files) {
    const google::protobuf::FileDescriptor* const file =
        google::protobuf::DescriptorPool::generated_pool()->FindFileByName(
            name);
    Expect(file != nullptr, name + " is linked");
    for (int i = 0; file && i < file->service_count(); ++i) {
      // Some releases of protobuf return a string, others a view.
      const std::string service(file->service(i)->full_name());
      Expect(Services().count(service) == 1, service + " is exercised");
      methods += file->service(i)->method_count();
    }
  }
  std::cout << "services: " << Services().size() << ", methods: " << methods
            << "\n";
  return Failed() ? 1 : 0;
}

}  // namespace exercise

#define EXERCISE_TRAITS(scope, service, method) \
  scope BOOST_PP_CAT(                           \
      service, Methods)<scope BOOST_PP_CAT(service, BOOST_PP_CAT(_, method))>

// A handler in both forms. One of them overrides what the service declares; if
// neither did, the server would be abstract.
#define EXERCISE_HANDLER(scope, service, method)                             \
  void method(                                                               \
      qarn::rpc::CallContext*,                                               \
      const EXERCISE_TRAITS(scope, service, method)::request&,               \
      const boost::intrusive_ptr<qarn::rpc::CallHandle<EXERCISE_TRAITS(      \
          scope, service, method)::response> >& handle) {                    \
    typedef EXERCISE_TRAITS(scope, service, method) Traits;                  \
    ++::exercise::CountsOf<Traits>().calls;                                  \
    ++::exercise::CountsOf<Traits>().requests;                               \
    handle->Send(Traits::response());                                        \
    handle->Close();                                                         \
  }                                                                          \
  qarn::rpc::CallObserver<EXERCISE_TRAITS(scope, service, method)::request>* \
  method(qarn::rpc::CallContext*,                                            \
         const boost::intrusive_ptr<qarn::rpc::CallHandle<EXERCISE_TRAITS(   \
             scope, service, method)::response> >& handle) {                 \
    typedef EXERCISE_TRAITS(scope, service, method) Traits;                  \
    ++::exercise::CountsOf<Traits>().calls;                                  \
    return new ::exercise::RequestObserver<Traits>(handle);                  \
  }

// The calls of one method. Templates, so that only those which its kind has are
// compiled.
#define EXERCISE_CALLS(method)                                            \
  struct BOOST_PP_CAT(Calls_, method) {                                   \
    template <class Stub, class Request, class Observer>                  \
    static void One(Stub* stub, const qarn::rpc::ClientContext& context,  \
                    const Request& request, Observer* observer) {         \
      stub->method(request, observer);                                    \
      stub->method(context, request, observer);                           \
    }                                                                     \
    template <class Stub, class Batch, class Observer>                    \
    static void Many(Stub* stub, const qarn::rpc::ClientContext& context, \
                     const Batch& batch, Observer* observer) {            \
      stub->method(observer)->Close();                                    \
      stub->method(context, observer)->Close();                           \
      stub->method(batch, observer);                                      \
      stub->method(context, batch, observer);                             \
    }                                                                     \
  };

#define EXERCISE_CALL(scope, service, method)                         \
  ::exercise::ExerciseMethod<EXERCISE_TRAITS(scope, service, method), \
                             BOOST_PP_CAT(Calls_, method)>(           \
      descriptor, index++, stub, registered,                          \
      scope service::Stub::BOOST_PP_CAT(_rpcmethod_, method));

// `data` is (scope, service).
#define EXERCISE_EACH_HANDLER(r, data, method)      \
  EXERCISE_HANDLER(BOOST_PP_TUPLE_ELEM(2, 0, data), \
                   BOOST_PP_TUPLE_ELEM(2, 1, data), method)
#define EXERCISE_EACH_CALLS(r, data, method) EXERCISE_CALLS(method)
#define EXERCISE_EACH_CALL(r, data, method)      \
  EXERCISE_CALL(BOOST_PP_TUPLE_ELEM(2, 0, data), \
                BOOST_PP_TUPLE_ELEM(2, 1, data), method)
#define EXERCISE_COUNT(r, data, method) +1

#define EXERCISE_DEFINE(scope, service, method_names)                         \
  namespace {                                                                 \
  namespace BOOST_PP_CAT(exercise_, service) {                                \
    class ExercisedServer : public scope service::Service {                   \
     public:                                                                  \
      BOOST_PP_SEQ_FOR_EACH(EXERCISE_EACH_HANDLER, (scope, service),          \
                            method_names)                                     \
    };                                                                        \
    BOOST_PP_SEQ_FOR_EACH(EXERCISE_EACH_CALLS, , method_names)                \
    void ExerciseCalls(const google::protobuf::ServiceDescriptor* descriptor, \
                       scope service::Stub* stub,                             \
                       qarn::rpc::RpcService* registered) {                   \
      int index = 0;                                                          \
      BOOST_PP_SEQ_FOR_EACH(EXERCISE_EACH_CALL, (scope, service),             \
                            method_names)                                     \
      ::exercise::Expect(                                                     \
          static_cast<int>(registered->method_count()) == index,              \
          "each method is registered once");                                  \
      (void)descriptor;                                                       \
      (void)stub;                                                             \
    }                                                                         \
  }                                                                           \
  }

#define EXERCISE_RUN(scope, service, methods)                            \
  ::exercise::ExerciseService<                                           \
      scope service, BOOST_PP_CAT(exercise_, service)::ExercisedServer>( \
      0 BOOST_PP_SEQ_FOR_EACH(EXERCISE_COUNT, , methods),                \
      &BOOST_PP_CAT(exercise_, service)::ExerciseCalls);

#endif  // QARN_RPC_TESTS_SUPPORT_EXERCISE_H_
