// must fail: a simple method's handler takes the request; expect: marked .?override.?(, but does not override| hides virtual)
// With -DMENDED it must compile. Needs kinds.proto, services_namespace=api.
#include "kinds.rpc.h"
#include "qarn/rpc.h"

class Server : public lab::kinds::api::Oracle::Service {
#ifdef MENDED
  void Ask(qarn::rpc::CallContext*, const Query&,
           const AskCallHandle&) override {}
#else
  void Ask(qarn::rpc::CallContext*, const AskCallHandle&) override {}
#endif
};

int main() { return 0; }
