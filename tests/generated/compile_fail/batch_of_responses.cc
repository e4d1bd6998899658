// must fail: wrong batch; expect: invalid initialization|no viable conversion
//
// A batch holds requests, not responses.
// With MENDED defined it must compile. Needs kinds.proto, namespace api.
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
