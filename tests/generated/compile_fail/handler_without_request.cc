// must fail: no request; expect: but does not override|hides virtual
//
// A simple method's handler takes the request.
// With MENDED defined it must compile. Needs kinds.proto, namespace api.
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
