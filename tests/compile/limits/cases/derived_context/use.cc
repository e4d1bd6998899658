#include "api.rpc.h"

struct DeadlineContext : ::qarn::rpc::ClientContext {};

void Chat(demo::Echo::Stub* stub, const DeadlineContext& context) {
  stub->Chat(context, NULL);
}
