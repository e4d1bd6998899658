// A call of each kind reaches its handler, and the answers come back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kinds_server.h"

namespace {

using ::lab::kinds::Answer;
using ::lab::kinds::api::Kinds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FourKindsTest : public ::testing::Test, protected KindsFixture {
 protected:
  Recorder<Answer> answers_;
};

TEST_F(FourKindsTest, SimpleCallIsAnsweredOnce) {
  stub.Ask(MakeQuery("what?"), &answers_);
  EXPECT_THAT(Texts(answers_), ElementsAre("server: what?"));
  EXPECT_TRUE(answers_.succeeded());
  EXPECT_THAT(server.calls(), ElementsAre("lab.kinds.Kinds/Ask"));
}

TEST_F(FourKindsTest, ServerStreamingCallIsAnsweredManyTimes) {
  stub.Watch(MakeQuery("tick"), &answers_);
  EXPECT_THAT(Texts(answers_), ElementsAre("server: tick 1", "server: tick 2",
                                           "server: tick 3"));
  EXPECT_TRUE(answers_.succeeded());
  EXPECT_THAT(server.calls(), ElementsAre("lab.kinds.Kinds/Watch"));
}

TEST_F(FourKindsTest, ClientStreamingCallIsAnsweredWhenTheClientIsDone) {
  const Kinds::UploadClientCallPtr call = stub.Upload(&answers_);
  EXPECT_TRUE(call->Send(MakeQuery("a")));
  EXPECT_TRUE(call->Send(MakeQuery("b")));
  EXPECT_THAT(Texts(answers_), IsEmpty());
  EXPECT_THAT(answers_.ends, IsEmpty());

  call->Close();
  EXPECT_THAT(Texts(answers_), ElementsAre("server: a b"));
  EXPECT_TRUE(answers_.succeeded());
  EXPECT_THAT(server.calls(), ElementsAre("lab.kinds.Kinds/Upload"));
}

TEST_F(FourKindsTest, BidirectionalCallIsAnsweredWhileTheClientGoesOn) {
  const Kinds::ChatClientCallPtr call = stub.Chat(&answers_);
  call->Send(MakeQuery("a"));
  EXPECT_THAT(Texts(answers_), ElementsAre("server: a"));
  call->Send(MakeQuery("b"));
  EXPECT_THAT(Texts(answers_), ElementsAre("server: a", "server: b"));
  EXPECT_THAT(answers_.ends, IsEmpty());

  call->Close();
  EXPECT_TRUE(answers_.succeeded());
  EXPECT_THAT(server.calls(), ElementsAre("lab.kinds.Kinds/Chat"));
}

TEST_F(FourKindsTest, StreamWithoutAnyRequestIsAnswered) {
  stub.Upload(&answers_)->Close();
  EXPECT_THAT(Texts(answers_), ElementsAre("server:"));
  EXPECT_TRUE(answers_.succeeded());
}

TEST_F(FourKindsTest, HandleOfCallWithOneRequestIsClosed) {
  const Kinds::AskClientCallPtr ask = stub.Ask(MakeQuery("q"), &answers_);
  EXPECT_TRUE(ask->closed());
  EXPECT_FALSE(ask->Send(MakeQuery("one more")));
  EXPECT_THAT(Texts(answers_), ElementsAre("server: q"));
}

}  // namespace
