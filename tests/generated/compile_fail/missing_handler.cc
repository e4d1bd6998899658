// must fail: a missing handler; expect: abstract (type|class)
//
// A server that leaves a handler out is abstract: the handlers are pure.
// With MENDED defined it must compile. Needs kinds.proto, namespace api.
#include "kinds.rpc.h"
#include "qarn/rpc.h"

class Server : public lab::kinds::api::Oracle::Service {
#ifdef MENDED
  void Ask(qarn::rpc::CallContext*, const Query&,
           const AskCallHandle&) override {}
#endif
};

int main() {
  Server server;
  return server.service() == nullptr;
}
