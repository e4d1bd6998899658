// Called without arguments in the members of Stub; the result goes to the
// functions of the namespace client.
#include "probe.h"

namespace probe {
template <class Argument>
void Take(const Argument& argument);

struct Stub : public ::qarn::rpc::StubBase {
  void Call();
};

void Stub::Call() { Take(channel()); }
}  // namespace probe
