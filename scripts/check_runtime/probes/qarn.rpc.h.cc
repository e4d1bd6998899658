// What every generated header does with the runtime's header.
#include "probe.h"

namespace qarn {
namespace rpc {}
}  // namespace qarn

namespace qarn_rpc = ::qarn::rpc;
