// What a generated header includes, in its order. A runtime may count on what
// comes before its header.
#ifndef QARN_RPC_CHECK_RUNTIME_PROBE_H_
#define QARN_RPC_CHECK_RUNTIME_PROBE_H_

// clang-format off
#include "messages.pb.h"

#include <boost/shared_ptr.hpp>
#include <boost/intrusive_ptr.hpp>
#include <boost/preprocessor.hpp>
// clang-format on

#ifndef QARN_RPC_CHECK_RUNTIME_WITHOUT_RUNTIME
#include "qarn/rpc.h"
#endif

#endif  // QARN_RPC_CHECK_RUNTIME_PROBE_H_
