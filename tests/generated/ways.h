// The two channels of the example runtime, for tests that hold for both.
#ifndef QARN_RPC_TESTS_GENERATED_WAYS_H_
#define QARN_RPC_TESTS_GENERATED_WAYS_H_

#include <gtest/gtest.h>

#include <boost/shared_ptr.hpp>
#include <memory>
#include <string>

#include "qarn/rpc.h"

enum class Way { kLocal, kWebSocket };

// For INSTANTIATE_TEST_SUITE_P: names a test after its way.
inline std::string WayName(const ::testing::TestParamInfo<Way>& info) {
  return info.param == Way::kWebSocket ? "WebSocket" : "Local";
}

// A server of one of the two sorts, and a channel to it. What is registered
// must outlive it.
class Reach {
 public:
  explicit Reach(Way way);
  ~Reach();

  // Before channel().
  bool Register(qarn::rpc::RpcService* service);

  // The first call makes the server listen. Nobody may keep the result beyond
  // this object.
  boost::shared_ptr<qarn::rpc::Channel> channel();

 private:
  struct WebSocket;

  boost::shared_ptr<qarn::rpc::LocalChannel> local_;
  std::unique_ptr<WebSocket> websocket_;
};

#endif  // QARN_RPC_TESTS_GENERATED_WAYS_H_
