// A channel finds the right method of the right service of the right object, or
// says that it cannot.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

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

class RoutingTest : public ::testing::TestWithParam<Way> {};

INSTANTIATE_TEST_SUITE_P(Ways, RoutingTest,
                         ::testing::Values(Way::kLocal, Way::kWebSocket),
                         WayName);

TEST_P(RoutingTest, SeveralServicesShareAChannel) {
  KindsServer kinds;
  OracleServer oracle;
  Reach reach(GetParam());
  ASSERT_TRUE(reach.Register(kinds.service()));
  ASSERT_TRUE(reach.Register(oracle.service()));
  Oracle::Stub oracle_stub("client", "endpoint", ClientContext(),
                           reach.channel());

  // Both methods are called Ask.
  Recorder<Answer> from_kinds;
  Recorder<Answer> from_oracle;
  KindsStub(reach.channel()).Ask(MakeQuery("q"), &from_kinds);
  oracle_stub.Ask(MakeQuery("q"), &from_oracle);
  ASSERT_TRUE(from_kinds.succeeded());
  ASSERT_TRUE(from_oracle.succeeded());
  EXPECT_THAT(Texts(from_kinds), ElementsAre("server: q"));
  EXPECT_THAT(Texts(from_oracle), ElementsAre("oracle: perhaps"));
}

TEST_P(RoutingTest, SeveralInstancesOfOneServiceAnswerForThemselves) {
  KindsServer one("one");
  KindsServer two("two");
  Reach to_one(GetParam());
  Reach to_two(GetParam());
  to_one.Register(one.service());
  to_two.Register(two.service());

  Recorder<Answer> from_one;
  Recorder<Answer> from_two;
  const auto call_one = KindsStub(to_one.channel()).Chat(&from_one);
  const auto call_two = KindsStub(to_two.channel()).Chat(&from_two);
  call_one->Send(MakeQuery("a"));
  call_two->Send(MakeQuery("b"));
  call_one->Close();
  call_two->Close();
  ASSERT_TRUE(from_one.succeeded());
  ASSERT_TRUE(from_two.succeeded());
  EXPECT_THAT(Texts(from_one), ElementsAre("one: a"));
  EXPECT_THAT(Texts(from_two), ElementsAre("two: b"));
}

TEST_P(RoutingTest, SeveralStubsAndCallsShareAServer) {
  KindsFixture fixture(GetParam());
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
  ASSERT_TRUE(first.succeeded());
  ASSERT_TRUE(second.succeeded());
  EXPECT_THAT(Texts(first), ElementsAre("server: a c"));
  EXPECT_THAT(Texts(second), ElementsAre("server: b"));
}

TEST_P(RoutingTest, UnknownServiceEndsEveryKindOfCall) {
  Reach nowhere(GetParam());
  Kinds::Stub stub = KindsStub(nowhere.channel());
  const std::vector<lab::kinds::Query> batch(2);
  Recorder<Answer> answers[5];
  stub.Ask(MakeQuery("q"), &answers[0]);
  stub.Watch(MakeQuery("q"), &answers[1]);
  const auto upload = stub.Upload(&answers[2]);
  const auto chat = stub.Chat(&answers[3]);
  stub.Chat(batch, &answers[4]);

  for (Recorder<Answer>& seen : answers) {
    ASSERT_TRUE(seen.WaitForEnd());
    ASSERT_EQ(seen.ends.size(), 1u);
    EXPECT_EQ(seen.code(), StatusCode::kUnknownService);
    EXPECT_EQ(seen.ends[0].message(),
              "no service lab.kinds.Kinds is registered");
    EXPECT_THAT(seen.messages, IsEmpty());
  }
  // There is a handle all the same, which closes.
  while (!chat->closed() || !upload->closed()) std::this_thread::yield();
  EXPECT_EQ(upload->Send(MakeQuery("q")), qarn::rpc::SendResult::kEnded);
}

TEST_P(RoutingTest, UnknownMethodEndsTheCall) {
  RpcService without_methods(Kinds::full_name());
  Reach reach(GetParam());
  ASSERT_TRUE(reach.Register(&without_methods));
  Recorder<Answer> answers;
  KindsStub(reach.channel()).Ask(MakeQuery("q"), &answers);
  EXPECT_EQ(answers.code(), StatusCode::kUnknownMethod);
  ASSERT_EQ(answers.ends.size(), 1u);
  EXPECT_EQ(answers.ends[0].message(),
            "no method lab.kinds.Kinds/Ask is known");
  EXPECT_THAT(answers.messages, IsEmpty());
}

TEST_P(RoutingTest, NameCanBeRegisteredOnce) {
  KindsServer one("one");
  KindsServer two("two");
  Reach reach(GetParam());
  EXPECT_TRUE(reach.Register(one.service()));
  EXPECT_FALSE(reach.Register(two.service()));
  Recorder<Answer> answers;
  KindsStub(reach.channel()).Ask(MakeQuery("q"), &answers);
  EXPECT_TRUE(answers.succeeded());
  EXPECT_THAT(Texts(answers), ElementsAre("one: q"));
}

}  // namespace
