// must fail: a client observes responses, not requests; expect: no matching (member )?function for call to .*Ask
// With -DMENDED it must compile. Needs kinds.proto, services_namespace=api.
#include "kinds.rpc.h"
#include "qarn/rpc.h"

#ifdef MENDED
typedef lab::kinds::Answer Observed;
#else
typedef lab::kinds::Query Observed;
#endif

void Call(lab::kinds::api::Kinds::Stub* stub,
          qarn::rpc::CallObserver<Observed>* observer) {
  stub->Ask(lab::kinds::Query(), observer);
}

int main() { return 0; }
