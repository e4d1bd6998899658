// Two translation units include the same generated header and are linked into
// one program; this one calls what the other one serves.
#include "two_units.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kinds_server.h"

namespace {

using ::lab::kinds::Answer;
using ::lab::kinds::Query;
using ::lab::kinds::api::Kinds;
using ::testing::ElementsAre;

TEST(TwoUnitsTest, ServerOfOneUnitAnswersClientOfTheOther) {
  KindsServer server("elsewhere");
  const boost::shared_ptr<qarn::rpc::Channel> channel =
      ServeFromOtherUnit(&server);
  Kinds::Stub stub("client", "endpoint", qarn::rpc::ClientContext(), channel);
  Recorder<Answer> answers;
  stub.Upload(std::vector<Query>(1, MakeQuery("here")), &answers);
  EXPECT_THAT(Texts(answers), ElementsAre("elsewhere: here"));
}

// The descriptors are defined once, however many units use them.
TEST(TwoUnitsTest, BothUnitsSeeTheSameDescriptor) {
  EXPECT_EQ(DescriptorInOtherUnit(), &Kinds::Stub::_rpcmethod_Upload);
}

// The other unit instantiates the same member template.
TEST(TwoUnitsTest, BothUnitsMakeBatchCalls) {
  KindsFixture fixture;
  Recorder<Answer> answers;
  BatchFromOtherUnit(&fixture.stub, &answers);
  EXPECT_THAT(Texts(answers), ElementsAre("server: there"));
}

}  // namespace
