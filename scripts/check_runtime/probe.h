// What a generated header includes, in its order. A runtime may count on what
// comes before its header.
// clang-format off
#include "messages.pb.h"

#include <boost/shared_ptr.hpp>
#include <boost/intrusive_ptr.hpp>
#include <boost/preprocessor.hpp>
// clang-format on

#ifndef QARN_RPC_CHECK_RUNTIME_WITHOUT_RUNTIME
#include "qarn/rpc.h"

// What every generated header does with the runtime's header.
namespace qarn {
namespace rpc {}
}  // namespace qarn

namespace qarn_rpc = ::qarn::rpc;
#endif

// For the probes.
#include <string>
#include <vector>
