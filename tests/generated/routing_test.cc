// A channel finds the right method of the right service of the right object, or
// says that it cannot.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "kinds_server.h"

namespace {

using ::lab::kinds::Answer;
using ::lab::kinds::api::Kinds;
using ::lab::kinds::api::Oracle;
using ::qarn::rpc::Channel;
using ::qarn::rpc::ClientContext;
using ::qarn::rpc::RpcService;
using ::qarn::rpc::StatusCode;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OracleServer : public Oracle::Service {
 public:
  void Ask(qarn::rpc::CallContext*, const Query&,
           const AskCallHandle& handle) override {
    handle->Send(MakeAnswer("oracle: perhaps"));
    handle->Close();
  }
};

Kinds::Stub KindsStub(const boost::shared_ptr<Channel>& channel) {
  return Kinds::Stub("client", "endpoint", ClientContext(), channel);
}

TEST(RoutingTest, SeveralServicesShareAChannel) {
  KindsServer kinds;
  OracleServer oracle;
  const boost::shared_ptr<Channel> channel(new Channel);
  ASSERT_TRUE(channel->Register(kinds.service()));
  ASSERT_TRUE(channel->Register(oracle.service()));
  Oracle::Stub oracle_stub("client", "endpoint", ClientContext(), channel);

  // Both methods are called Ask.
  Recorder<Answer> from_kinds;
  Recorder<Answer> from_oracle;
  KindsStub(channel).Ask(MakeQuery("q"), &from_kinds);
  oracle_stub.Ask(MakeQuery("q"), &from_oracle);
  EXPECT_THAT(Texts(from_kinds), ElementsAre("server: q"));
  EXPECT_THAT(Texts(from_oracle), ElementsAre("oracle: perhaps"));
}

TEST(RoutingTest, SeveralInstancesOfOneServiceAnswerForThemselves) {
  KindsServer one("one");
  KindsServer two("two");
  const boost::shared_ptr<Channel> to_one(new Channel);
  const boost::shared_ptr<Channel> to_two(new Channel);
  to_one->Register(one.service());
  to_two->Register(two.service());

  Recorder<Answer> from_one;
  Recorder<Answer> from_two;
  const auto call_one = KindsStub(to_one).Chat(&from_one);
  const auto call_two = KindsStub(to_two).Chat(&from_two);
  call_one->Send(MakeQuery("a"));
  call_two->Send(MakeQuery("b"));
  call_one->Close();
  call_two->Close();
  EXPECT_THAT(Texts(from_one), ElementsAre("one: a"));
  EXPECT_THAT(Texts(from_two), ElementsAre("two: b"));
}

TEST(RoutingTest, SeveralStubsAndCallsShareAServer) {
  KindsFixture fixture;
  Kinds::Stub other = KindsStub(fixture.channel);
  Recorder<Answer> first;
  Recorder<Answer> second;
  const auto first_call = fixture.stub.Upload(&first);
  const auto second_call = other.Upload(&second);
  first_call->Send(MakeQuery("a"));
  second_call->Send(MakeQuery("b"));
  first_call->Send(MakeQuery("c"));
  second_call->Close();
  first_call->Close();
  EXPECT_THAT(Texts(first), ElementsAre("server: a c"));
  EXPECT_THAT(Texts(second), ElementsAre("server: b"));
}

TEST(RoutingTest, UnknownServiceEndsEveryKindOfCall) {
  const boost::shared_ptr<Channel> nowhere(new Channel);
  Kinds::Stub stub = KindsStub(nowhere);
  const std::vector<lab::kinds::Query> batch(2);
  Recorder<Answer> answers[5];
  stub.Ask(MakeQuery("q"), &answers[0]);
  stub.Watch(MakeQuery("q"), &answers[1]);
  const auto upload = stub.Upload(&answers[2]);
  const auto chat = stub.Chat(&answers[3]);
  stub.Chat(batch, &answers[4]);

  for (const Recorder<Answer>& seen : answers) {
    ASSERT_EQ(seen.ends.size(), 1u);
    EXPECT_EQ(seen.code(), StatusCode::kUnknownService);
    EXPECT_EQ(seen.ends[0].message(),
              "no service lab.kinds.Kinds is registered");
    EXPECT_THAT(seen.messages, IsEmpty());
  }
  // There is a handle all the same, which is closed.
  EXPECT_FALSE(upload->Send(MakeQuery("q")));
  EXPECT_TRUE(chat->closed());
}

TEST(RoutingTest, UnknownMethodEndsTheCall) {
  RpcService without_methods(Kinds::full_name());
  const boost::shared_ptr<Channel> channel(new Channel);
  ASSERT_TRUE(channel->Register(&without_methods));
  Recorder<Answer> answers;
  KindsStub(channel).Ask(MakeQuery("q"), &answers);
  ASSERT_EQ(answers.ends.size(), 1u);
  EXPECT_EQ(answers.code(), StatusCode::kUnknownMethod);
  EXPECT_EQ(answers.ends[0].message(),
            "no method lab.kinds.Kinds/Ask is known");
  EXPECT_THAT(answers.messages, IsEmpty());
}

TEST(RoutingTest, NameCanBeRegisteredOnce) {
  KindsServer one("one");
  KindsServer two("two");
  const boost::shared_ptr<Channel> channel(new Channel);
  EXPECT_TRUE(channel->Register(one.service()));
  EXPECT_FALSE(channel->Register(two.service()));
  Recorder<Answer> answers;
  KindsStub(channel).Ask(MakeQuery("q"), &answers);
  EXPECT_THAT(Texts(answers), ElementsAre("one: q"));
}

}  // namespace
