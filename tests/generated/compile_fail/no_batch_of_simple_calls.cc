// must fail: no container here; expect: no matching .*call to .*Ask
//
// A method whose client does not stream takes no container.
// With MENDED defined it must compile. Needs kinds.proto, namespace api.
#include <vector>

#include "kinds.rpc.h"
#include "qarn/rpc.h"

void Call(lab::kinds::api::Kinds::Stub* stub,
          lab::kinds::api::Kinds::Stub::AnswerCallObserverPtr* observer) {
  const std::vector<lab::kinds::Query> requests;
#ifdef MENDED
  stub->Upload(requests, observer);
#else
  stub->Ask(requests, observer);
#endif
}

int main() { return 0; }
