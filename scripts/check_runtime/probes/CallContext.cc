#include "probe.h"

namespace probe {
struct Service {
  virtual ~Service() {}
  virtual void Ask(::qarn::rpc::CallContext* context) = 0;
};
}  // namespace probe
