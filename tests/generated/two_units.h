// What two_units_other.cc offers to two_units_test.cc.
#ifndef QARN_RPC_TESTS_GENERATED_TWO_UNITS_H_
#define QARN_RPC_TESTS_GENERATED_TWO_UNITS_H_

#include <boost/shared_ptr.hpp>

#include "kinds.rpc.h"
#include "qarn/rpc.h"

// Registers the server at a new channel. The server must outlive it.
boost::shared_ptr<qarn::rpc::Channel> ServeFromOtherUnit(
    lab::kinds::api::Kinds::Service* server);

// The address of the descriptor of Upload.
const qarn::rpc::RpcMethod* DescriptorInOtherUnit();

// Calls Upload with a batch of one request, "there".
void BatchFromOtherUnit(
    lab::kinds::api::Kinds::Stub* stub,
    lab::kinds::api::Kinds::Stub::AnswerCallObserverPtr* answers);

#endif  // QARN_RPC_TESTS_GENERATED_TWO_UNITS_H_
