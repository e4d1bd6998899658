// The second unit of two_units_test.cc.
#include <vector>

#include "kinds.rpc.h"
#include "two_units.h"

using ::lab::kinds::Query;
using ::lab::kinds::api::Kinds;

boost::shared_ptr<qarn::rpc::Channel> ServeFromOtherUnit(
    Kinds::Service* server) {
  boost::shared_ptr<qarn::rpc::LocalChannel> channel(
      new qarn::rpc::LocalChannel);
  channel->Register(server->service());
  return channel;
}

const qarn::rpc::RpcMethod* DescriptorInOtherUnit() {
  return &Kinds::Stub::_rpcmethod_Upload;
}

void BatchFromOtherUnit(Kinds::Stub* stub,
                        Kinds::Stub::AnswerCallObserverPtr* answers) {
  std::vector<Query> requests(1);
  requests[0].set_text("there");
  stub->Upload(requests, answers);
}
