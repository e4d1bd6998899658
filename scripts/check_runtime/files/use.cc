// Uses everything that the generated files offer, so that it is compiled and
// linked; nothing of it is run. Compiled once for each way to generate them:
//   WAY         its name
//   IN(PACKAGE) the namespace of the services of a package
#include <string>
#include <vector>

#include "kinds.rpc.h"
#include "no_package.rpc.h"

namespace use {
namespace WAY {

typedef IN(::check::kinds)::Kinds Kinds;
typedef IN(::check::kinds)::Second Second;
typedef IN(::check::kinds)::Idle Idle;
typedef IN()::Unpackaged Unpackaged;

class KindsServer : public Kinds::Service {
 public:
  void Ask(qarn_rpc::CallContext*, const Request&,
           const AskCallHandle&) override {}
  void Listen(qarn_rpc::CallContext*, const Request&,
              const ListenCallHandle&) override {}
  RequestCallObserverPtr Upload(qarn_rpc::CallContext*,
                                const UploadCallHandle&) override {
    return NULL;
  }
  Response_PartCallObserverPtr Talk(qarn_rpc::CallContext*,
                                    const TalkCallHandle&) override {
    return NULL;
  }
};

class SecondServer : public Second::Service {
 public:
  void Ask(qarn_rpc::CallContext*, const Request&,
           const AskCallHandle&) override {}
  RequestCallObserverPtr Upload(qarn_rpc::CallContext*,
                                const UploadCallHandle&) override {
    return NULL;
  }
};

class UnpackagedServer : public Unpackaged::Service {
 public:
  void Ask(qarn_rpc::CallContext*, const Request&,
           const AskCallHandle&) override {}
  RequestCallObserverPtr Talk(qarn_rpc::CallContext*,
                              const TalkCallHandle&) override {
    return NULL;
  }
};

class IdleServer : public Idle::Service {};

// No server is made: a runtime may leave more to them than the handlers.
void Serve(KindsServer* kinds, SecondServer* second,
           UnpackagedServer* unpackaged, IdleServer* idle);

void Serve(KindsServer* kinds, SecondServer* second,
           UnpackagedServer* unpackaged, IdleServer* idle) {
  kinds->service();
  second->service();
  unpackaged->service();
  idle->service();
}

void Call(const qarn_rpc::ClientContext& context,
          const boost::shared_ptr<qarn_rpc::Channel>& channel,
          Kinds::Stub::ResponseCallObserverPtr* responses,
          Kinds::Stub::Response_PartCallObserverPtr* parts);

void Call(const qarn_rpc::ClientContext& context,
          const boost::shared_ptr<qarn_rpc::Channel>& channel,
          Kinds::Stub::ResponseCallObserverPtr* responses,
          Kinds::Stub::Response_PartCallObserverPtr* parts) {
  const ::check::Request request;
  const std::vector< ::check::Request> requests(2);
  const std::vector< ::check::Response::Part> sent_parts(2);

  Kinds::Stub kinds("client", "endpoint", context, channel);
  Kinds::AskClientCallPtr ask = kinds.Ask(request, responses);
  ask = kinds.Ask(context, request, responses);
  Kinds::ListenClientCallPtr listen = kinds.Listen(request, parts);
  listen = kinds.Listen(context, request, parts);
  Kinds::UploadClientCallPtr upload = kinds.Upload(responses);
  upload = kinds.Upload(context, responses);
  upload = kinds.Upload(requests, responses);
  upload = kinds.Upload(context, requests, responses);
  Kinds::TalkClientCallPtr talk = kinds.Talk(parts);
  talk = kinds.Talk(context, parts);
  talk = kinds.Talk(sent_parts, parts);
  talk = kinds.Talk(context, sent_parts, parts);

  Second::Stub second("client", "endpoint", context, channel);
  second.Ask(request, responses);
  second.Upload(requests, responses);

  Unpackaged::Stub unpackaged("client", "endpoint", context, channel);
  unpackaged.Ask(request, responses);
  unpackaged.Talk(requests, responses);

  Idle::Stub idle("client", "endpoint", context, channel);
  (void)idle;
}

}  // namespace WAY
}  // namespace use
