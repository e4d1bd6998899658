// must fail: a batch holds requests, not responses; expect: (invalid initialization of reference|no viable conversion|could not bind|cannot bind)
// With -DMENDED it must compile. Needs kinds.proto, services_namespace=api.
#include <vector>

#include "kinds.rpc.h"
#include "qarn/rpc.h"

#ifdef MENDED
typedef lab::kinds::Query Sent;
#else
typedef lab::kinds::Answer Sent;
#endif

void Call(lab::kinds::api::Kinds::Stub* stub,
          lab::kinds::api::Kinds::Stub::AnswerCallObserverPtr* observer) {
  stub->Upload(std::vector<Sent>(), observer);
}

int main() { return 0; }
