// must fail: a server without one of its handlers is abstract; expect: abstract (type|class)
// With -DMENDED it must compile. Needs kinds.proto, services_namespace=api.
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
