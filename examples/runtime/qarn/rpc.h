// A small RPC runtime for the examples and the tests. It is not a product:
// start from it, and change all of it but the names that generated code prints.
// README.md beside this folder says what it does and what it leaves to you.
//
// Generated files include "qarn/rpc.h" and compile against the runtime of their
// user's project. This header has every name that they need, and a channel to a
// server in the same process (LocalChannel), all of it for C++11. For a server
// in another process include "qarn/rpc/websocket.h" as well.
//
// What to know before you use it:
//  - Within the process a call is delivered before Send, Close or the Stub's
//    method returns, unless the observer of that direction is being called:
//    then it waits until that observer has returned. An observer therefore
//    never sees one message inside another.
//  - Messages cross as bytes, as they do on a wire, so neither side ever sees
//    an object of the other.
//  - Every observer sees its messages and then exactly one OnEnd.
//  - A handler or observer that throws ends its call, with kFailed.
//  - Who owns what is said at each class, in the header that declares it.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_H_

#include "qarn/rpc/call.h"
#include "qarn/rpc/channel.h"
#include "qarn/rpc/client.h"
#include "qarn/rpc/context.h"
#include "qarn/rpc/local_channel.h"
#include "qarn/rpc/method.h"
#include "qarn/rpc/service.h"
#include "qarn/rpc/service_method.h"
#include "qarn/rpc/status.h"

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_H_
