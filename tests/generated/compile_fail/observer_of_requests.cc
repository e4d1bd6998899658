// must fail: wrong observer; expect: no matching .*call to .*Ask
//
// A client observes responses, not requests.
// With MENDED defined it must compile. Needs kinds.proto, namespace api.
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
