// A double of the RPC runtime, for the tests and the example only: it is not
// installed, and it is not a product.
//
// Generated files include "qarn/rpc.h" and compile against the runtime of their
// user's project. This folder stands in for that runtime: a small in-process
// implementation of every name that generated code prints, enough that a client
// call reaches a server handler and the answer comes back. Whoever builds a
// real runtime may change all of it but those names.
//
// What to know before you use it:
//  - One thread. A call is delivered before Send, Close or the Stub's method
//    returns, unless it is made from inside an observer of the same direction:
//    then it waits until that observer has returned. An observer therefore
//    never sees one message inside another.
//  - Messages cross as bytes, as they would on a wire, so neither side ever
//    sees an object of the other.
//  - Every observer sees its messages and then exactly one OnEnd.
//  - Handlers and observers must not throw.
//  - Who owns what is said at each class, in the header that declares it.
#ifndef QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_H_
#define QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_H_

#include "qarn/rpc/call.h"
#include "qarn/rpc/channel.h"
#include "qarn/rpc/client.h"
#include "qarn/rpc/context.h"
#include "qarn/rpc/method.h"
#include "qarn/rpc/service.h"
#include "qarn/rpc/service_method.h"
#include "qarn/rpc/status.h"

#endif  // QARN_RPC_TESTS_SUPPORT_RUNTIME_QARN_RPC_H_
