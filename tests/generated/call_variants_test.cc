// Each call exists twice: with a context of its own, and with the stub's. The
// server sees which one arrived.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "kinds_server.h"

namespace {

using ::lab::kinds::Answer;
using ::lab::kinds::Query;
using ::qarn::rpc::ClientContext;
using ::testing::ElementsAre;

class CallVariantsTest : public ::testing::TestWithParam<Way>,
                         protected KindsFixture {
 protected:
  CallVariantsTest() : KindsFixture(GetParam()) {}

  const ClientContext own_{"own"};
  const std::vector<Query> batch_{MakeQuery("x")};
  Recorder<Answer> first_;
  Recorder<Answer> second_;
};

INSTANTIATE_TEST_SUITE_P(Ways, CallVariantsTest,
                         ::testing::Values(Way::kLocal, Way::kWebSocket),
                         WayName);

TEST_P(CallVariantsTest, Simple) {
  stub.Ask(MakeQuery("q"), &first_);
  EXPECT_TRUE(first_.succeeded());
  stub.Ask(own_, MakeQuery("q"), &second_);
  EXPECT_TRUE(second_.succeeded());
  EXPECT_THAT(server.labels(), ElementsAre("stub", "own"));
}

TEST_P(CallVariantsTest, ServerStreaming) {
  stub.Watch(MakeQuery("q"), &first_);
  EXPECT_TRUE(first_.succeeded());
  stub.Watch(own_, MakeQuery("q"), &second_);
  EXPECT_TRUE(second_.succeeded());
  EXPECT_THAT(server.labels(), ElementsAre("stub", "own"));
}

TEST_P(CallVariantsTest, ClientStreaming) {
  stub.Upload(&first_)->Close();
  EXPECT_TRUE(first_.succeeded());
  stub.Upload(own_, &second_)->Close();
  EXPECT_TRUE(second_.succeeded());
  EXPECT_THAT(server.labels(), ElementsAre("stub", "own"));
}

TEST_P(CallVariantsTest, Bidirectional) {
  stub.Chat(&first_)->Close();
  EXPECT_TRUE(first_.succeeded());
  stub.Chat(own_, &second_)->Close();
  EXPECT_TRUE(second_.succeeded());
  EXPECT_THAT(server.labels(), ElementsAre("stub", "own"));
}

TEST_P(CallVariantsTest, ClientStreamingBatch) {
  stub.Upload(batch_, &first_);
  EXPECT_TRUE(first_.succeeded());
  stub.Upload(own_, batch_, &second_);
  EXPECT_TRUE(second_.succeeded());
  EXPECT_THAT(server.labels(), ElementsAre("stub", "own"));
  EXPECT_THAT(Texts(first_), ElementsAre("server: x"));
  EXPECT_THAT(Texts(second_), ElementsAre("server: x"));
}

TEST_P(CallVariantsTest, BidirectionalBatch) {
  stub.Chat(batch_, &first_);
  EXPECT_TRUE(first_.succeeded());
  stub.Chat(own_, batch_, &second_);
  EXPECT_TRUE(second_.succeeded());
  EXPECT_THAT(server.labels(), ElementsAre("stub", "own"));
  EXPECT_THAT(Texts(first_), ElementsAre("server: x"));
  EXPECT_THAT(Texts(second_), ElementsAre("server: x"));
}

// A context that is not const must not be mistaken for a container.
TEST_P(CallVariantsTest, MutableContextIsNoContainer) {
  ClientContext context("mutable");
  stub.Upload(context, &first_)->Close();
  EXPECT_TRUE(first_.succeeded());
  EXPECT_THAT(server.labels(), ElementsAre("mutable"));
}

TEST_P(CallVariantsTest, StubKeepsWhatItWasBuiltWith) {
  EXPECT_EQ(stub.client_name(), "client");
  EXPECT_EQ(stub.endpoint(), "endpoint");
  EXPECT_EQ(stub.context().label(), "stub");
  EXPECT_EQ(stub.channel(), channel);
}

}  // namespace
