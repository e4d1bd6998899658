// A batch call takes any container of requests, sends it in order and is done.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <list>
#include <vector>

#include "kinds_server.h"

namespace {

using ::lab::kinds::Answer;
using ::lab::kinds::Query;
using ::qarn::rpc::ClientContext;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A container, and how it is sent.
template <class C, Way w>
struct Case {
  using Container = C;
  static constexpr Way way = w;
};

template <class Case>
class BatchTest : public ::testing::Test, protected KindsFixture {
 protected:
  BatchTest() : KindsFixture(Case::way) {}

  const typename Case::Container requests_{
      {MakeQuery("a"), MakeQuery("b"), MakeQuery("c")}};
  Recorder<Answer> answers_;
};

using Containers =
    ::testing::Types<Case<std::vector<Query>, Way::kLocal>,
                     Case<std::list<Query>, Way::kLocal>,
                     Case<std::deque<Query>, Way::kLocal>,
                     Case<std::array<Query, 3>, Way::kLocal>,
                     Case<std::vector<Query>, Way::kWebSocket>,
                     Case<std::list<Query>, Way::kWebSocket>,
                     Case<std::deque<Query>, Way::kWebSocket>,
                     Case<std::array<Query, 3>, Way::kWebSocket>>;
// The empty argument stands for default names; without the comma before it,
// clang objects to GoogleTest's macro.
TYPED_TEST_SUITE(BatchTest, Containers, );

TYPED_TEST(BatchTest, ClientStreaming) {
  const auto call = this->stub.Upload(this->requests_, &this->answers_);
  EXPECT_TRUE(this->answers_.succeeded());
  EXPECT_THAT(Texts(this->answers_), ElementsAre("server: a b c"));
  EXPECT_TRUE(call->closed());
}

TYPED_TEST(BatchTest, ClientStreamingWithContext) {
  this->stub.Upload(ClientContext("own"), this->requests_, &this->answers_);
  EXPECT_TRUE(this->answers_.succeeded());
  EXPECT_THAT(Texts(this->answers_), ElementsAre("server: a b c"));
  EXPECT_THAT(this->server.labels(), ElementsAre("own"));
}

TYPED_TEST(BatchTest, Bidirectional) {
  const auto call = this->stub.Chat(this->requests_, &this->answers_);
  EXPECT_TRUE(this->answers_.succeeded());
  EXPECT_THAT(Texts(this->answers_),
              ElementsAre("server: a", "server: b", "server: c"));
  EXPECT_TRUE(call->closed());
}

TYPED_TEST(BatchTest, BidirectionalWithContext) {
  this->stub.Chat(ClientContext("own"), this->requests_, &this->answers_);
  EXPECT_TRUE(this->answers_.succeeded());
  EXPECT_THAT(Texts(this->answers_),
              ElementsAre("server: a", "server: b", "server: c"));
  EXPECT_THAT(this->server.labels(), ElementsAre("own"));
}

class PlainBatchTest : public ::testing::TestWithParam<Way>,
                       protected KindsFixture {
 protected:
  PlainBatchTest() : KindsFixture(GetParam()) {}

  Recorder<Answer> answers_;
};

INSTANTIATE_TEST_SUITE_P(Ways, PlainBatchTest,
                         ::testing::Values(Way::kLocal, Way::kWebSocket),
                         WayName);

TEST_P(PlainBatchTest, BuiltInArray) {
  const Query requests[] = {MakeQuery("a"), MakeQuery("b")};
  stub.Upload(requests, &answers_);
  EXPECT_TRUE(answers_.succeeded());
  EXPECT_THAT(Texts(answers_), ElementsAre("server: a b"));
}

TEST_P(PlainBatchTest, EmptyContainerJustCloses) {
  stub.Chat(std::vector<Query>(), &answers_);
  EXPECT_TRUE(answers_.succeeded());
  EXPECT_THAT(Texts(answers_), IsEmpty());
}

}  // namespace
