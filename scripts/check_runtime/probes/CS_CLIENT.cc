#include "probe.h"

namespace probe {
template <class Side>
void Take(Side side);
void Pass();

void Pass() { Take(::qarn::rpc::CS_CLIENT); }
}  // namespace probe
