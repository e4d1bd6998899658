// A call of each kind reaches its handler, and the answers come back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kinds_server.h"

namespace {

using ::lab::kinds::Answer;
using ::lab::kinds::api::Kinds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FourKindsTest : public ::testing::TestWithParam<Way>,
                      protected KindsFixture {
 protected:
  FourKindsTest() : KindsFixture(GetParam()) {}

  Recorder<Answer> answers_;
};

INSTANTIATE_TEST_SUITE_P(Ways, FourKindsTest,
                         ::testing::Values(Way::kLocal, Way::kWebSocket),
                         WayName);

TEST_P(FourKindsTest, SimpleCallIsAnsweredOnce) {
  stub.Ask(MakeQuery("what?"), &answers_);
  EXPECT_TRUE(answers_.succeeded());
  EXPECT_THAT(Texts(answers_), ElementsAre("server: what?"));
  EXPECT_THAT(server.calls(), ElementsAre("lab.kinds.Kinds/Ask"));
}

TEST_P(FourKindsTest, ServerStreamingCallIsAnsweredManyTimes) {
  stub.Watch(MakeQuery("tick"), &answers_);
  EXPECT_TRUE(answers_.succeeded());
  EXPECT_THAT(Texts(answers_), ElementsAre("server: tick 1", "server: tick 2",
                                           "server: tick 3"));
  EXPECT_THAT(server.calls(), ElementsAre("lab.kinds.Kinds/Watch"));
}

TEST_P(FourKindsTest, ClientStreamingCallIsAnsweredWhenTheClientIsDone) {
  const Kinds::UploadClientCallPtr call = stub.Upload(&answers_);
  EXPECT_EQ(call->Send(MakeQuery("a")), qarn::rpc::SendResult::kSent);
  EXPECT_EQ(call->Send(MakeQuery("b")), qarn::rpc::SendResult::kSent);
  EXPECT_THAT(Texts(answers_), IsEmpty());
  EXPECT_THAT(answers_.ends, IsEmpty());

  call->Close();
  EXPECT_TRUE(answers_.succeeded());
  EXPECT_THAT(Texts(answers_), ElementsAre("server: a b"));
  EXPECT_THAT(server.calls(), ElementsAre("lab.kinds.Kinds/Upload"));
}

TEST_P(FourKindsTest, BidirectionalCallIsAnsweredWhileTheClientGoesOn) {
  const Kinds::ChatClientCallPtr call = stub.Chat(&answers_);
  call->Send(MakeQuery("a"));
  ASSERT_TRUE(answers_.WaitForMessages(1));
  EXPECT_THAT(Texts(answers_), ElementsAre("server: a"));
  call->Send(MakeQuery("b"));
  ASSERT_TRUE(answers_.WaitForMessages(2));
  EXPECT_THAT(Texts(answers_), ElementsAre("server: a", "server: b"));
  EXPECT_THAT(answers_.ends, IsEmpty());

  call->Close();
  EXPECT_TRUE(answers_.succeeded());
  EXPECT_THAT(server.calls(), ElementsAre("lab.kinds.Kinds/Chat"));
}

TEST_P(FourKindsTest, StreamWithoutAnyRequestIsAnswered) {
  stub.Upload(&answers_)->Close();
  EXPECT_TRUE(answers_.succeeded());
  EXPECT_THAT(Texts(answers_), ElementsAre("server:"));
}

TEST_P(FourKindsTest, HandleOfCallWithOneRequestIsClosed) {
  const Kinds::AskClientCallPtr ask = stub.Ask(MakeQuery("q"), &answers_);
  EXPECT_TRUE(ask->closed());
  EXPECT_EQ(ask->Send(MakeQuery("one more")), qarn::rpc::SendResult::kEnded);
  EXPECT_TRUE(answers_.succeeded());
  EXPECT_THAT(Texts(answers_), ElementsAre("server: q"));
}

}  // namespace
